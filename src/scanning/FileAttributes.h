#pragma once

#include <QDateTime>
#include <QString>

struct stat;

// Size and content-modification date of one file, read in one request.
// A file whose attributes cannot be read has size 0 and the distant-past date.
struct FileAttributes
{
    qint64 size = 0;
    QDateTime modified;
    // The space the file takes on disk: less than its size when it is sparse.
    qint64 allocated = 0;

    // Never follows a symbolic link: a link is described by itself.
    static FileAttributes read(const QString &path);
    static FileAttributes fromStat(const struct stat &info);
    static FileAttributes unreadable();
};
