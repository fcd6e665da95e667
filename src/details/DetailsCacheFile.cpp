#include "details/DetailsCacheFile.h"

#include "files/LastingCache.h"
#include "files/RegularFile.h"

#include <QDataStream>
#include <QDir>

namespace {

// The file starts with this text, then the version, so a foreign file is never taken
// for a cache.
constexpr QByteArrayView signature("stashwell-details\n");
constexpr QDataStream::Version streamVersion = QDataStream::Qt_6_4;

void write(QDataStream &stream, const DetailsCacheFile::Key &key, const std::optional<ModelDetails> &details)
{
    const SHACacheKey &file = key.file;
    stream << file.path << file.device << file.inode << file.fileSize << file.modifiedNs << file.changedNs
           << quint8(key.reader) << details.has_value();
    if (details)
        stream << *details;
}

// One entry, or nothing when the stream holds none that fits (and then its status says so).
std::optional<std::pair<DetailsCacheFile::Key, std::optional<ModelDetails>>> readEntry(QDataStream &stream)
{
    DetailsCacheFile::Key key;
    SHACacheKey &file = key.file;
    quint8 reader = 0;
    bool described = false;
    stream >> file.path >> file.device >> file.inode >> file.fileSize >> file.modifiedNs >> file.changedNs >> reader
        >> described;
    std::optional<ModelDetails> details;
    if (described)
        stream >> details.emplace();
    key.reader = DetailsCacheFile::Reader(reader);
    if (stream.status() != QDataStream::Ok || !QDir::isAbsolutePath(file.path) || reader > quint8(DetailsCacheFile::Reader::ollamaConfig))
        return std::nullopt;
    return std::make_pair(key, details);
}

} // namespace

QString DetailsCacheFile::defaultPath()
{
    return LastingCache::pathFor(QStringLiteral("details.cache"));
}

DetailsCacheFile::Entries DetailsCacheFile::load() const
{
    Entries entries;
    const QByteArray bytes = m_path.isEmpty() ? QByteArray() : RegularFile::readWhole(m_path, maximumSize).value_or(QByteArray());
    if (!bytes.startsWith(signature))
        return entries;
    QDataStream stream(bytes.sliced(signature.size()));
    stream.setVersion(streamVersion);
    qint32 fileVersion = 0;
    quint32 count = 0;
    stream >> fileVersion >> count;
    if (fileVersion != version || count > quint32(maximumEntries))
        return entries;
    entries.reserve(count);
    for (quint32 i = 0; i < count; ++i) {
        const auto entry = readEntry(stream);
        if (!entry)
            return {}; // a damaged file: none of it is trusted
        entries.insert(entry->first, entry->second);
    }
    return entries;
}

bool DetailsCacheFile::save(const Entries &entries) const
{
    if (m_path.isEmpty())
        return false;
    QList<std::pair<Key, std::optional<ModelDetails>>> kept;
    for (auto entry = entries.cbegin(); entry != entries.cend() && kept.size() < maximumEntries; ++entry)
        kept.append({entry.key(), entry.value()});
    // What another scan kept stays while its file is as it was then.
    const Entries onDisk = load();
    for (auto entry = onDisk.cbegin(); entry != onDisk.cend() && kept.size() < maximumEntries; ++entry) {
        if (!entries.contains(entry.key()) && SHACacheKey::forFile(entry.key().file.path) == entry.key().file)
            kept.append({entry.key(), entry.value()});
    }
    QByteArray bytes = signature.toByteArray();
    QDataStream stream(&bytes, QIODevice::Append);
    stream.setVersion(streamVersion);
    stream << qint32(version) << quint32(kept.size());
    for (const auto &[key, details] : std::as_const(kept))
        write(stream, key, details);
    return LastingCache::write(m_path, bytes);
}

size_t qHash(const DetailsCacheFile::Key &key, size_t seed)
{
    return qHashMulti(seed, key.file, int(key.reader));
}
