#pragma once

#include <QHashFunctions>
#include <QString>

// One version of one file: a file changed in place gets a new size or modification
// time, hence a new key, so a digest stored under an old key is never reused for it.
struct SHACacheKey
{
    QString path;
    qint64 fileSize = 0;          // bytes; 0 when it cannot be read
    double modificationDate = 0;  // seconds since 1970-01-01 UTC, with the fraction; 0 when unreadable

    // The key of the file as it is now, read without following a symbolic link.
    static SHACacheKey forFile(const QString &path);

    friend bool operator==(const SHACacheKey &, const SHACacheKey &) = default;
};

size_t qHash(const SHACacheKey &key, size_t seed = 0);
