#pragma once

#include <QJsonArray>
#include <QString>

// Stashwell's lasting caches (digests, model details), kept in Stashwell's own cache
// folder, never beside the models. The digest cache is a JSON file
// {"format": ..., "version": ..., "entries": [...]}.
namespace LastingCache {

// $XDG_CACHE_HOME/Stashwell/<fileName> (~/.cache when unset); empty when there is no
// cache folder at all.
QString pathFor(const QString &fileName);

// The entries of the file, or none when it is missing, damaged, of another format or
// version, larger than maximumSize or not a regular file (it is then replaced at the
// next write).
QJsonArray readEntries(const QString &path, const QString &format, int version, qint64 maximumSize);

// Writes the file aside and renames it into place, so a reader never sees half of it;
// the cache folder is made private to the user. False when it could not be written.
bool write(const QString &path, const QByteArray &contents);
bool writeEntries(const QString &path, const QString &format, int version, const QJsonArray &entries);

} // namespace LastingCache
