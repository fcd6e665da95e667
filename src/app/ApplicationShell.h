#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QQmlApplicationEngine>
#include <QUrl>

#include <memory>

class AppViewModel;
class AppIconLocator;
class AppearanceSettings;
class DesktopColorScheme;
class FileManagerReveal;
class FolderAccessHelp;
class QQuickWindow;

// The application around the main window: it holds the long-lived objects the views
// share (the view model it is given, the appearance, the desktop integration), hands
// them to the views of every window, loads the main window and does what happens
// when that window first appears. The views see it as `Shell` for the About dialog,
// the user guide and the little conversions they cannot do themselves.
class ApplicationShell : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QString copyright READ copyright CONSTANT)
    Q_PROPERTY(QUrl websiteUrl READ websiteUrl CONSTANT)
    Q_PROPERTY(QUrl userGuideUrl READ userGuideUrl CONSTANT)

public:
    // The desktop the shell talks to; tests give it a private bus and their own folders.
    struct Desktop
    {
        QDBusConnection bus;
        static Desktop current();
    };

    // The engine's property that names its shell, for the views' singletons.
    static constexpr char engineProperty[] = "stashwellShell";

    explicit ApplicationShell(AppViewModel &viewModel, QObject *parent = nullptr);
    ApplicationShell(AppViewModel &viewModel, Desktop desktop, QObject *parent = nullptr);
    ~ApplicationShell() override;

    // Names, style and icon theme of the application; call once after QGuiApplication exists.
    static void configureApplication();

    // Loads the main window (hidden until show()); false when the views could not be loaded.
    bool load();
    // Shows the main window and does what its first appearance does: apply the
    // appearance, scan, probe folder access and, at the first run, welcome.
    void show();

    QQmlApplicationEngine &engine() { return m_engine; }
    QQuickWindow *mainWindow() const;
    AppViewModel &viewModel() const { return m_viewModel; }
    AppearanceSettings &appearance() const { return *m_appearance; }
    FileManagerReveal &fileManager() const { return *m_fileManager; }
    AppIconLocator &appIcons() const { return *m_appIcons; }
    FolderAccessHelp &accessHelp() const { return *m_accessHelp; }

    QString version() const;
    QString copyright() const;
    QUrl websiteUrl() const;
    QUrl userGuideUrl() const;

    // The local path of a folder chosen in a folder dialog.
    Q_INVOKABLE QString localPath(const QUrl &url) const;
    // The name a custom folder is listed under (its last path component).
    Q_INVOKABLE QString folderName(const QString &path) const;
    Q_INVOKABLE void openUserGuide() const;

private:
    AppViewModel &m_viewModel;
    std::unique_ptr<DesktopColorScheme> m_colorScheme;
    std::unique_ptr<AppearanceSettings> m_appearance;
    std::unique_ptr<FileManagerReveal> m_fileManager;
    std::unique_ptr<AppIconLocator> m_appIcons;
    std::unique_ptr<FolderAccessHelp> m_accessHelp;
    QQmlApplicationEngine m_engine;
};
