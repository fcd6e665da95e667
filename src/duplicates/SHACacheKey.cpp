#include "duplicates/SHACacheKey.h"

#include <QDir>
#include <QFile>
#include <QJsonValue>

#include <limits>
#include <sys/stat.h>

namespace {

qint64 nanoseconds(const struct timespec &time)
{
    return qint64(time.tv_sec) * 1'000'000'000 + qint64(time.tv_nsec);
}

// An integer written exactly; a fraction, text or anything else is not.
std::optional<qint64> exactInteger(const QJsonObject &entry, const QString &name)
{
    const QJsonValue value = entry.value(name);
    constexpr qint64 absent = std::numeric_limits<qint64>::min();
    const qint64 integer = value.toInteger(absent);
    if (!value.isDouble() || integer == absent)
        return std::nullopt;
    return integer;
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

void SHACacheKey::writeTo(QJsonObject &entry) const
{
    entry.insert(QStringLiteral("path"), path);
    entry.insert(QStringLiteral("device"), qint64(device));
    entry.insert(QStringLiteral("inode"), qint64(inode)); // the bits of an unsigned value, read back as such
    entry.insert(QStringLiteral("size"), fileSize);
    entry.insert(QStringLiteral("modifiedNs"), modifiedNs);
    entry.insert(QStringLiteral("changedNs"), changedNs);
}

std::optional<SHACacheKey> SHACacheKey::readFrom(const QJsonObject &entry)
{
    const QString path = entry.value(QStringLiteral("path")).toString();
    const auto device = exactInteger(entry, QStringLiteral("device"));
    const auto inode = exactInteger(entry, QStringLiteral("inode"));
    const auto size = exactInteger(entry, QStringLiteral("size"));
    const auto modified = exactInteger(entry, QStringLiteral("modifiedNs"));
    const auto changed = exactInteger(entry, QStringLiteral("changedNs"));
    if (!QDir::isAbsolutePath(path) || !device || !inode || !size || !modified || !changed)
        return std::nullopt;
    return SHACacheKey{path, quint64(*device), quint64(*inode), *size, *modified, *changed};
}
