#pragma once

#include <QHashFunctions>
#include <QString>

// One version of one file. A file rewritten in place gets a new change time even
// when its size and modification time are put back (as `touch -d` does), and a
// file replaced by another under the same name gets a new inode, so a digest
// stored under an old key is never reused for it. All fields are 0 when the file's
// attributes cannot be read.
struct SHACacheKey
{
    QString path;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 fileSize = 0;          // bytes
    qint64 modifiedNs = 0;        // content modification time, nanoseconds since 1970-01-01 UTC
    qint64 changedNs = 0;         // status change time, nanoseconds since 1970-01-01 UTC

    // The key of the file as it is now, read without following a symbolic link.
    static SHACacheKey forFile(const QString &path);

    friend bool operator==(const SHACacheKey &, const SHACacheKey &) = default;
};

size_t qHash(const SHACacheKey &key, size_t seed = 0);
