#include "deletion/StoreLock.h"

#include "deletion/TrashError.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

QString StoreLock::folder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtime))
        return runtime + QStringLiteral("/stashwell");
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/Stashwell");
}

StoreLock::StoreLock(dev_t device, ino_t inode)
{
    const QString where = folder();
    if (!QDir().mkpath(where)) {
        m_problem = QStringLiteral("Stashwell could not create its folder \u201c%1\u201d for the store's lock.").arg(where);
        return;
    }
    const QString name = where + QStringLiteral("/ollama-blobs-%1-%2.lock").arg(quint64(device)).arg(quint64(inode));
    m_fd = ::open(QFile::encodeName(name).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    int result = m_fd < 0 ? -1 : 0;
    while (m_fd >= 0 && (result = ::flock(m_fd, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (result != 0) {
        m_problem = QStringLiteral("The lock \u201c%1\u201d could not be taken: %2").arg(name, TrashError::reasonFor(errno));
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
}

StoreLock::~StoreLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // closing the only descriptor releases the lock
}
