#pragma once

#include "catalogue/DuplicateVerificationStatus.h"
#include "catalogue/ModelDetails.h"
#include "catalogue/SourceTool.h"

#include <QDateTime>
#include <QStringList>
#include <QUuid>
#include <optional>

// What an entry is when it is not a model: files a model application left behind.
enum class LeftoverKind {
    none,             // a model
    partialDownload,  // a download the application has not finished
    unreferencedBlob, // an Ollama blob that no manifest names
    oldRevision,      // a revision of a Hugging Face repository that no ref names any more
};

// One model found on disk. A plain value: it names files but holds none open,
// and those files may vanish at any time.
struct DetectedModel
{
    QUuid id;
    QString displayName;
    SourceTool sourceTool;
    QStringList filePaths; // absolute paths; for Ollama the manifest first, then its blobs
    // The file that stands for the model's content: its largest regular file (an Ollama
    // model's weights blob, a Hugging Face repository's largest blob, the biggest part of
    // a multi-file model). Duplicates are compared by it and what the model is, is read
    // from it. Scanners set it from the sizes they already read; empty when none is known.
    QString primaryFile;
    qint64 primaryFileSize = -1;
    // A small file the application keeps beside the weights that says what the model is
    // (an Ollama model's config blob); empty when there is none.
    QString configFile;
    // What the model is, read from its primary file (and config file) by the scan;
    // absent when they do not say or cannot be read.
    std::optional<ModelDetails> details;
    qint64 sizeBytes = 0;
    QDateTime lastModified;
    bool isOrphaned = false;
    std::optional<QUuid> duplicateGroup;
    DuplicateVerificationStatus duplicateVerificationStatus;
    // Set when a file of the model cannot be addressed exactly (its name is not valid
    // text): the model is shown with this reason and is never moved or hashed.
    QString problem;
    // Leftovers are listed and trashed like models, but are never orphans, never grouped
    // as duplicates and never hashed; their size is the space their files take on disk.
    LeftoverKind leftover = LeftoverKind::none;
    // What a Hugging Face cache entry holds: "model", "dataset" or "space"; empty elsewhere.
    QString repoType;
    // A model stored in numbered parts (name-00001-of-00003.gguf): how many parts it
    // has, and the numbers of the parts that were not found beside the others.
    int partCount = 0;
    QList<int> missingParts;

    bool isLeftover() const { return leftover != LeftoverKind::none; }
    // Makes the file the primary one when it is larger than the current one; ties keep
    // the file offered first.
    void offerPrimaryFile(const QString &path, qint64 size);
    // "Unfinished download", "Blob no model uses", "Old revision", or empty for a model.
    QString leftoverDescription() const;
    // An unfinished download written to within the hour before `now` may still be going on.
    bool mayStillBeDownloading(const QDateTime &now) const;
    // "partialDownload", "unreferencedBlob", "oldRevision", or empty for a model.
    QString leftoverKey() const;
    // "Part 2 of 3 is missing", "2 of 5 parts are missing", or empty when every part is there.
    QString missingPartsText() const;
    // "Dataset" or "Space" for those Hugging Face entries; empty for models and everything else.
    QString repoTypeText() const;

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
