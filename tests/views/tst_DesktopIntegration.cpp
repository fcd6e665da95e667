#include "app/AppearanceSettings.h"
#include "app/ApplicationShell.h"
#include "app/DesktopColorScheme.h"
#include "support/TempHome.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <unistd.h>

namespace {
// A session bus of the test's own, so nothing reaches the desktop the tests run on.
class PrivateBus
{
public:
    PrivateBus()
    {
        const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
        if (daemon.isEmpty())
            return;
        m_daemon.start(daemon, {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                                QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForStarted() || !m_daemon.waitForReadyRead(5000))
            return;
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }
    ~PrivateBus()
    {
        for (const QString &name : std::as_const(m_connections))
            QDBusConnection::disconnectFromBus(name);
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    bool isRunning() const { return !m_address.isEmpty(); }

    // A new connection to the bus: one plays the desktop, another Stashwell.
    QDBusConnection connect(const QString &name)
    {
        m_connections.append(name);
        return QDBusConnection::connectToBus(m_address, name);
    }

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

// The desktop portal's settings, as a current portal answers them.
class FakePortalSettings : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    uint colorScheme = 1;
public slots:
    QDBusVariant ReadOne(const QString &nameSpace, const QString &key)
    {
        Q_UNUSED(nameSpace);
        Q_UNUSED(key);
        return QDBusVariant(QVariant::fromValue(colorScheme));
    }
signals:
    void SettingChanged(const QString &nameSpace, const QString &key, const QDBusVariant &value);
};

bool offer(QDBusConnection &desktop, const QString &service, const QString &path, QObject *object)
{
    return desktop.registerObject(path, object, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals)
        && desktop.registerService(service);
}

QPalette paletteWithWindow(const QColor &window, const QColor &text)
{
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    return palette;
}
} // namespace

class TestDesktopIntegration : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        ApplicationShell::configureApplication();
        QGuiApplication::setPalette(paletteWithWindow(Qt::white, Qt::black));
    }

    void systemModeFollowsTheDesktopPortal()
    {
        TempHome home;
        PrivateBus bus;
        if (!bus.isRunning())
            QSKIP("dbus-daemon is not installed");
        // No portal yet: the palette decides.
        DesktopColorScheme alone(bus.connect(QStringLiteral("alone")));
        QTest::qWait(200); // the portal's absence is answered by the bus
        QCOMPARE(alone.preference(), DesktopColorScheme::Preference::none);
        QGuiApplication::setPalette(paletteWithWindow(QColor(0x20, 0x20, 0x20), QColor(0xee, 0xee, 0xee)));
        QVERIFY(AppearanceSettings(&alone).isDark());
        QGuiApplication::setPalette(paletteWithWindow(Qt::white, Qt::black));

        QDBusConnection desktop = bus.connect(QStringLiteral("desktop"));
        FakePortalSettings portal;
        QVERIFY(offer(desktop, QStringLiteral("org.freedesktop.portal.Desktop"), QStringLiteral("/org/freedesktop/portal/desktop"), &portal));
        DesktopColorScheme scheme(bus.connect(QStringLiteral("stashwell")));
        AppearanceSettings appearance(&scheme);
        QSignalSpy darkChanges(&appearance, &AppearanceSettings::darkChanged);
        QTRY_COMPARE(scheme.preference(), DesktopColorScheme::Preference::dark);
        QVERIFY(appearance.isDark());

        // The desktop changes while Stashwell runs; another namespace's change does not
        // count, a value that is no scheme is no preference, a forced mode ignores both.
        const auto change = [&](const char *nameSpace, const QVariant &value) {
            emit portal.SettingChanged(QString::fromLatin1(nameSpace), QStringLiteral("color-scheme"), QDBusVariant(value));
        };
        change("org.freedesktop.appearance", QVariant::fromValue(QDBusVariant(QVariant::fromValue(2u)))); // wrapped twice
        QTRY_COMPARE(scheme.preference(), DesktopColorScheme::Preference::light);
        QVERIFY(!appearance.isDark());
        QCOMPARE(darkChanges.size(), 2);
        change("org.gnome.desktop.interface", QVariant::fromValue(1u));
        QTest::qWait(100);
        QCOMPARE(scheme.preference(), DesktopColorScheme::Preference::light);
        change("org.freedesktop.appearance", QVariant(QStringLiteral("dark")));
        QTRY_COMPARE(scheme.preference(), DesktopColorScheme::Preference::none);
        appearance.setModeKey(QStringLiteral("dark"));
        change("org.freedesktop.appearance", QVariant::fromValue(2u));
        QTest::qWait(100);
        QVERIFY(appearance.isDark());
        appearance.setModeKey(QStringLiteral("system"));
        QVERIFY(!appearance.isDark());
    }

};

QTEST_MAIN(TestDesktopIntegration)
#include "tst_DesktopIntegration.moc"
