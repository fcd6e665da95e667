#include "deletion/TrashService.h"

#include "deletion/TrashCan.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>

namespace {

// Moves one item; gives the reason when it cannot be moved.
std::optional<QString> moveOne(const QString &path)
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
    const QString realParent = QFile::decodeName(resolved.get());
    const QString original =
        (realParent == QLatin1String("/") ? realParent : realParent + QLatin1Char('/')) + name;

    auto trash = TrashCan::forItemOn(item.st_dev, realParent);
    if (const QString *reason = std::get_if<QString>(&trash))
        return *reason;
    return std::get<TrashCan>(trash).take(original);
}

} // namespace

std::optional<TrashError> TrashService::moveToTrash(const QStringList &paths) const
{
    for (const QString &path : paths) {
        if (const auto reason = moveOne(path))
            return TrashError::failedToTrash(path, *reason);
    }
    return std::nullopt;
}

QString TrashService::homeTrashPath()
{
    return TrashCan::homePath();
}
