#include "deletion/TrashError.h"

#include <QDir>
#include <QFileInfo>
#include <system_error>

TrashError::TrashError(const QString &path, const QString &reason)
    : m_path(path), m_reason(reason)
{
}

TrashError TrashError::failedToTrash(const QString &path, const QString &reason)
{
    return TrashError(path, reason);
}

QString TrashError::reasonFor(int errorNumber)
{
    return QString::fromStdString(std::generic_category().message(errorNumber));
}

QString TrashError::description() const
{
    // Cleaned first so that a folder given with a trailing slash is still named.
    const QString name = QFileInfo(QDir::cleanPath(m_path)).fileName();
    return QStringLiteral("Failed to move ") + name + QStringLiteral(" to Trash: ") + m_reason;
}
