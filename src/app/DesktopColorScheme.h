#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QObject>

class QPalette;

// Whether the desktop asks applications to be light or dark: the color-scheme setting
// of the freedesktop appearance namespace, read from the desktop portal over D-Bus and
// followed while it changes. Without a portal (or with "no preference") the colours of
// the platform palette decide. The portal is asked without waiting, so a desktop whose
// portal is slow to answer never delays the first window.
class DesktopColorScheme : public QObject
{
    Q_OBJECT
public:
    enum class Preference { none = 0, dark = 1, light = 2 };

    explicit DesktopColorScheme(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    Preference preference() const { return m_preference; }
    // Dark when the desktop prefers dark, or states no preference and its palette is dark.
    bool prefersDark() const;

    // Asks the portal again; preferenceChanged follows when the answer differs.
    void refresh();

    // The portal's numbers: 1 prefer dark, 2 prefer light, anything else no preference.
    static Preference fromPortalValue(const QVariant &value);
    static bool isDarkPalette(const QPalette &palette);

signals:
    void preferenceChanged();

private slots:
    // SettingChanged(namespace, key, value) of the portal.
    void onSettingChanged(const QDBusMessage &message);

private:
    void askPortal(const QString &method);
    void setPreference(Preference preference);

    QDBusConnection m_bus;
    Preference m_preference = Preference::none;
};
