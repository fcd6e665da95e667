#pragma once

#include "catalogue/ModelDetails.h"
#include "duplicates/SHACacheKey.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <optional>

// What model files said of their models, kept between runs so that a scan of files that
// have not changed opens none of them. Kept beside the digest cache in Stashwell's own
// cache folder and keyed the same way (path, device, inode, size, modification and
// change time). A file that says nothing is remembered too, so a damaged or hostile file
// is not read again on every scan.
//
// A binary file, not JSON like the digest cache: it is read at the start of every scan,
// and reading JSON was most of a scan of unchanged files. "stashwell-details\n", then
// 64-bit little-endian numbers and UTF-8 texts (each after its length): the version, the
// count, and per entry the key's path, device, inode, size, modification and change
// time, the reader, whether there are details, and their format, architecture,
// parameters, quantization, context length, size label and name (-1 for an unknown
// count). A file that is not exactly that (damaged, foreign, of another version, larger
// than maximumSize, not a regular file) is read as empty and replaced at the next save.
class DetailsCacheFile
{
public:
    // How a file was read: as a model's weights, or as an Ollama config blob.
    enum class Reader { weights, ollamaConfig };
    struct Key
    {
        SHACacheKey file;
        Reader reader = Reader::weights;
        friend bool operator==(const Key &, const Key &) = default;
    };
    using Entries = QHash<Key, std::optional<ModelDetails>>;

    static constexpr int version = 1;
    static constexpr qint64 maximumSize = 8 * 1024 * 1024;
    // Beyond this many, entries of files the last scan did not look at are dropped.
    static constexpr qsizetype maximumEntries = 20000;

    // $XDG_CACHE_HOME/Stashwell/details.cache (~/.cache when unset); empty when there is
    // no cache folder at all.
    static QString defaultPath();

    explicit DetailsCacheFile(const QString &path) : m_path(path) {}

    Entries load() const;
    // The file's contents for these entries, and the entries of such contents (none when
    // they are not exactly of that form).
    static QByteArray encode(const QList<std::pair<Key, std::optional<ModelDetails>>> &entries);
    static Entries decode(QByteArrayView bytes);
    // Writes `entries` (what a scan looked up or read) and those on disk whose file has
    // not changed since, at most maximumEntries, `entries` first. Written aside and
    // renamed into place, so a reader never sees half a file. False when it could not be
    // written.
    bool save(const Entries &entries) const;

private:
    QString m_path;
};

size_t qHash(const DetailsCacheFile::Key &key, size_t seed = 0);
