#include "support/ScratchDrive.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

ScratchDrive::ScratchDrive(const QString &mountPoint, qint64 sizeBytes)
    : m_path(mountPoint)
{
    QDir().mkpath(mountPoint);
    const QByteArray options = "size=" + QByteArray::number(sizeBytes) + ",mode=0755";
    m_mounted = ::mount("tmpfs", QFile::encodeName(mountPoint).constData(), "tmpfs", MS_NOSUID | MS_NODEV,
                        options.constData())
        == 0;
    if (!m_mounted)
        m_problem = QStringLiteral("a tmpfs test drive cannot be mounted here (%1); it needs root or CAP_SYS_ADMIN")
                        .arg(QString::fromLocal8Bit(std::strerror(errno)));
}

ScratchDrive::~ScratchDrive()
{
    if (m_mounted)
        ::umount2(QFile::encodeName(m_path).constData(), MNT_DETACH);
}

bool ScratchDrive::remountReadOnly() const
{
    return m_mounted
        && ::mount(nullptr, QFile::encodeName(m_path).constData(), nullptr, MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV, nullptr)
        == 0;
}

bool ScratchDrive::fill(const QString &filler, int pagesLeft) const
{
    const int fd = ::open(QFile::encodeName(filler).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const long page = ::sysconf(_SC_PAGESIZE);
    const QByteArray block(page, 'f');
    off_t size = 0;
    ssize_t written = 0;
    while ((written = ::write(fd, block.constData(), size_t(page))) > 0)
        size += written;
    const bool full = written < 0 && errno == ENOSPC;
    // A partly written last page still holds a whole page: count it as one.
    const off_t kept = ((size + page - 1) / page - pagesLeft) * page;
    const bool trimmed = kept >= 0 && ::ftruncate(fd, kept) == 0;
    ::close(fd);
    return full && trimmed;
}
