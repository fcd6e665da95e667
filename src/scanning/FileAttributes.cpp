#include "scanning/FileAttributes.h"

#include "catalogue/DetectedModel.h"

#include <QFile>
#include <sys/stat.h>

FileAttributes FileAttributes::read(const QString &path)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return unreadable();
    return fromStat(info);
}

FileAttributes FileAttributes::fromStat(const struct stat &info)
{
    const qint64 msecs = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    // st_blocks counts 512-byte units whatever the file system's block size.
    return {qint64(info.st_size), QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC), qint64(info.st_blocks) * 512};
}

FileAttributes FileAttributes::unreadable()
{
    return {0, distantPast(), 0};
}
