#include "duplicates/FileHasher.h"

#include <QFile>
#include <QScopeGuard>

#include <openssl/evp.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemReason(int error)
{
    char buffer[256];
    // The GNU strerror_r: thread-safe, returns the text (not necessarily in buffer).
    return QString::fromLocal8Bit(::strerror_r(error, buffer, sizeof buffer));
}

DuplicateHashError unreadable(const QString &path, const QString &reason)
{
    return DuplicateHashError::unreadable(path, reason);
}

struct DigestContextFree
{
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

} // namespace

QString FileHasher::cancelledReason()
{
    return QStringLiteral("Verification was cancelled.");
}

QString FileHasher::notRegularFileReason()
{
    return QStringLiteral("Not a regular file, so it cannot be verified.");
}

QString FileHasher::symbolicLinkReason()
{
    return QStringLiteral("Is a symbolic link, which is not followed, so it cannot be verified.");
}

DigestResult FileHasher::hashFile(const QString &path, const std::atomic<bool> *cancelled,
                                  const Progress &progress)
{
    const QByteArray nativePath = QFile::encodeName(path);

    // Look before opening: opening a FIFO for reading would wait for a writer.
    struct stat info {};
    if (::lstat(nativePath.constData(), &info) != 0)
        return unreadable(path, systemReason(errno));
    if (S_ISLNK(info.st_mode))
        return unreadable(path, symbolicLinkReason());
    if (!S_ISREG(info.st_mode))
        return unreadable(path, notRegularFileReason());

    // The entry may be swapped between the look and the open: O_NONBLOCK keeps a FIFO
    // from blocking the open, O_NOFOLLOW refuses a link, and fstat checks what was opened.
    const int fd = ::open(nativePath.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        return unreadable(path, error == ELOOP ? symbolicLinkReason() : systemReason(error));
    }
    const auto closeFile = qScopeGuard([fd] { ::close(fd); });
    if (::fstat(fd, &info) != 0)
        return unreadable(path, systemReason(errno));
    if (!S_ISREG(info.st_mode))
        return unreadable(path, notRegularFileReason());
    // A regular file is safe to read blocking; some network and FUSE file systems
    // would otherwise answer EAGAIN.
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags != -1)
        ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);

    const std::unique_ptr<EVP_MD_CTX, DigestContextFree> context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        return unreadable(path, QStringLiteral("SHA-256 is not available."));

    const auto chunk = std::make_unique_for_overwrite<unsigned char[]>(chunkSize);
    qint64 hashed = 0;
    for (;;) {
        const ssize_t count = ::read(fd, chunk.get(), chunkSize);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return unreadable(path, systemReason(errno));
        }
        if (count == 0)
            break;
        if (cancelled && cancelled->load(std::memory_order_relaxed))
            return unreadable(path, cancelledReason());
        if (EVP_DigestUpdate(context.get(), chunk.get(), size_t(count)) != 1)
            return unreadable(path, QStringLiteral("SHA-256 is not available."));
        hashed += count;
        if (progress)
            progress(hashed);
    }

    QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char *>(digest.data()), &length) != 1)
        return unreadable(path, QStringLiteral("SHA-256 is not available."));
    digest.truncate(int(length));
    return digest;
}
