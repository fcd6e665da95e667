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
    // The file verification compares when it is not the largest of filePaths: a
    // Hugging Face repository moves as one folder, but its largest blob is the model.
    QString hashedFile;
    qint64 sizeBytes = 0;
    QDateTime lastModified;
    bool isOrphaned = false;
    std::optional<QUuid> duplicateGroup;
    DuplicateVerificationStatus duplicateVerificationStatus;
    // Set when a file of the model cannot be addressed exactly (its name is not valid
    // text): the model is shown with this reason and is never moved or hashed.
    QString problem;

    // A new record with a fresh random identity, not orphaned, in no group, unverified.
    static DetectedModel create(const QString &displayName, const SourceTool &source,
                                const QStringList &filePaths, qint64 sizeBytes,
                                const QDateTime &lastModified);
};

// The reason shown for a model with a file whose raw path cannot be represented as text.
QString unrepresentableNameProblem(const QByteArray &rawPath);

// The date given to a file whose modification time cannot be read: 1 January of year 1, UTC.
QDateTime distantPast();
bool isDistantPast(const QDateTime &date);

// Byte counts are signed 64-bit. A sum beyond that range (sparse files or a crafted
// manifest claiming exabytes) stops at the largest count rather than stopping
// Stashwell: a file found on disk must never keep the user from starting it.
qint64 addSizes(qint64 a, qint64 b);
