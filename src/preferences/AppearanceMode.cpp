#include "preferences/AppearanceMode.h"

QString appearanceModeKey(AppearanceMode mode)
{
    switch (mode) {
    case AppearanceMode::light: return QStringLiteral("light");
    case AppearanceMode::dark: return QStringLiteral("dark");
    case AppearanceMode::system: break;
    }
    return QStringLiteral("system");
}

AppearanceMode appearanceModeFromKey(const QString &key)
{
    if (key == QLatin1String("light"))
        return AppearanceMode::light;
    if (key == QLatin1String("dark"))
        return AppearanceMode::dark;
    return AppearanceMode::system;
}
