#include "scanning/AppSearchLocations.h"

#include <QDir>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

namespace {
QString text(const char *latin1) { return QString::fromLatin1(latin1); }

// Relative entries would depend on the working folder, and empty ones mean it: both are left out.
QStringList absoluteEntries(const QString &list)
{
    QStringList folders;
    for (const QString &entry : list.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(entry))
            folders.append(QDir::cleanPath(entry));
    }
    return folders;
}

QString userName()
{
    const QString fromEnvironment = qEnvironmentVariable("USER");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const struct passwd *entry = ::getpwuid(::geteuid());
    return entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
}

QString dataHome(const QString &home)
{
    const QString configured = qEnvironmentVariable("XDG_DATA_HOME");
    return QDir::isAbsolutePath(configured) ? QDir::cleanPath(configured) : home + text("/.local/share");
}

QStringList dataDirectories()
{
    const QStringList configured = absoluteEntries(qEnvironmentVariable("XDG_DATA_DIRS"));
    return configured.isEmpty() ? QStringList{text("/usr/local/share"), text("/usr/share")} : configured;
}

QStringList withoutRepeats(QStringList folders)
{
    folders.removeAll(QString());
    folders.removeDuplicates();
    return folders;
}
} // namespace

AppSearchLocations AppSearchLocations::forThisMachine()
{
    const QString home = QDir::homePath();
    const QString user = userName();
    AppSearchLocations locations;
    locations.home = home;
    locations.applicationFolders = {text("/Applications"), home + text("/Applications")};

    QStringList executables = absoluteEntries(qEnvironmentVariable("PATH"));
    executables << text("/usr/bin") << text("/usr/local/bin");
    locations.executableFolders = withoutRepeats(executables);
    locations.packageFolders = {text("/opt")};
    locations.appImageFolders = {home + text("/Applications"), home + text("/.local/bin"), text("/opt")};

    QStringList entries{dataHome(home) + text("/applications")};
    for (const QString &dataDirectory : dataDirectories())
        entries.append(dataDirectory + text("/applications"));
    entries << home + text("/.local/share/flatpak/exports/share/applications")
            << text("/var/lib/flatpak/exports/share/applications")
            << text("/var/lib/snapd/desktop/applications");
    locations.desktopEntryFolders = withoutRepeats(entries);

    locations.flatpakAppFolders = {home + text("/.local/share/flatpak/app"), text("/var/lib/flatpak/app")};
    locations.snapFolders = {text("/snap")};
    // The desktop's own names for these folders (they may be translated), else ~/Desktop and ~/Downloads.
    locations.otherRoots = withoutRepeats({QStandardPaths::writableLocation(QStandardPaths::DesktopLocation),
                                           QStandardPaths::writableLocation(QStandardPaths::DownloadLocation)});
    locations.mountParents = {text("/Volumes")};
    if (!user.isEmpty())
        locations.mountParents << text("/media/") + user << text("/run/media/") + user;
    locations.mountParents << text("/mnt");
    return locations;
}
