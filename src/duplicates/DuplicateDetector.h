#pragma once

#include "catalogue/DetectedModel.h"
#include "duplicates/DuplicateHashError.h"
#include "duplicates/FileHasher.h"
#include "duplicates/SHACacheKey.h"
#include "duplicates/VerificationOutcome.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QStringList>
#include <QUuid>
#include <atomic>
#include <functional>
#include <variant>

// Finds likely duplicates among the models of one scan (same normalised name,
// nearly the same size; no file is read) and, on request, settles a group by
// comparing the SHA-256 of every member's largest file.
//
// Grouping keeps no state. Verification keeps the digests it computed for the
// life of the detector, keyed by file, size and modification time, so checking
// unchanged files again reads nothing. The cache is locked, so overlapping
// verifications from several threads are safe.
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

    // Gives every set of models sharing a key a fresh group identifier and resets
    // their verification; a model alone under its key is left as it was.
    void markDuplicates(QList<DetectedModel> &models) const;

    // Compares the primary files of every model in `groupID`. Synchronous and
    // possibly long: run it off the interface thread. `progress` receives the
    // fraction (0 to 1) of the group's files hashed; `cancelled` is looked at
    // between chunks of every file being read.
    VerificationOutcome verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                    const std::function<void(double)> &progress = {},
                                    const std::atomic<bool> *cancelled = nullptr);

    // Why a group whose members name one and the same file on disk is not verified.
    static QString sameFileReason();

    // One file per member, in member order: its largest file by size on disk
    // (ties keep the earlier; a size that cannot be read counts as 0).
    static std::variant<QStringList, DuplicateHashError> primaryFiles(const QList<DetectedModel> &members);

    // The file's digest from the cache when its size and time are unchanged, else
    // hashed now and remembered. Failures are not remembered.
    DigestResult cachedHash(const QString &path, const std::atomic<bool> *cancelled = nullptr,
                            const FileHasher::Progress &progress = {});

private:
    QMutex shaCacheMutex;
    QHash<SHACacheKey, QByteArray> shaCache;
};
