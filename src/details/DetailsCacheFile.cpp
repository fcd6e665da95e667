#include "details/DetailsCacheFile.h"

#include "files/LastingCache.h"

#include <QDir>
#include <QJsonArray>

#include <algorithm>
#include <array>
#include <limits>

namespace {

const QString formatName = QStringLiteral("stashwell-details");

using Reader = DetailsCacheFile::Reader;

QString readerKey(Reader reader)
{
    return reader == Reader::ollamaConfig ? QStringLiteral("ollamaConfig") : QStringLiteral("weights");
}

std::optional<Reader> readerFromKey(const QString &key)
{
    for (const Reader reader : {Reader::weights, Reader::ollamaConfig}) {
        if (readerKey(reader) == key)
            return reader;
    }
    return std::nullopt;
}

// One entry: [path, device, inode, size, modifiedNs, changedNs, reader, details or null].
// Arrays, not objects: the cache is read at the start of every scan, and JSON arrays
// read twice as fast as objects with named fields.
QJsonArray toJson(const DetailsCacheFile::Key &key, const std::optional<ModelDetails> &details)
{
    const SHACacheKey &file = key.file;
    return QJsonArray{file.path, qint64(file.device), qint64(file.inode), file.fileSize, file.modifiedNs, file.changedNs,
                      readerKey(key.reader), details ? QJsonValue(details->toCacheArray()) : QJsonValue(QJsonValue::Null)};
}

// An integer written exactly; a fraction, text or anything else is not.
std::optional<qint64> exactInteger(const QJsonValue &value)
{
    constexpr qint64 absent = std::numeric_limits<qint64>::min();
    const qint64 integer = value.toInteger(absent);
    return value.isDouble() && integer != absent ? std::optional<qint64>(integer) : std::nullopt;
}

void addEntry(const QJsonArray &entry, DetailsCacheFile::Entries &entries)
{
    if (entry.size() != 8)
        return;
    const QString path = entry[0].toString();
    std::array<std::optional<qint64>, 5> numbers;
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = exactInteger(entry[qsizetype(i) + 1]);
    const std::optional<Reader> reader = readerFromKey(entry[6].toString());
    const QJsonValue details = entry[7];
    const std::optional<ModelDetails> decoded = ModelDetails::fromCacheArray(details.toArray());
    if (!QDir::isAbsolutePath(path) || std::find(numbers.cbegin(), numbers.cend(), std::nullopt) != numbers.cend() || !reader
        || !(details.isNull() || decoded))
        return;
    const SHACacheKey file{path, quint64(*numbers[0]), quint64(*numbers[1]), *numbers[2], *numbers[3], *numbers[4]};
    entries.insert({file, *reader}, decoded);
}

} // namespace

QString DetailsCacheFile::defaultPath()
{
    return LastingCache::pathFor(QStringLiteral("details.json"));
}

DetailsCacheFile::Entries DetailsCacheFile::load() const
{
    Entries entries;
    for (const QJsonValue &entry : LastingCache::readEntries(m_path, formatName, version, maximumSize))
        addEntry(entry.toArray(), entries);
    return entries;
}

bool DetailsCacheFile::save(const Entries &entries) const
{
    if (m_path.isEmpty())
        return false;
    QJsonArray written;
    for (auto entry = entries.cbegin(); entry != entries.cend() && written.size() < maximumEntries; ++entry)
        written.append(toJson(entry.key(), entry.value()));
    // What another scan kept stays while its file is as it was then.
    const Entries onDisk = load();
    for (auto entry = onDisk.cbegin(); entry != onDisk.cend() && written.size() < maximumEntries; ++entry) {
        if (!entries.contains(entry.key()) && SHACacheKey::forFile(entry.key().file.path) == entry.key().file)
            written.append(toJson(entry.key(), entry.value()));
    }
    return LastingCache::writeEntries(m_path, formatName, version, written);
}

size_t qHash(const DetailsCacheFile::Key &key, size_t seed)
{
    return qHashMulti(seed, key.file, int(key.reader));
}
