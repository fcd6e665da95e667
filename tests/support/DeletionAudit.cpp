#include "support/DeletionAudit.h"
#include "support/FileTreeSnapshot.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <optional>

namespace {
QString shown(const QByteArray &raw)
{
    return FileTreeSnapshot::shown(raw);
}

QByteArray parentOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray nameOf(const QByteArray &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

QByteArray realPath(const QByteArray &path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.constData(), nullptr), &std::free);
    return resolved ? QByteArray(resolved.get()) : path;
}

QByteArray childOf(const QByteArray &folder, const QByteArray &name)
{
    return folder == "/" ? folder + name : folder + '/' + name;
}

bool isFolder(const QByteArray &path)
{
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Raw names in a folder, hidden ones too, without "." and "..".
QList<QByteArray> namesIn(const QByteArray &folder)
{
    QList<QByteArray> names;
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names << name;
    }
    ::closedir(dir);
    return names;
}

QByteArray homeTrash()
{
    QByteArray data = qgetenv("XDG_DATA_HOME");
    if (data.isEmpty())
        data = qgetenv("HOME") + "/.local/share";
    return data + "/Trash";
}

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mode == b.st_mode && a.st_size == b.st_size
        && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

QString text(const QByteArray &path)
{
    return shown(path);
}
} // namespace

DeletionAudit::DeletionAudit(const QStringList &roots, const QStringList &expectedMoves)
    : m_roots(roots)
{
    for (const QString &root : roots) {
        const bool inside = std::any_of(roots.begin(), roots.end(), [&](const QString &other) {
            return other != root && root.startsWith(other + QLatin1Char('/'));
        });
        if (!inside) {
            m_walked << root;
            m_snapshots << FileTreeSnapshot(root);
        }
    }
    for (const QString &path : expectedMoves) {
        Item item;
        item.path = QFile::encodeName(path);
        item.original = childOf(realPath(parentOf(item.path)), nameOf(item.path));
        if (::lstat(item.path.constData(), &item.before) != 0)
            qWarning("an item expected to move does not exist: %s", qPrintable(text(item.path)));
        m_items << item;
    }
    for (const QByteArray &trash : trashFolders()) {
        for (const QByteArray &name : namesIn(trash + "/info"))
            m_recordsBefore.insert(trash + "/info/" + name);
    }
}

QList<QByteArray> DeletionAudit::trashFolders() const
{
    QList<QByteArray> trashes;
    if (isFolder(homeTrash()))
        trashes << homeTrash();
    for (const QString &root : m_roots) {
        const QByteArray top = QFile::encodeName(root);
        for (const QByteArray &name : namesIn(top)) {
            if (name.startsWith(".Trash-") && isFolder(childOf(top, name)))
                trashes << childOf(top, name);
        }
        for (const QByteArray &name : namesIn(childOf(top, ".Trash"))) {
            if (isFolder(childOf(top, ".Trash/" + name)))
                trashes << childOf(top, ".Trash/" + name);
        }
    }
    return trashes;
}

QList<DeletionAudit::Record> DeletionAudit::newRecords() const
{
    QList<Record> records;
    for (const QByteArray &trash : trashFolders()) {
        for (const QByteArray &name : namesIn(trash + "/info")) {
            Record record;
            record.trash = trash;
            record.file = trash + "/info/" + name;
            if (m_recordsBefore.contains(record.file))
                continue;
            record.entry = trash + "/files/" + name.chopped(name.endsWith(".trashinfo") ? 10 : 0);
            QFile file(QFile::decodeName(record.file));
            const QList<QByteArray> lines = file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
            QByteArray path;
            bool dated = false;
            for (const QByteArray &line : lines) {
                if (line.startsWith("Path="))
                    path = QByteArray::fromPercentEncoding(line.mid(5));
                else if (line.startsWith("DeletionDate="))
                    dated = QDateTime::fromString(QString::fromLatin1(line.mid(13)), QStringLiteral("yyyy-MM-dd'T'HH:mm:ss")).isValid();
            }
            // The home Trash records absolute paths; a drive's Trash records them below
            // the top of the drive, which holds `.Trash-$uid` or `.Trash/$uid`.
            const bool home = trash == homeTrash();
            if (!home && !path.startsWith('/')) {
                QByteArray top = parentOf(trash);
                if (nameOf(top) == ".Trash")
                    top = parentOf(top);
                path = childOf(realPath(top), path);
            }
            record.original = path;
            record.wellFormed = name.endsWith(".trashinfo") && lines.value(0) == "[Trash Info]" && dated
                && path.startsWith('/');
            records << record;
        }
    }
    return records;
}

QStringList DeletionAudit::unexpectedDifferences(const QSet<QByteArray> &removed, const QSet<QByteArray> &added,
                                                 const QList<QByteArray> &trashes) const
{
    // Folders that may have come into being, and folders whose time may have changed.
    QSet<QByteArray> newFolders;
    QSet<QByteArray> touchedFolders;
    for (const QByteArray &path : removed)
        touchedFolders.insert(parentOf(path));
    for (const QByteArray &trash : trashes) {
        for (const QByteArray &folder : {trash, trash + "/files", trash + "/info"}) {
            newFolders.insert(folder);
            touchedFolders.insert(folder);
        }
        for (QByteArray folder = parentOf(trash); folder != "/"; folder = parentOf(folder)) {
            newFolders.insert(folder);
            touchedFolders.insert(folder);
        }
    }

    QStringList unexpected;
    for (qsizetype i = 0; i < m_walked.size(); ++i) {
        const QByteArray root = QFile::encodeName(m_walked[i]);
        const auto relative = [&](const QByteArray &path) -> std::optional<QString> {
            if (path == root)
                return QStringLiteral("/");
            if (!path.startsWith(root + '/'))
                return std::nullopt;
            return shown(path.mid(root.size()));
        };
        const auto matches = [&](const QString &seen, const QSet<QByteArray> &paths, bool orBelow) {
            for (const QByteArray &path : paths) {
                const std::optional<QString> mine = relative(path);
                if (mine && (seen == *mine || (orBelow && seen.startsWith(*mine + QLatin1Char('/')))))
                    return true;
            }
            return false;
        };
        for (const QString &difference : FileTreeSnapshot(m_walked[i]).differencesFrom(m_snapshots[i])) {
            const qsizetype space = difference.indexOf(QLatin1Char(' '));
            const QString kind = difference.left(space);
            const QString seen = difference.mid(space + 1);
            const bool allowed = (kind == QLatin1String("removed") && matches(seen, removed, true))
                || (kind == QLatin1String("added") && (matches(seen, added, true) || matches(seen, newFolders, false)))
                || (kind == QLatin1String("changed") && matches(seen, touchedFolders, false));
            if (!allowed)
                unexpected << difference + QStringLiteral(" (below ") + m_walked[i] + QLatin1Char(')');
        }
    }
    return unexpected;
}

QStringList DeletionAudit::problems() const
{
    QStringList problems;
    QList<Record> records = newRecords();
    QSet<QByteArray> removed;
    QSet<QByteArray> added;
    for (const Item &item : m_items) {
        removed.insert(item.path);
        struct stat now {};
        const bool stillThere = ::lstat(item.path.constData(), &now) == 0;
        QList<Record> mine;
        for (qsizetype i = 0; i < records.size();) {
            if (records[i].original == item.original)
                mine << records.takeAt(i);
            else
                ++i;
        }
        if (mine.isEmpty()) {
            problems << (stillThere ? QStringLiteral("did not move: ") : QStringLiteral("gone but in no Trash: ")) + text(item.path);
            continue;
        }
        if (mine.size() > 1)
            problems << QStringLiteral("recorded %1 times in the Trash: ").arg(mine.size()) + text(item.path);
        const Record &record = mine.first();
        added << record.entry << record.file;
        if (stillThere)
            problems << QStringLiteral("in the Trash and still in place: ") + text(item.path);
        if (!record.wellFormed)
            problems << QStringLiteral("malformed record ") + text(record.file);
        struct stat trashed {};
        if (::lstat(record.entry.constData(), &trashed) != 0)
            problems << QStringLiteral("recorded but not in files/: ") + text(item.path);
        else if (!sameFile(trashed, item.before))
            problems << QStringLiteral("not the same file in the Trash: ") + text(item.path);
    }
    for (const Record &record : std::as_const(records))
        problems << QStringLiteral("the Trash holds what was not to move: ") + text(record.original);
    problems += unexpectedDifferences(removed, added, trashFolders());
    return problems;
}

QStringList DeletionAudit::problemsOnceRestored() const
{
    QStringList problems;
    for (const Item &item : m_items) {
        struct stat now {};
        if (::lstat(item.path.constData(), &now) != 0)
            problems << QStringLiteral("not restored: ") + text(item.path);
        else if (!sameFile(now, item.before))
            problems << QStringLiteral("restored as a different file: ") + text(item.path);
    }
    for (const Record &record : newRecords())
        problems << QStringLiteral("a record is left in the Trash: ") + text(record.file);
    // Every item is back (checked above), so nothing may be added; only folder times change.
    QSet<QByteArray> touched;
    for (const Item &item : m_items)
        touched.insert(item.path);
    return problems + unexpectedDifferences(touched, {}, trashFolders());
}
