#include "duplicates/DigestCacheFile.h"

#include "files/LastingCache.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

const QString formatName = QStringLiteral("stashwell-digests");
constexpr int digestLength = 32;

QJsonObject toJson(const SHACacheKey &key, const QByteArray &digest)
{
    QJsonObject entry{{QStringLiteral("sha256"), QString::fromLatin1(digest.toHex())}};
    key.writeTo(entry);
    return entry;
}

bool addEntry(const QJsonObject &entry, DigestCacheFile::Digests &digests)
{
    const QByteArray hex = entry.value(QStringLiteral("sha256")).toString().toLatin1();
    const QByteArray digest = QByteArray::fromHex(hex);
    const std::optional<SHACacheKey> key = SHACacheKey::readFrom(entry);
    if (!key || hex.size() != 2 * digestLength || digest.size() != digestLength)
        return false;
    digests.insert(*key, digest);
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
