#include "catalogue/ModelFolder.h"

#include <QDir>
#include <QStandardPaths>

namespace {
QString joined(const QString &folder, const QString &relative)
{
    return relative.isEmpty() ? folder : folder + QLatin1Char('/') + relative;
}
} // namespace

QString ModelFolder::location() const
{
    switch (base) {
    case Base::home:
        return joined(QDir::homePath(), relativePath);
    case Base::xdgData:
        return joined(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation), relativePath);
    case Base::xdgConfig:
        return joined(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation), relativePath);
    case Base::xdgCache:
        return joined(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation), relativePath);
    case Base::absolute:
        return relativePath;
    case Base::environment:
    case Base::appHome:
    case Base::installation:
        break;
    }
    return {};
}
