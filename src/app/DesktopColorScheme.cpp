#include "app/DesktopColorScheme.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QPalette>

namespace {
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceNamespace = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");
constexpr int portalTimeoutMs = 2000;

// Read (the older method) wraps the value in one more variant than ReadOne does.
QVariant unwrap(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}
} // namespace

DesktopColorScheme::DesktopColorScheme(QDBusConnection bus, QObject *parent)
    : QObject(parent), m_bus(std::move(bus))
{
    if (!m_bus.isConnected())
        return;
    m_bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"), this,
                  SLOT(onSettingChanged(QDBusMessage)));
    refresh();
}

bool DesktopColorScheme::prefersDark() const
{
    switch (m_preference) {
    case Preference::dark: return true;
    case Preference::light: return false;
    case Preference::none: break;
    }
    return qGuiApp && isDarkPalette(QGuiApplication::palette());
}

DesktopColorScheme::Preference DesktopColorScheme::fromPortalValue(const QVariant &value)
{
    const QVariant plain = unwrap(value);
    bool ok = false;
    const uint number = plain.toUInt(&ok);
    if (!ok)
        return Preference::none;
    switch (number) {
    case 1: return Preference::dark;
    case 2: return Preference::light;
    default: return Preference::none;
    }
}

bool DesktopColorScheme::isDarkPalette(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

void DesktopColorScheme::refresh()
{
    if (m_bus.isConnected())
        askPortal(QStringLiteral("ReadOne"));
}

void DesktopColorScheme::askPortal(const QString &method)
{
    QDBusMessage message = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, method);
    message << appearanceNamespace << colorSchemeKey;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, portalTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, method] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (!reply.isError()) {
            setPreference(fromPortalValue(QVariant::fromValue(reply.value())));
            return;
        }
        // Portals before version 2 only have Read; anything else means no portal answer.
        if (method == QLatin1String("ReadOne") && reply.error().type() == QDBusError::UnknownMethod)
            askPortal(QStringLiteral("Read"));
    });
}

void DesktopColorScheme::onSettingChanged(const QDBusMessage &message)
{
    const QList<QVariant> arguments = message.arguments();
    if (arguments.size() == 3 && arguments.at(0).toString() == appearanceNamespace
        && arguments.at(1).toString() == colorSchemeKey)
        setPreference(fromPortalValue(arguments.at(2)));
}

void DesktopColorScheme::setPreference(Preference preference)
{
    if (preference == m_preference)
        return;
    m_preference = preference;
    emit preferenceChanged();
}
