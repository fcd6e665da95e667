#include "app/AppearanceSettings.h"

#include "app/DesktopColorScheme.h"

AppearanceSettings::AppearanceSettings(DesktopColorScheme *desktop, QObject *parent)
    : QObject(parent), m_desktop(desktop), m_mode(m_persistence.appearanceMode())
{
    // "system" follows the desktop while it changes; a forced mode ignores it.
    if (m_desktop)
        connect(m_desktop, &DesktopColorScheme::preferenceChanged, this, &AppearanceSettings::apply);
    apply();
}

void AppearanceSettings::setMode(AppearanceMode mode)
{
    const bool changed = mode != m_mode;
    m_mode = mode;
    m_persistence.setAppearanceMode(mode);
    if (changed)
        emit modeChanged();
    apply();
}

void AppearanceSettings::apply()
{
    bool dark = false;
    switch (m_mode) {
    case AppearanceMode::system: dark = m_desktop && m_desktop->prefersDark(); break;
    case AppearanceMode::light: dark = false; break;
    case AppearanceMode::dark: dark = true; break;
    }
    if (dark == m_dark)
        return;
    m_dark = dark;
    emit darkChanged();
}
