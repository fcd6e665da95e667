#include "app/FolderAccessHelp.h"

#include <QDir>
#include <QFileInfo>

QString FolderAccessHelp::owningGroup(const QString &folder) const
{
    // A closed folder hides what is inside it, so climb until something can be examined.
    QString path = QDir::cleanPath(folder);
    while (!path.isEmpty() && path != QLatin1String("/")) {
        const QFileInfo info(path);
        if (info.exists()) {
            const QString group = info.group();
            return group == QLatin1String("root") ? QString() : group;
        }
        path = info.path();
    }
    return {};
}

QString FolderAccessHelp::joinGroupCommand(const QString &folder) const
{
    const QString group = owningGroup(folder);
    return group.isEmpty() ? QString() : QStringLiteral("sudo usermod -aG %1 $USER").arg(group);
}
