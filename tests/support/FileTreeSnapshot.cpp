#include "support/FileTreeSnapshot.h"

#include "deletion/StoreLock.h"
#include "files/LastingCache.h"

#include <QFile>
#include <QFileInfo>

#include <fts.h>
#include <sys/stat.h>

FileTreeSnapshot::FileTreeSnapshot(const QString &root) : m_root(QFile::encodeName(root))
{
    // fts walks by changing into each folder, so paths longer than the system allows
    // and trees thousands of levels deep are recorded like any other.
    QByteArray rootPath = m_root;
    char *roots[] = {rootPath.data(), nullptr};
    FTS *walk = ::fts_open(roots, FTS_PHYSICAL, nullptr);
    if (!walk)
        qFatal("cannot walk %s", rootPath.constData());
    while (FTSENT *entry = ::fts_read(walk)) {
        if (entry->fts_info == FTS_DP)
            continue; // a folder is recorded once, on the way in
        const QByteArray relative(entry->fts_path + qMin<qsizetype>(entry->fts_pathlen, rootPath.size()));
        State state;
        if (entry->fts_statp && entry->fts_info != FTS_NS && entry->fts_info != FTS_ERR) {
            const struct stat &info = *entry->fts_statp;
            state = {unsigned(info.st_mode), qint64(info.st_size), qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                     static_cast<unsigned long long>(info.st_ino)};
        }
        m_entries[relative.isEmpty() ? QByteArray("/") : relative] = state;
    }
    ::fts_close(walk);
}

QByteArray FileTreeSnapshot::relative(const QString &path) const
{
    const QByteArray raw = QFile::encodeName(path);
    return raw.startsWith(m_root + '/') ? raw.mid(m_root.size()) : raw;
}

QStringList FileTreeSnapshot::readRecords(const QByteArray &trash, std::map<QByteArray, QByteArray> &records) const
{
    QStringList problems;
    const QByteArray info = trash + "/info/";
    for (const auto &[path, state] : m_entries) {
        if (!path.startsWith(info) || path.indexOf('/', info.size()) >= 0)
            continue;
        QFile file(QFile::decodeName(m_root + path));
        const QList<QByteArray> lines = file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
        if (!path.endsWith(".trashinfo") || lines.value(0) != "[Trash Info]" || !lines.value(1).startsWith("Path=/")
            || !lines.value(2).startsWith("DeletionDate="))
            problems << QStringLiteral("not a whole record: ") + shown(path);
        else
            records[QByteArray::fromPercentEncoding(lines[1].mid(5))] = path.mid(info.size()).chopped(10);
    }
    return problems;
}

QStringList FileTreeSnapshot::problemsAfterTrashing(const FileTreeSnapshot &before, const QStringList &moved,
                                                    const QString &trash) const
{
    const QByteArray trashRelative = relative(trash);
    // Stashwell's own folders (its locks, its caches) may change; nothing else may.
    const QList<QByteArray> ownFolders{relative(StoreLock::folder()), relative(QFileInfo(LastingCache::pathFor(QStringLiteral("-"))).path())};
    std::map<QByteArray, QByteArray> records; // original -> entry, of records that were not there before
    QStringList problems = readRecords(trashRelative, records);
    std::erase_if(records, [&](const auto &record) {
        return before.m_entries.count(trashRelative + "/info/" + record.second + ".trashinfo") > 0;
    });
    const auto isBelow = [](const QByteArray &path, const QByteArray &folder) { return path == folder || path.startsWith(folder + '/'); };
    const auto isOwn = [&](const QByteArray &path) {
        return std::any_of(ownFolders.cbegin(), ownFolders.cend(), [&](const QByteArray &own) {
            return isBelow(path, own) || own.startsWith(path + '/');
        });
    };
    QList<QByteArray> movedRelative;
    for (const QString &path : moved) {
        movedRelative << relative(path);
        // Records name the real folder the item was in (as given once that folder moved too).
        const QFileInfo item(path);
        const QString folder = QFileInfo(item.path()).canonicalFilePath();
        const QByteArray original = QFile::encodeName((folder.isEmpty() ? item.path() : folder) + u'/' + item.fileName());
        const auto record = records.find(original);
        const auto was = before.m_entries.find(relative(path));
        const auto now = m_entries.find(trashRelative + "/files/" + (record == records.end() ? "" : record->second));
        if (record == records.end() || was == before.m_entries.end() || now == m_entries.end() || now->second.inode != was->second.inode)
            problems << QStringLiteral("not in the Trash with its record: ") + path;
        else
            records.erase(record);
    }
    for (const auto &[original, entry] : records)
        problems << QStringLiteral("recorded but not meant to move: ") + shown(original);
    for (const auto &[path, state] : before.m_entries) {
        const auto now = m_entries.find(path);
        const bool wasMoved = std::any_of(movedRelative.cbegin(), movedRelative.cend(), [&](const QByteArray &item) { return isBelow(path, item); });
        // Folders that lost or gained an entry change their time, nothing else.
        const bool folderTime = now != m_entries.end() && S_ISDIR(state.mode) && now->second.mode == state.mode
            && now->second.inode == state.inode;
        if (isOwn(path))
            continue;
        if (now == m_entries.end() ? !wasMoved : !(now->second == state) && !folderTime)
            problems << (now == m_entries.end() ? QStringLiteral("removed ") : QStringLiteral("changed ")) + shown(path);
    }
    for (const auto &[path, state] : m_entries) {
        if (!before.m_entries.count(path) && !isBelow(path, trashRelative) && !trashRelative.startsWith(path + '/')
            && !isOwn(path))
            problems << QStringLiteral("added ") + shown(path);
        if (isBelow(path, trashRelative + "/files") && path.count('/') == trashRelative.count('/') + 2
            && !m_entries.count(trashRelative + "/info/" + path.mid(trashRelative.size() + 7) + ".trashinfo"))
            problems << QStringLiteral("in the Trash without a record: ") + shown(path);
    }
    return problems;
}

QString FileTreeSnapshot::shown(const QByteArray &raw)
{
    QString text;
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte < 0x20 || byte >= 0x7f ? QStringLiteral("\\x%1").arg(byte, 2, 16, QLatin1Char('0')) : QString(QLatin1Char(c));
    }
    return text;
}
