#include "app/ApplicationShell.h"

#include "app/AppIconLocator.h"
#include "app/AppearanceSettings.h"
#include "app/DesktopColorScheme.h"
#include "app/FileManagerReveal.h"
#include "app/FolderAccessHelp.h"
#include "app/IconImageProvider.h"
#include "scanning/CustomFolderScanner.h"
#include "state/AppViewModel.h"

#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QIcon>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QThread>
#include <QThreadPool>

// Generated with the Stashwell QML module. The library holding it is static, so the
// linker would leave its registration out unless something names it.
void qml_register_types_Stashwell();

namespace {
const QUrl mainWindowUrl(QStringLiteral("qrc:/qt/qml/Stashwell/Main.qml"));
}

ApplicationShell::Desktop ApplicationShell::Desktop::current()
{
    return {QDBusConnection::sessionBus()};
}

ApplicationShell::ApplicationShell(AppViewModel &viewModel, QObject *parent)
    : ApplicationShell(viewModel, Desktop::current(), parent)
{
}

ApplicationShell::ApplicationShell(AppViewModel &viewModel, Desktop desktop, QObject *parent)
    : QObject(parent),
      m_viewModel(viewModel),
      m_colorScheme(std::make_unique<DesktopColorScheme>(desktop.bus)),
      m_appearance(std::make_unique<AppearanceSettings>(m_colorScheme.get())),
      m_fileManager(std::make_unique<FileManagerReveal>(desktop.bus)),
      m_appIcons(std::make_unique<AppIconLocator>(viewModel)),
      m_accessHelp(std::make_unique<FolderAccessHelp>())
{
    m_engine.addImageProvider(QString::fromLatin1(IconImageProvider::providerName), new IconImageProvider);
    m_engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    [[maybe_unused]] volatile auto linkRegistration = &qml_register_types_Stashwell;
    m_engine.setProperty(engineProperty, QVariant::fromValue<QObject *>(this));
}

ApplicationShell::~ApplicationShell()
{
    // The windows go before the objects their bindings read.
    const QList<QObject *> roots = m_engine.rootObjects();
    for (QObject *root : roots)
        delete root;
}

void ApplicationShell::configureApplication()
{
    QGuiApplication::setApplicationName(QStringLiteral("Stashwell"));
    QGuiApplication::setOrganizationName(QStringLiteral("Stashwell"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Stashwell"));
    QGuiApplication::setApplicationVersion(QStringLiteral(STASHWELL_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("stashwell"));
    // Fusion draws the controls from the window palette, which the views bind to the
    // appearance, so light and dark reach every control.
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    // Desktops without a theme of their own (or with a sparse one) still get every symbol.
    // Some platform plugins (offscreen, minimal) know no icon folders: give them the
    // freedesktop ones, ~/.icons and every data folder's icons.
    QStringList searchPaths = QIcon::themeSearchPaths();
    const QStringList desktopPaths = QStringList{QDir::homePath() + QStringLiteral("/.icons")}
        + QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"), QStandardPaths::LocateDirectory);
    for (const QString &path : desktopPaths) {
        if (!searchPaths.contains(path))
            searchPaths.append(path);
    }
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QLatin1String("hicolor"))
        QIcon::setThemeName(QStringLiteral("Adwaita"));
    // Scans and hashes each hold a thread of the global pool while they run, and Qt's
    // raster painting (the busy indicators among others) waits for that same pool: keep
    // threads free for painting so a long scan never stalls the window.
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(std::max(pool->maxThreadCount(), QThread::idealThreadCount() + 2));
    QGuiApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("stashwell"),
                                                    QIcon(QStringLiteral(":/qt/qml/Stashwell/stashwell.svg"))));
}

bool ApplicationShell::load()
{
    m_engine.load(mainWindowUrl);
    return mainWindow() != nullptr;
}

void ApplicationShell::show()
{
    if (QQuickWindow *window = mainWindow()) {
        window->show();
        // Desktops activate a new window themselves; without a window manager (a kiosk,
        // a virtual display) the window's shortcuts would wait for a click.
        window->requestActivate();
    }
    m_appearance->apply();
    m_viewModel.windowAppeared();
}

QQuickWindow *ApplicationShell::mainWindow() const
{
    const QList<QObject *> roots = m_engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
}

QString ApplicationShell::version() const
{
    return QStringLiteral(STASHWELL_VERSION);
}

QString ApplicationShell::copyright() const
{
    return QStringLiteral("Copyright \u00A9 2026 The Stashwell developers");
}

QUrl ApplicationShell::websiteUrl() const
{
    return QUrl(QStringLiteral("https://stashwell.app"));
}

QUrl ApplicationShell::userGuideUrl() const
{
    return QUrl(QStringLiteral("https://stashwell.app/guide"));
}

QString ApplicationShell::localPath(const QUrl &url) const
{
    return url.isLocalFile() ? url.toLocalFile() : QString();
}

QString ApplicationShell::folderName(const QString &path) const
{
    return CustomFolderScanner::folderName(path);
}

void ApplicationShell::openUserGuide() const
{
    const QUrl guide = userGuideUrl();
    if (guide.isValid())
        QDesktopServices::openUrl(guide);
}
