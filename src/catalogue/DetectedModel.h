#pragma once

#include "catalogue/DuplicateVerificationStatus.h"
#include "catalogue/SourceTool.h"

#include <QDateTime>
#include <QStringList>
#include <QUuid>
#include <optional>

// One model found on disk. A plain value: it names files but holds none open,
// and those files may vanish at any time.
struct DetectedModel
{
    QUuid id;
    QString displayName;
    SourceTool sourceTool;
    QStringList filePaths; // absolute paths; for Ollama the manifest first, then its blobs
    qint64 sizeBytes = 0;
    QDateTime lastModified;
    bool isOrphaned = false;
    std::optional<QUuid> duplicateGroup;
    DuplicateVerificationStatus duplicateVerificationStatus;

    // A new record with a fresh random identity, not orphaned, in no group, unverified.
    static DetectedModel create(const QString &displayName, const SourceTool &source,
                                const QStringList &filePaths, qint64 sizeBytes,
                                const QDateTime &lastModified);
};

// The date given to a file whose modification time cannot be read: 1 January of year 1, UTC.
QDateTime distantPast();
bool isDistantPast(const QDateTime &date);

// Byte counts are signed 64-bit; a sum that overflows is a programming error, not a user error.
qint64 addSizes(qint64 a, qint64 b);
