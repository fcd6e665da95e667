#pragma once

#include <QString>

// How the windows are drawn: following the desktop, or always light or dark.
enum class AppearanceMode { system, light, dark };

// The stored texts "system", "light" and "dark"; anything else reads as system.
QString appearanceModeKey(AppearanceMode mode);
AppearanceMode appearanceModeFromKey(const QString &key);
