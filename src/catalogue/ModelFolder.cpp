#include "catalogue/ModelFolder.h"

#include <QDir>
#include <QStandardPaths>

QString ModelFolder::path() const
{
    switch (base) {
    case Base::home:
        return QDir::homePath() + QLatin1Char('/') + relativePath;
    case Base::xdgData:
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1Char('/') + relativePath;
    case Base::absolute:
        break;
    }
    return relativePath;
}

QString ModelFolder::shownPath() const
{
    const QString home = QDir::homePath() + QLatin1Char('/');
    const QString absolute = path();
    const QString shown = absolute.startsWith(home) ? QStringLiteral("~/") + absolute.sliced(home.size()) : absolute;
    return shown + QLatin1Char('/');
}
