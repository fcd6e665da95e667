#include "files/RegularFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

QString RegularFile::systemReason(int error)
{
    char buffer[256];
    // The GNU strerror_r: thread-safe, returns the text (not necessarily in buffer).
    return QString::fromLocal8Bit(::strerror_r(error, buffer, sizeof buffer));
}

QString RegularFile::notRegularFileReason()
{
    return QStringLiteral("Not a regular file, so it cannot be verified.");
}

QString RegularFile::symbolicLinkReason()
{
    return QStringLiteral("Is a symbolic link, which is not followed, so it cannot be verified.");
}

std::variant<RegularFile, QString> RegularFile::open(const QString &path)
{
    const QByteArray nativePath = QFile::encodeName(path);

    // Look before opening: opening a FIFO for reading would wait for a writer.
    struct stat info {};
    if (::lstat(nativePath.constData(), &info) != 0)
        return systemReason(errno);
    if (S_ISLNK(info.st_mode))
        return symbolicLinkReason();
    if (!S_ISREG(info.st_mode))
        return notRegularFileReason();

    // The entry may be swapped between the look and the open: O_NONBLOCK keeps a FIFO
    // from blocking the open, O_NOFOLLOW refuses a link, and fstat checks what was opened.
    const int descriptor = ::open(nativePath.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        const int error = errno;
        return error == ELOOP ? symbolicLinkReason() : systemReason(error);
    }
    RegularFile file(descriptor, 0);
    if (::fstat(descriptor, &info) != 0)
        return systemReason(errno);
    if (!S_ISREG(info.st_mode))
        return notRegularFileReason();
    file.m_size = qint64(info.st_size);
    // A regular file is safe to read blocking; some network and FUSE file systems
    // would otherwise answer EAGAIN.
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags != -1)
        ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK);
    return file;
}

std::optional<QByteArray> RegularFile::readSmall(const QString &path, qint64 maximumSize)
{
    auto opened = open(path);
    const RegularFile *file = std::get_if<RegularFile>(&opened);
    if (!file || file->size() > maximumSize)
        return std::nullopt;
    // One byte more than the size, so a file that grew shows itself by filling it; files of
    // /proc and /sys tell no size at all.
    QByteArray bytes(file->size() + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            if (bytes.size() > maximumSize)
                return std::nullopt;
            bytes.resize(std::min<qint64>(std::max<qint64>(bytes.size() * 2, 4096), maximumSize + 1));
        }
        const ssize_t count = ::read(file->descriptor(), bytes.data() + filled, size_t(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        filled += count;
    }
    bytes.truncate(filled);
    return bytes;
}

RegularFile::RegularFile(RegularFile &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_size(other.m_size)
{
}

RegularFile::~RegularFile()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

