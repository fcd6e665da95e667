#include "app/AppIconLocator.h"

#include "app/IconImageProvider.h"

#include <QFileInfo>
#include <QIcon>
#include <QUrl>

AppIconLocator::AppIconLocator(AppSearchLocations locations, QObject *parent)
    : QObject(parent), m_detection(std::move(locations))
{
}

QString AppIconLocator::iconSource(const QString &sourceKey)
{
    // The list asks for every header it draws; the desktop entries are read once per scan.
    auto found = m_found.constFind(sourceKey);
    if (found == m_found.constEnd())
        found = m_found.insert(sourceKey, locate(sourceKey));
    return *found;
}

void AppIconLocator::forget()
{
    m_found.clear();
}

QString AppIconLocator::locate(const QString &sourceKey) const
{
    const std::optional<SourceTool::Kind> kind = SourceTool::kindFromKey(sourceKey);
    const ModelSourceDefinition *definition = kind ? ModelSourceDefinition::find(SourceTool(*kind)) : nullptr;
    if (!definition)
        return {};
    const QString icon = m_detection.desktopEntryIconName(*definition).value_or(QString());
    if (icon.isEmpty())
        return {};
    if (QFileInfo(icon).isAbsolute())
        return QFileInfo(icon).isFile() ? QUrl::fromLocalFile(icon).toString() : QString();
    if (!QIcon::hasThemeIcon(icon))
        return {};
    return QStringLiteral("image://%1/theme/%2").arg(QLatin1String(IconImageProvider::providerName), icon);
}
