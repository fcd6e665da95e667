#pragma once

#include "catalogue/DetectedModel.h"
#include "duplicates/DigestCacheFile.h"
#include "duplicates/DuplicateHashError.h"
#include "duplicates/FileHasher.h"
#include "duplicates/GroupHashing.h"
#include "duplicates/SHACacheKey.h"
#include "duplicates/VerificationOutcome.h"
#include "duplicates/VerificationProgress.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QStringList>
#include <QUuid>
#include <atomic>
#include <functional>
#include <optional>
#include <variant>

// Finds likely duplicates among the models of one scan (same normalised name and
// nearly the same size, or primary files of one size that cheap evidence cannot tell
// apart) and, on request, settles a group by comparing the SHA-256 of every member's
// primary file.
//
// Grouping keeps no state. Verification first compares a few samples of every
// file, so most differing groups are settled without reading gigabytes. It keeps
// the digests it computed for the life of the detector and in the lasting digest
// cache (DigestCacheFile), keyed by one version of one file, so checking unchanged
// files again, in this run or a later one, reads nothing. The lasting cache is read
// at the first verification and written at the end of each one that learnt a
// digest. The cache is locked, so overlapping verifications from several threads
// are safe.
class DuplicateDetector
{
public:
    DuplicateDetector() = default;
    DuplicateDetector(const DuplicateDetector &) = delete;
    DuplicateDetector &operator=(const DuplicateDetector &) = delete;

    // Lower-cased, quantisation suffixes removed, anything up to the first "/" dropped,
    // runs of separators turned into one "-", no "-" at either end.
    static QString normalizedName(const QString &name);
    // The size cut down to a multiple of about one hundredth of itself.
    static qint64 roundedSize(qint64 size);
    // normalizedName(displayName) + "|" + roundedSize(sizeBytes) in decimal.
    static QString groupKey(const DetectedModel &model);

    // Groups likely duplicates by two rules: the same key (normalised name and rounded
    // size), or the same content (ContentGrouping). A model matched by either joins its
    // copies' group, so every copy of one file ends up in one group. Models that are one
    // file on disk with an earlier model never join a group. Each group gets a fresh
    // identifier and its members' verification is reset; a model in no group is left as it
    // was. Returns how many models the content rule left out for its budget.
    qsizetype markDuplicates(QList<DetectedModel> &models) const;

    // Compares the primary files of every model in `groupID`. Synchronous and
    // possibly long: run it off the interface thread. `progress` receives the
    // fraction (0 to 1) of the group's files hashed; `cancelled` is looked at
    // between chunks of every file being read.
    VerificationOutcome verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                    const std::function<void(double)> &progress = {},
                                    const std::atomic<bool> *cancelled = nullptr);
    // The same check, with progress in bytes: called once with bytesDone 0 when whole
    // files start to be read, then after each further progressStep bytes and at the end;
    // not at all when the cache settles the group. Called on the thread running the check. (With no progress but a cancel flag, name the type:
    // a bare {} fits both overloads.)
    VerificationOutcome verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                    const std::function<void(VerificationProgress)> &byteProgress,
                                    const std::atomic<bool> *cancelled = nullptr);
    static constexpr qint64 progressStep = 1024 * 1024;

    // Why a group whose members name one and the same file on disk is not verified.
    static QString sameFileReason();

    // One file per member, in member order: its primaryFile when the scan set it, else its
    // largest file by size on disk (ties keep the earlier; a size that cannot be read counts as 0).
    static std::variant<QStringList, DuplicateHashError> primaryFiles(const QList<DetectedModel> &members);

    // The file's digest from the cache when the file is unchanged, else hashed now and
    // remembered. Failures are not remembered.
    DigestResult cachedHash(const QString &path, const std::atomic<bool> *cancelled = nullptr,
                            const FileHasher::Progress &progress = {}, const FileHasher::Checkpoint &checkpoint = {});

private:
    VerificationOutcome verify(const QUuid &groupID, const QList<DetectedModel> &models,
                               const std::function<void(double)> &progress,
                               const std::function<void(VerificationProgress)> &byteProgress,
                               const std::atomic<bool> *cancelled);
    // The whole-file digests the comparison needs, with progress reported as promised.
    QList<GroupHashing::Result> hashAll(const QList<GroupHashing::File> &files, qint64 bytesToRead,
                                        const std::function<void(double)> &progress,
                                        const std::function<void(VerificationProgress)> &byteProgress,
                                        const std::atomic<bool> *cancelled);
    // The digest remembered for this version of the file; reads the lasting cache first
    // if this detector has not yet.
    std::optional<QByteArray> cachedDigest(const SHACacheKey &key);
    void loadLastingCacheLocked();
    void saveLastingCacheIfChanged();

    QMutex shaCacheMutex;
    QHash<SHACacheKey, QByteArray> shaCache;
    std::optional<DigestCacheFile> lastingCache; // set at the first verification
    bool shaCacheChanged = false;                // digests learnt since the last save
    QMutex saveMutex;                            // one writer of the lasting cache at a time
};
