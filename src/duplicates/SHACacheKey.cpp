#include "duplicates/SHACacheKey.h"

#include <QFile>
#include <sys/stat.h>

namespace {

qint64 nanoseconds(const struct timespec &time)
{
    return qint64(time.tv_sec) * 1'000'000'000 + qint64(time.tv_nsec);
}

} // namespace

SHACacheKey SHACacheKey::forFile(const QString &path)
{
    SHACacheKey key{path};
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) == 0) {
        key.device = quint64(info.st_dev);
        key.inode = quint64(info.st_ino);
        key.fileSize = qint64(info.st_size);
        key.modifiedNs = nanoseconds(info.st_mtim);
        key.changedNs = nanoseconds(info.st_ctim);
    }
    return key;
}

size_t qHash(const SHACacheKey &key, size_t seed)
{
    return qHashMulti(seed, key.path, key.device, key.inode, key.fileSize, key.modifiedNs, key.changedNs);
}
