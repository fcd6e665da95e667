#include "duplicates/SHACacheKey.h"

#include <QFile>
#include <sys/stat.h>

SHACacheKey SHACacheKey::forFile(const QString &path)
{
    SHACacheKey key{path, 0, 0};
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) == 0) {
        key.fileSize = qint64(info.st_size);
        key.modificationDate = double(info.st_mtim.tv_sec) + double(info.st_mtim.tv_nsec) / 1e9;
    }
    return key;
}

size_t qHash(const SHACacheKey &key, size_t seed)
{
    return qHashMulti(seed, key.path, key.fileSize, key.modificationDate);
}
