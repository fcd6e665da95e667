#pragma once

#include "duplicates/SHACacheKey.h"

#include <QByteArray>
#include <QHash>
#include <QString>

// The digests that outlast the process, so a group verified once is not read again
// by the next window or terminal run. Kept in Stashwell's own cache folder, never
// beside the models.
//
// A JSON object {"format": "stashwell-digests", "version": 1, "entries": [...]},
// each entry {"path", "device", "inode", "size", "modifiedNs", "changedNs", "sha256"}
// (integers exact, the digest in lower-case hex). Anything else (damaged, foreign,
// of another version, larger than maximumSize, not a regular file) is read as empty
// and replaced at the next save; an entry that does not fit is skipped.
class DigestCacheFile
{
public:
    using Digests = QHash<SHACacheKey, QByteArray>;

    static constexpr int version = 1;
    static constexpr qint64 maximumSize = 8 * 1024 * 1024;

    // $XDG_CACHE_HOME/Stashwell/digests.json (~/.cache when unset); empty when there
    // is no cache folder at all.
    static QString defaultPath();

    explicit DigestCacheFile(const QString &path) : m_path(path) {}
    QString path() const { return m_path; }

    Digests load() const;
    // Writes `digests` together with what is on disk now (another process may have
    // saved meanwhile; `digests` wins on a clash), keeping only entries whose key
    // still describes its file. Written aside and renamed into place, so a reader
    // never sees half a file. False when it could not be written.
    bool save(const Digests &digests) const;

private:
    QString m_path;
};
