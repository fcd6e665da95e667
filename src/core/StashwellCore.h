#pragma once

#include "catalogue/DetectedModel.h"
#include "core/CustomFolderList.h"
#include "deletion/DeletionResult.h"
#include "duplicates/VerificationOutcome.h"
#include "duplicates/VerificationProgress.h"
#include "scanning/AppSearchLocations.h"
#include "scanning/OllamaStore.h"
#include "scanning/ScanResult.h"

#include <QList>
#include <atomic>
#include <functional>
#include <memory>

class DuplicateDetector;
class ModelScanner;

// Everything Stashwell does, as plain synchronous calls: scan, verify a group, plan a
// deletion and carry it out, and keep the list of custom folders. The terminal calls it
// directly; the window's view model runs the same calls on its own threads. Calls may
// come from several threads at once: each builds what it reads from disk afresh, and
// the digest cache that verification shares is locked.
class StashwellCore
{
public:
    // Where this machine keeps what the core looks at; tests point these elsewhere.
    struct Machine
    {
        AppSearchLocations appLocations;
        // The stores in Ollama's layout (Ollama's and AnythingLLM's), looked for afresh on
        // every call (they come and go).
        std::function<QList<OllamaStore>()> ollamaStores;
        static Machine current();
    };

    explicit StashwellCore(Machine machine = Machine::current());
    ~StashwellCore();

    // One complete scan: every source, orphans marked, custom folders, likely duplicates,
    // and what each model is, as its files say (read once, then from the lasting cache).
    ScanResult scan() const;
    // Known model folders that exist but cannot be read (a few existence tests).
    QStringList unreadableModelFolders() const;

    // Settles one likely-duplicate group of `models` by content. `progress` gets the
    // fraction done (0 to 1); `cancelled` is looked at between chunks.
    VerificationOutcome verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                    const std::function<void(double)> &progress = {},
                                    const std::atomic<bool> *cancelled = nullptr) const;
    // The same, with progress in bytes read (nothing when samples or the digest cache
    // settle the group), for a display of rate and time left.
    VerificationOutcome verifyGroupInBytes(const QUuid &groupID, const QList<DetectedModel> &models,
                                           const std::function<void(VerificationProgress)> &progress) const;

    // Writes a group's outcome into the list: verified or unable to verify, the group
    // dissolved when its members differ, or split: each set of identical copies a new
    // verified group, the members of no set out of any group. Returns the new groups.
    static QList<QUuid> applyVerification(QList<DetectedModel> &models, const QUuid &groupID,
                                          const VerificationOutcome &outcome);

    // A group's members in list order, each with its source: "phi [GPT4All], phi [Models]".
    static QString describeGroup(const QList<DetectedModel> &models, const QUuid &groupID);

    // What moving these models to the Trash would move and refuse, moving nothing.
    DeletionResult planDeletion(const QList<DetectedModel> &models) const;
    // Moves the models to the Trash: for Ollama only the manifests and the blobs that no
    // remaining manifest needs. Never deletes anything outright.
    DeletionResult deleteModels(const QList<DetectedModel> &models) const;
    // The bytes the drive really gets back by deleting these models: Ollama blobs other
    // models still use and files with hard links outside the selection free nothing.
    qint64 spaceFreedBy(const QList<DetectedModel> &models) const;

    const CustomFolderList &customFolders() const { return m_customFolders; }
    // Adds a custom folder, warning when Stashwell scans it, or part of it, already.
    CustomFolderList::Change addCustomFolder(const QString &path) const;

private:
    ModelScanner scanner() const;

    Machine m_machine;
    CustomFolderList m_customFolders;
    std::shared_ptr<DuplicateDetector> m_detector;
};
