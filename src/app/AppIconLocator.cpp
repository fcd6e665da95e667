#include "app/AppIconLocator.h"

#include "app/IconImageProvider.h"
#include "state/AppViewModel.h"

#include <QFileInfo>
#include <QIcon>
#include <QUrl>

AppIconLocator::AppIconLocator(const AppViewModel &viewModel, QObject *parent)
    : QObject(parent), m_viewModel(viewModel)
{
}

QString AppIconLocator::iconSource(const QString &sourceKey) const
{
    const QString icon = m_viewModel.sourceIconName(sourceKey);
    if (icon.isEmpty())
        return {};
    if (QFileInfo(icon).isAbsolute())
        return QFileInfo(icon).isFile() ? QUrl::fromLocalFile(icon).toString() : QString();
    if (!QIcon::hasThemeIcon(icon))
        return {};
    return QStringLiteral("image://%1/theme/%2").arg(QLatin1String(IconImageProvider::providerName), icon);
}
