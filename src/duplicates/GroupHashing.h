#pragma once

#include "duplicates/FileHasher.h"

#include <QList>
#include <QString>
#include <atomic>
#include <functional>
#include <optional>

// Reads the files of one duplicate group whose whole-file digests are needed, on as many
// threads as the machine has cores, and stops reading a file as soon as what was read of
// it tells it apart from every file it might still equal. Files on one spinning disk are
// read one after another (parallel reads make its head seek between them); files on
// other drives, or on none that spins, are read side by side.
//
// Whole-file reads hand on the digest of every full stripe read so far
// (FileHasher::Checkpoint); two files whose digests at one stripe differ are different,
// so a pair that agrees on its samples but differs inside stops at the stripe that shows it.
class GroupHashing
{
public:
    struct File
    {
        QString path;
        qint64 size = 0;                 // what reading it costs, for the progress
        int likeness = 0;                // files may be identical only within one likeness
        std::optional<QByteArray> digest; // known beforehand (the digest cache): not read
    };
    struct Result
    {
        std::optional<QByteArray> digest;       // read to its end, or known beforehand
        std::optional<DuplicateHashError> error; // why it could not be read
        // Neither: it was told apart from every file of its likeness before its end.
    };

    // Hashes one file; `stop` is looked at between chunks (the digest cache's road).
    using Hasher = std::function<DigestResult(const QString &path, const std::atomic<bool> *stop,
                                              const FileHasher::Progress &progress,
                                              const FileHasher::Checkpoint &checkpoint)>;
    // The rotating disk a file lies on, or empty.
    using DiskOf = std::function<QString(const QString &path)>;

    GroupHashing(QList<File> files, Hasher hasher, DiskOf diskOf);

    // One result per file, in order. The first error stops the other reads; so does
    // `cancelled`, which makes every file still being read fail as cancelled. `progress`
    // gets the bytes read so far, a file told apart early counting as read; it is called
    // on this thread, which waits while the others read.
    QList<Result> run(const std::atomic<bool> *cancelled, const std::function<void(qint64 bytesDone)> &progress);

    // How many threads read at once at most: the machine's cores.
    static int threadCount();

private:
    struct Reading;
    QList<File> m_files;
    Hasher m_hasher;
    DiskOf m_diskOf;
};
