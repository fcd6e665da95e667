#include "deletion/TrashService.h"

#include "deletion/TrashCan.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// An item as the Trash records it: where it is, its real place and its drive.
struct Item
{
    QString realPath; // real parent folder plus the item's own name
    QString realParent;
    dev_t device = 0;
};

// Looks at one item without following it; gives the reason when it cannot move.
std::variant<Item, QString> examine(const QString &path)
{
    const QString cleaned = QDir::cleanPath(path);
    const QString name = QFileInfo(cleaned).fileName();
    if (!QDir::isAbsolutePath(cleaned) || name.isEmpty())
        return TrashError::reasonFor(EINVAL);

    // lstat: the item is described as itself, so a link is never followed.
    struct stat item {};
    if (::lstat(QFile::encodeName(cleaned).constData(), &item) != 0)
        return TrashError::reasonFor(errno);

    // Only the parent folder's links are resolved: the recorded place is then the real
    // one, and the path below the top of its drive can be worked out.
    const QByteArray parent = QFile::encodeName(QFileInfo(cleaned).path());
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(parent.constData(), nullptr),
                                                               &std::free);
    if (!resolved)
        return TrashError::reasonFor(errno);
    // Moving an entry out of a folder needs write and search permission on that folder.
    if (::access(resolved.get(), W_OK | X_OK) != 0)
        return TrashError::reasonFor(errno);
    const QString realParent = QFile::decodeName(resolved.get());
    return Item{(realParent == QLatin1String("/") ? realParent : realParent + QLatin1Char('/')) + name,
                realParent, item.st_dev};
}

// Moves one item; looked at afresh, as the check before may be a moment old.
std::variant<TrashedItem, QString> moveOne(const QString &path)
{
    const auto item = examine(path);
    if (const QString *reason = std::get_if<QString>(&item))
        return *reason;
    const Item &found = std::get<Item>(item);
    const auto trash = TrashCan::forItemOn(found.device, found.realParent);
    if (const QString *reason = std::get_if<QString>(&trash))
        return *reason;
    return std::get<TrashCan>(trash).take(found.realPath);
}

// Puts back what moved, last first; names every item that stays in the Trash.
QString putBack(const QList<TrashedItem> &moved)
{
    QStringList stranded;
    for (auto item = moved.rbegin(); item != moved.rend(); ++item) {
        if (const auto reason = TrashCan::putBack(*item))
            stranded << QStringLiteral("%1 \u2192 %2 (%3)").arg(item->originalPath, item->entryPath, *reason);
    }
    if (stranded.isEmpty())
        return {};
    return QStringLiteral(". These could not be put back and are in the Trash: ") + stranded.join(QStringLiteral("; "));
}

} // namespace

std::optional<TrashError> TrashService::checkCanMove(const QStringList &paths, bool trashToo) const
{
    for (const QString &path : paths) {
        const auto item = examine(path);
        if (const QString *reason = std::get_if<QString>(&item))
            return TrashError::failedToTrash(path, *reason);
        if (!trashToo)
            continue;
        const auto trash = TrashCan::forItemOn(std::get<Item>(item).device, std::get<Item>(item).realParent);
        if (const QString *reason = std::get_if<QString>(&trash))
            return TrashError::failedToTrash(path, *reason);
        const TrashCan &can = std::get<TrashCan>(trash);
        if (!m_swept.contains(can.path())) {
            can.removeStaleRecords();
            m_swept.insert(can.path());
        }
    }
    return std::nullopt;
}

std::optional<TrashError> TrashService::moveToTrash(const QStringList &paths) const
{
    if (auto problem = checkCanMove(paths))
        return problem;
    QList<TrashedItem> moved;
    for (const QString &path : paths) {
        auto taken = moveOne(path);
        if (const QString *reason = std::get_if<QString>(&taken))
            return TrashError::failedToTrash(path, *reason + putBack(moved));
        moved << std::get<TrashedItem>(taken);
    }
    return std::nullopt;
}

QString TrashService::homeTrashPath()
{
    return TrashCan::homePath();
}
