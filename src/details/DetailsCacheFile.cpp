#include "details/DetailsCacheFile.h"

#include "files/LastingCache.h"

#include <QJsonArray>
#include <QJsonObject>

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

QJsonObject toJson(const DetailsCacheFile::Key &key, const std::optional<ModelDetails> &details)
{
    QJsonObject entry{{QStringLiteral("reader"), readerKey(key.reader)},
                      {QStringLiteral("details"), details ? QJsonValue(details->toJson()) : QJsonValue(QJsonValue::Null)}};
    key.file.writeTo(entry);
    return entry;
}

void addEntry(const QJsonObject &entry, DetailsCacheFile::Entries &entries)
{
    const std::optional<SHACacheKey> file = SHACacheKey::readFrom(entry);
    const std::optional<Reader> reader = readerFromKey(entry.value(QStringLiteral("reader")).toString());
    const QJsonValue details = entry.value(QStringLiteral("details"));
    const std::optional<ModelDetails> decoded = ModelDetails::fromJson(details.toObject());
    if (file && reader && (details.isNull() || decoded))
        entries.insert({*file, *reader}, decoded);
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
        addEntry(entry.toObject(), entries);
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
