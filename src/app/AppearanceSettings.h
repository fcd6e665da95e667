#pragma once

#include "preferences/AppearanceMode.h"
#include "preferences/PersistenceService.h"

#include <QObject>

class DesktopColorScheme;

// The appearance mode ("system", "light" or "dark") and what it means right now.
// Every window binds its colours to `dark` (through the views' Theme), so applying a
// mode changes every open window at once, the preferences window included.
class AppearanceSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString mode READ modeKey WRITE setModeKey NOTIFY modeChanged)
    Q_PROPERTY(bool dark READ isDark NOTIFY darkChanged)

public:
    static constexpr const char16_t *storageKey = PersistenceService::appearanceKey;

    // Reads the stored mode and applies it; `desktop` decides what "system" means.
    explicit AppearanceSettings(DesktopColorScheme *desktop, QObject *parent = nullptr);

    AppearanceMode mode() const { return m_mode; }
    // Every assignment stores the mode and applies it, even when it did not change.
    void setMode(AppearanceMode mode);
    QString modeKey() const { return appearanceModeKey(m_mode); }
    void setModeKey(const QString &key) { setMode(appearanceModeFromKey(key)); }

    bool isDark() const { return m_dark; }

public slots:
    // Works out light or dark from the mode and the desktop, for every open window.
    void apply();

signals:
    void modeChanged();
    void darkChanged();

private:
    PersistenceService m_persistence;
    DesktopColorScheme *m_desktop;
    AppearanceMode m_mode;
    bool m_dark = false;
};
