#include "details/DetailsCacheFile.h"

#include "details/HeaderBytes.h"
#include "files/LastingCache.h"
#include "files/RegularFile.h"

#include <QDir>
#include <QtEndian>

namespace {

// The file starts with this text, so a foreign file is never taken for a cache.
constexpr QByteArrayView signature("stashwell-details\n");
constexpr qint64 unknownCount = -1;
constexpr qint64 longestPath = 64 * 1024;

void put(QByteArray &out, qint64 number)
{
    char bytes[8];
    qToLittleEndian(number, bytes);
    out.append(bytes, sizeof bytes);
}

void put(QByteArray &out, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    put(out, qint64(utf8.size()));
    out += utf8;
}

// Reads the contents front to back; after the first thing that does not fit, `fits` is
// false and everything reads as zero or empty.
class Contents
{
public:
    explicit Contents(QByteArrayView bytes) : m_bytes(bytes, DetailsCacheFile::maximumSize) {}

    bool fits() const { return m_fits; }
    qint64 number()
    {
        qint64 value = 0;
        m_fits = m_fits && m_bytes.read(m_position, value);
        m_position += sizeof value;
        return m_fits ? value : 0;
    }
    // A path, or a text as a reader gives it (ModelDetails::statedText); empty stays empty.
    QString text(qint64 longest, bool stated)
    {
        const qint64 length = number();
        const uchar *bytes = m_fits && length >= 0 && length <= longest ? m_bytes.at(m_position, length) : nullptr;
        m_fits = m_fits && bytes;
        if (!m_fits || length == 0)
            return {};
        m_position += length;
        const QByteArrayView utf8(bytes, length);
        const QString text = stated ? ModelDetails::statedText(utf8) : QString::fromUtf8(utf8);
        m_fits = !text.isEmpty();
        return text;
    }
    std::optional<qint64> count()
    {
        const qint64 value = number();
        m_fits = m_fits && value >= unknownCount;
        return value == unknownCount ? std::nullopt : std::optional<qint64>(value);
    }

private:
    HeaderBytes m_bytes;
    qint64 m_position = signature.size();
    bool m_fits = true;
};

ModelDetails readDetails(Contents &in)
{
    ModelDetails details;
    details.format = ModelDetails::Format(in.number());
    details.architecture = in.text(ModelDetails::maximumTextSize, true);
    details.parameters = in.count();
    details.quantization = in.text(ModelDetails::maximumTextSize, true);
    details.contextLength = in.count();
    details.sizeLabel = in.text(ModelDetails::maximumTextSize, true);
    details.name = in.text(ModelDetails::maximumTextSize, true);
    return details;
}

} // namespace

QString DetailsCacheFile::defaultPath()
{
    return LastingCache::pathFor(QStringLiteral("details.cache"));
}

QByteArray DetailsCacheFile::encode(const QList<std::pair<Key, std::optional<ModelDetails>>> &entries)
{
    QByteArray out = signature.toByteArray();
    put(out, version);
    put(out, entries.size());
    for (const auto &[key, details] : entries) {
        const SHACacheKey &file = key.file;
        put(out, file.path);
        for (const qint64 number : {qint64(file.device), qint64(file.inode), file.fileSize, file.modifiedNs, file.changedNs,
                                    qint64(key.reader), qint64(details.has_value())})
            put(out, number);
        if (!details)
            continue;
        put(out, qint64(details->format));
        put(out, details->architecture);
        put(out, details->parameters.value_or(unknownCount));
        put(out, details->quantization);
        put(out, details->contextLength.value_or(unknownCount));
        put(out, details->sizeLabel);
        put(out, details->name);
    }
    return out;
}

DetailsCacheFile::Entries DetailsCacheFile::decode(QByteArrayView bytes)
{
    Contents in(bytes);
    const qint64 count = bytes.startsWith(signature) && in.number() == version ? in.number() : -1;
    if (count < 0 || count > maximumEntries)
        return {};
    Entries entries;
    entries.reserve(count);
    for (qint64 i = 0; i < count; ++i) {
        Key key;
        SHACacheKey &file = key.file;
        file.path = in.text(longestPath, false);
        file.device = quint64(in.number());
        file.inode = quint64(in.number());
        file.fileSize = in.number();
        file.modifiedNs = in.number();
        file.changedNs = in.number();
        const qint64 reader = in.number();
        key.reader = Reader(reader);
        const qint64 described = in.number();
        std::optional<ModelDetails> details;
        if (described == 1)
            details = readDetails(in);
        // A damaged file: none of it is trusted.
        if (!in.fits() || !QDir::isAbsolutePath(file.path) || reader < 0 || reader > qint64(Reader::ollamaConfig)
            || described < 0 || described > 1 || (details && details->formatKey().isEmpty()))
            return {};
        entries.insert(key, details);
    }
    return entries;
}

DetailsCacheFile::Entries DetailsCacheFile::load() const
{
    return m_path.isEmpty() ? Entries() : decode(RegularFile::readSmall(m_path, maximumSize).value_or(QByteArray()));
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
    return LastingCache::write(m_path, encode(kept));
}

size_t qHash(const DetailsCacheFile::Key &key, size_t seed)
{
    return qHashMulti(seed, key.file, int(key.reader));
}
