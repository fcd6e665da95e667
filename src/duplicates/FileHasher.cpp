#include "duplicates/FileHasher.h"

#include "files/RegularFile.h"

#include <openssl/evp.h>

#include <array>
#include <limits>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <unistd.h>

namespace {

struct DigestContextFree
{
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

QString unavailableReason()
{
    return QStringLiteral("SHA-256 is not available.");
}

// One SHA-256 computation over parts of one open file, read a chunk at a time.
class Sha256Reader
{
public:
    Sha256Reader(const RegularFile &file, const std::atomic<bool> *cancelled, const FileHasher::Progress &progress,
                 const FileHasher::Checkpoint &checkpoint)
        : m_file(file), m_cancelled(cancelled), m_progress(progress), m_checkpoint(checkpoint),
          m_context(EVP_MD_CTX_new()), m_chunk(std::make_unique_for_overwrite<unsigned char[]>(FileHasher::chunkSize))
    {
    }

    // Why hashing cannot start, or nothing.
    std::optional<QString> start()
    {
        if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) != 1)
            return unavailableReason();
        return std::nullopt;
    }

    std::optional<QString> feed(const void *bytes, size_t count)
    {
        if (EVP_DigestUpdate(m_context.get(), bytes, count) != 1)
            return unavailableReason();
        return std::nullopt;
    }

    // Feeds up to `length` bytes from `offset` (to the end when length < 0); a file
    // that got shorter meanwhile gives what it has. Returns why reading failed.
    std::optional<QString> feedRange(qint64 offset, qint64 length)
    {
        for (qint64 left = length < 0 ? std::numeric_limits<qint64>::max() : length; left > 0;) {
            // A read never crosses a stripe's end, so every checkpoint covers exactly whole stripes.
            const qint64 toStripeEnd = FileHasher::stripeSize - m_hashed % FileHasher::stripeSize;
            const qint64 wanted = std::min({left, FileHasher::chunkSize, m_checkpoint ? toStripeEnd : left});
            const ssize_t count = ::pread(m_file.descriptor(), m_chunk.get(), size_t(wanted), off_t(offset));
            if (count < 0) {
                if (errno == EINTR)
                    continue;
                return RegularFile::systemReason(errno);
            }
            if (count == 0)
                break;
            if (m_cancelled && m_cancelled->load(std::memory_order_relaxed))
                return FileHasher::cancelledReason();
            if (auto failure = feed(m_chunk.get(), size_t(count)))
                return failure;
            offset += count;
            left -= count;
            m_hashed += count;
            if (m_progress)
                m_progress(m_hashed);
            if (m_checkpoint && m_hashed % FileHasher::stripeSize == 0) {
                auto digest = digestSoFar();
                if (auto *reason = std::get_if<QString>(&digest))
                    return *reason;
                if (!m_checkpoint(m_hashed / FileHasher::stripeSize - 1, std::get<QByteArray>(digest)))
                    return FileHasher::stoppedReason();
            }
        }
        return std::nullopt;
    }

    // The digest of everything fed so far, leaving the computation to go on.
    std::variant<QByteArray, QString> digestSoFar()
    {
        const std::unique_ptr<EVP_MD_CTX, DigestContextFree> copy(EVP_MD_CTX_new());
        QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
        unsigned int length = 0;
        if (!copy || EVP_MD_CTX_copy_ex(copy.get(), m_context.get()) != 1
            || EVP_DigestFinal_ex(copy.get(), reinterpret_cast<unsigned char *>(digest.data()), &length) != 1)
            return unavailableReason();
        digest.truncate(int(length));
        return digest;
    }

    std::variant<QByteArray, QString> finish()
    {
        QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
        unsigned int length = 0;
        if (EVP_DigestFinal_ex(m_context.get(), reinterpret_cast<unsigned char *>(digest.data()), &length) != 1)
            return unavailableReason();
        digest.truncate(int(length));
        return digest;
    }

private:
    const RegularFile &m_file;
    const std::atomic<bool> *m_cancelled;
    const FileHasher::Progress &m_progress;
    const FileHasher::Checkpoint &m_checkpoint;
    std::unique_ptr<EVP_MD_CTX, DigestContextFree> m_context;
    std::unique_ptr<unsigned char[]> m_chunk;
    qint64 m_hashed = 0;
};

// Opens `path` and lets `feedParts` pass parts of it through SHA-256; every error,
// whether opening, reading or hashing, becomes unreadable with its reason.
template<typename FeedParts>
DigestResult digestOf(const QString &path, const std::atomic<bool> *cancelled, const FileHasher::Progress &progress,
                      const FileHasher::Checkpoint &checkpoint, FeedParts feedParts)
{
    auto opened = RegularFile::open(path);
    if (const auto *reason = std::get_if<QString>(&opened))
        return DuplicateHashError::unreadable(path, *reason);
    const RegularFile &file = std::get<RegularFile>(opened);
    Sha256Reader reader(file, cancelled, progress, checkpoint);
    std::optional<QString> failure = reader.start();
    if (!failure)
        failure = feedParts(file, reader);
    if (failure)
        return DuplicateHashError::unreadable(path, *failure);
    auto digest = reader.finish();
    if (auto *reason = std::get_if<QString>(&digest))
        return DuplicateHashError::unreadable(path, *reason);
    return std::get<QByteArray>(digest);
}

} // namespace

QString FileHasher::cancelledReason()
{
    return QStringLiteral("Verification was cancelled.");
}

QString FileHasher::stoppedReason()
{
    return QStringLiteral("The file was not read to its end: what was read already tells it apart.");
}

DigestResult FileHasher::hashFile(const QString &path, const std::atomic<bool> *cancelled, const Progress &progress,
                                  const Checkpoint &checkpoint)
{
    return digestOf(path, cancelled, progress, checkpoint, [](const RegularFile &file, Sha256Reader &reader) {
        ::posix_fadvise(file.descriptor(), 0, 0, POSIX_FADV_SEQUENTIAL);
        return reader.feedRange(0, -1);
    });
}

DigestResult FileHasher::sampleDigest(const QString &path, const std::atomic<bool> *cancelled, qint64 blockSize)
{
    return digestOf(path, cancelled, {}, {}, [blockSize](const RegularFile &file, Sha256Reader &reader) -> std::optional<QString> {
        // The size goes in first: files of different sizes never share a sample digest.
        const qint64 size = file.size();
        if (auto failure = reader.feed(&size, sizeof size))
            return failure;
        const qint64 last = std::max<qint64>(0, size - blockSize);
        const std::array<qint64, 3> offsets{0, std::min(last, std::max<qint64>(0, size / 2 - blockSize / 2)), last};
        qint64 previous = -1;
        for (const qint64 offset : offsets) {
            if (offset == previous) // small files: one sample covers them
                continue;
            previous = offset;
            if (auto failure = reader.feedRange(offset, blockSize))
                return failure;
        }
        return std::nullopt;
    });
}
