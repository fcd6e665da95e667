#include "core/CustomFolderList.h"

#include <QDir>
#include <QFileInfo>

namespace {
// True when one of the two folders is the other or lies inside it.
bool overlaps(const QString &a, const QString &b)
{
    const auto within = [](const QString &inner, const QString &outer) {
        return inner == outer || inner.startsWith(outer.endsWith(QLatin1Char('/')) ? outer : outer + QLatin1Char('/'));
    };
    return within(a, b) || within(b, a);
}
} // namespace

CustomFolderList::CustomFolderList(PersistenceService persistence) : m_persistence(std::move(persistence)) {}

QStringList CustomFolderList::folders() const
{
    return m_persistence.load();
}

QString CustomFolderList::canonicalForm(const QString &path)
{
    if (path.isEmpty())
        return {};
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

CustomFolderList::Change CustomFolderList::add(const QString &path, const QStringList &scannedFolders) const
{
    const QString folder = canonicalForm(path);
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return {false, false, folder, QStringLiteral("Not a folder: %1").arg(path), {}};
    QStringList stored = m_persistence.load();
    for (const QString &entry : std::as_const(stored)) {
        if (canonicalForm(entry) == folder)
            return {true, true, folder, {}, {}};
    }
    QString warning;
    for (const QString &other : stored + scannedFolders) {
        const QString known = canonicalForm(other);
        if (!known.isEmpty() && overlaps(folder, known)) {
            warning = QStringLiteral("%1 overlaps %2, which Stashwell scans already: models in both will be listed twice.")
                          .arg(folder, known);
            break;
        }
    }
    stored.append(folder);
    m_persistence.save(stored);
    return {true, false, folder, {}, warning};
}

CustomFolderList::Change CustomFolderList::remove(const QString &path) const
{
    const QString folder = canonicalForm(path);
    QStringList stored = m_persistence.load();
    // Entries written by older versions may carry a trailing slash; compare them as folders.
    const qsizetype removed = stored.removeIf([&](const QString &entry) { return canonicalForm(entry) == folder; });
    if (removed == 0)
        return {false, false, folder, QStringLiteral("Not in the list: %1").arg(path), {}};
    m_persistence.save(stored);
    return {true, false, folder, {}, {}};
}

void CustomFolderList::clear() const
{
    m_persistence.save({});
}
