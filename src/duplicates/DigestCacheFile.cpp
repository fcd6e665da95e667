#include "duplicates/DigestCacheFile.h"

#include "files/LastingCache.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>

namespace {

const QString formatName = QStringLiteral("stashwell-digests");
constexpr int digestLength = 32;

QJsonObject toJson(const SHACacheKey &key, const QByteArray &digest)
{
    return QJsonObject{
        {QStringLiteral("path"), key.path},
        {QStringLiteral("device"), qint64(key.device)},
        {QStringLiteral("inode"), qint64(key.inode)}, // the bits of an unsigned value, read back as such
        {QStringLiteral("size"), key.fileSize},
        {QStringLiteral("modifiedNs"), key.modifiedNs},
        {QStringLiteral("changedNs"), key.changedNs},
        {QStringLiteral("sha256"), QString::fromLatin1(digest.toHex())},
    };
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

bool addEntry(const QJsonObject &entry, DigestCacheFile::Digests &digests)
{
    const QString path = entry.value(QStringLiteral("path")).toString();
    const QByteArray hex = entry.value(QStringLiteral("sha256")).toString().toLatin1();
    const QByteArray digest = QByteArray::fromHex(hex);
    const auto device = exactInteger(entry, QStringLiteral("device"));
    const auto inode = exactInteger(entry, QStringLiteral("inode"));
    const auto size = exactInteger(entry, QStringLiteral("size"));
    const auto modified = exactInteger(entry, QStringLiteral("modifiedNs"));
    const auto changed = exactInteger(entry, QStringLiteral("changedNs"));
    if (!QDir::isAbsolutePath(path) || hex.size() != 2 * digestLength || digest.size() != digestLength
        || !device || !inode || !size || !modified || !changed)
        return false;
    digests.insert(SHACacheKey{path, quint64(*device), quint64(*inode), *size, *modified, *changed}, digest);
    return true;
}

} // namespace

QString DigestCacheFile::defaultPath()
{
    return LastingCache::pathFor(QStringLiteral("digests.json"));
}

DigestCacheFile::Digests DigestCacheFile::load() const
{
    Digests digests;
    for (const QJsonValue &entry : LastingCache::readEntries(m_path, formatName, version, maximumSize))
        addEntry(entry.toObject(), digests);
    return digests;
}

bool DigestCacheFile::save(const Digests &digests) const
{
    if (m_path.isEmpty())
        return false;
    Digests merged = load();
    merged.insert(digests);

    // A file that is gone or changed will never match its entry again: drop it.
    QJsonArray entries;
    for (auto entry = merged.cbegin(); entry != merged.cend(); ++entry) {
        if (SHACacheKey::forFile(entry.key().path) == entry.key())
            entries.append(toJson(entry.key(), entry.value()));
    }
    return LastingCache::writeEntries(m_path, formatName, version, entries);
}
