#include "scanning/AppDetectionService.h"

#include "scanning/DesktopEntry.h"
#include "scanning/ModelFolderResolver.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

namespace {
QString joined(const QString &folder, const QString &name)
{
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

// A regular file that the current user may run (a link at the end is followed).
bool isExecutableFile(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// Non-hidden subfolders (links to folders included), in name order.
QStringList subfolders(const QString &folder)
{
    return QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

// The top-level CFBundleIdentifier of an XML property list; nothing for a binary or
// unreadable list, which the bundle test then treats as "no identifier".
std::optional<QString> bundleIdentifier(const QString &bundlePath)
{
    const QString plistPath = bundlePath + QStringLiteral("/Contents/Info.plist");
    if (!QFileInfo(plistPath).isFile()) // never open a pipe or device under this name
        return std::nullopt;
    QFile file(plistPath);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QXmlStreamReader xml(&file);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("plist"))
        return std::nullopt;
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("dict"))
        return std::nullopt;
    // The top dictionary alternates <key> and a value element.
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("key"))
            return std::nullopt;
        const QString key = xml.readElementText();
        if (!xml.readNextStartElement())
            return std::nullopt;
        if (key == QLatin1String("CFBundleIdentifier")) {
            if (xml.name() != QLatin1String("string"))
                return std::nullopt;
            const QString identifier = xml.readElementText();
            if (xml.hasError() || identifier.isEmpty())
                return std::nullopt;
            return identifier;
        }
        xml.skipCurrentElement();
    }
    return std::nullopt;
}

// The desktop-entry file names that stand for the application, in search order, once each.
QStringList desktopEntryNames(const ModelSourceDefinition &definition)
{
    const LinuxAppMarkers &markers = definition.linuxMarkers;
    const QString suffix = QStringLiteral(".desktop");
    QStringList names = markers.desktopEntries;
    for (const QString &id : markers.flatpakIds)
        names.append(id + suffix);
    for (const QString &snap : markers.snapNames)
        names.append(snap + QLatin1Char('_') + snap + suffix);
    for (const QString &identifier : definition.appBundleIdentifiers)
        names.append(identifier + suffix);
    names.removeDuplicates();
    return names;
}
} // namespace

AppDetectionService::AppDetectionService(AppSearchLocations locations)
    : m_locations(std::move(locations))
{
}

bool AppDetectionService::isAcceptableAppBundle(const QString &candidate,
                                                const QStringList &bundleIdentifiers) const
{
    const QFileInfo info(candidate);
    if (!info.isDir())
        return false;
    // Case matters here, unlike the model-file extensions: "Ollama.APP" is not a bundle.
    if (info.suffix() != QLatin1String("app"))
        return false;
    if (bundleIdentifiers.isEmpty())
        return true;
    const std::optional<QString> identifier = bundleIdentifier(candidate);
    return identifier && bundleIdentifiers.contains(*identifier);
}

std::optional<QString> AppDetectionService::bundleIn(const QString &root,
                                                     const ModelSourceDefinition &definition) const
{
    for (const QString &name : definition.appBundleNames) {
        const QString candidate = joined(root, name);
        if (isAcceptableAppBundle(candidate, definition.appBundleIdentifiers))
            return candidate;
    }
    return std::nullopt;
}

std::optional<QString> AppDetectionService::executableIn(const QStringList &folders,
                                                         const QStringList &names) const
{
    for (const QString &folder : folders) {
        for (const QString &name : names) {
            const QString candidate = joined(folder, name);
            if (isExecutableFile(candidate))
                return candidate;
        }
    }
    return std::nullopt;
}

std::optional<QString> AppDetectionService::appImageIn(const QString &folder,
                                                       const QStringList &patterns) const
{
    if (patterns.isEmpty())
        return std::nullopt;
    // The patterns are matched with their case as written: "LM-Studio*.AppImage".
    const QDir directory(folder);
    const QStringList matches =
        directory.entryList(patterns, QDir::Files | QDir::CaseSensitive, QDir::Name);
    if (matches.isEmpty())
        return std::nullopt;
    return joined(folder, matches.first());
}

std::optional<QString> AppDetectionService::appPathInApplicationFolders(
    const ModelSourceDefinition &definition) const
{
    for (const QString &root : m_locations.applicationFolders) {
        if (const auto bundle = bundleIn(root, definition))
            return bundle;
    }

    const LinuxAppMarkers &markers = definition.linuxMarkers;
    if (const auto onPath = executableIn(m_locations.executableFolders, markers.executables))
        return onPath;
    if (!markers.executables.isEmpty()) {
        for (const QString &packageFolder : m_locations.packageFolders) {
            for (const QString &package : subfolders(packageFolder)) {
                const QString packagePath = joined(packageFolder, package);
                const QStringList places{packagePath, packagePath + QStringLiteral("/bin")};
                if (const auto packaged = executableIn(places, markers.executables))
                    return packaged;
            }
        }
    }
    for (const QString &folder : m_locations.appImageFolders) {
        if (const auto appImage = appImageIn(folder, markers.appImagePatterns))
            return appImage;
    }
    if (!m_locations.home.isEmpty()) {
        if (const auto inHome = executableIn({m_locations.home}, markers.homeExecutables))
            return inHome;
    }
    const QString appHome = ModelFolderResolver::appHome(definition.homeFolders);
    for (const ModelFolder &record : markers.installRecords) {
        const std::optional<QString> installed = ModelFolderResolver::resolve(record, appHome);
        if (installed && QFileInfo::exists(*installed))
            return installed;
    }
    return std::nullopt;
}

bool AppDetectionService::isExecutableFound(const QString &program) const
{
    if (QDir::isAbsolutePath(program))
        return isExecutableFile(program);
    return executableIn(m_locations.executableFolders, {program}).has_value();
}

bool AppDetectionService::entryCounts(const DesktopEntry &entry) const
{
    const QString tryExec = entry.value(QStringLiteral("TryExec"));
    if (!tryExec.isEmpty() && !isExecutableFound(tryExec))
        return false;
    // A relative Exec program is looked up on the launcher's PATH, which may differ from
    // ours; only a program given by its full path can be shown to be gone.
    const QString program = entry.execProgram();
    return !QDir::isAbsolutePath(program) || isExecutableFile(program);
}

template<typename Visit>
void AppDetectionService::forEachCountingEntry(const ModelSourceDefinition &definition, Visit visit) const
{
    for (const QString &name : desktopEntryNames(definition)) {
        for (const QString &folder : m_locations.desktopEntryFolders) {
            const QString path = joined(folder, name);
            const std::optional<DesktopEntry> entry = DesktopEntry::read(path);
            if (entry && entryCounts(*entry) && visit(path, *entry))
                return;
        }
    }
}

std::optional<QString> AppDetectionService::appPathFromWorkspace(const ModelSourceDefinition &definition) const
{
    std::optional<QString> found;
    forEachCountingEntry(definition, [&](const QString &path, const DesktopEntry &) {
        found = path;
        return true;
    });
    if (found)
        return found;

    // A Flatpak deployment is <app folder>/<id>/<arch>/<branch>, with "current" linking
    // to the one in use; an arch folder alone still means the application is there.
    for (const QString &id : definition.linuxMarkers.flatpakIds) {
        for (const QString &appFolder : m_locations.flatpakAppFolders) {
            const QString installation = joined(appFolder, id);
            const QString current = installation + QStringLiteral("/current");
            if (QFileInfo(current).isDir())
                return current;
            const QStringList arches = subfolders(installation);
            if (!arches.isEmpty())
                return joined(installation, arches.first());
        }
    }
    // A snap lives in /snap/<name>, with "current" linking to the revision in use.
    for (const QString &name : definition.linuxMarkers.snapNames) {
        for (const QString &snapFolder : m_locations.snapFolders) {
            const QString installation = joined(snapFolder, name);
            const QString current = installation + QStringLiteral("/current");
            if (QFileInfo(current).isDir())
                return current;
            if (QFileInfo(installation).isDir())
                return installation;
        }
    }
    return std::nullopt;
}

std::optional<QString> AppDetectionService::appPathInOtherLocations(const ModelSourceDefinition &definition) const
{
    QStringList roots = m_locations.otherRoots;
    for (const QString &parent : m_locations.mountParents) {
        // Every entry counts as a possible disk, whatever its type; hidden ones are skipped.
        const QStringList mounts =
            QDir(parent).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &mount : mounts)
            roots.append(joined(parent, mount));
    }

    const QString applications = QStringLiteral("Applications");
    for (const QString &root : roots) {
        for (const QString &name : definition.appBundleNames) {
            for (const QString &candidate : {joined(root, name), joined(joined(root, applications), name)}) {
                if (isAcceptableAppBundle(candidate, definition.appBundleIdentifiers))
                    return candidate;
            }
        }
        if (const auto appImage = appImageIn(root, definition.linuxMarkers.appImagePatterns))
            return appImage;
    }
    return std::nullopt;
}

std::optional<QString> AppDetectionService::installedAppPath(const ModelSourceDefinition &definition) const
{
    if (auto path = appPathInApplicationFolders(definition))
        return path;
    if (auto path = appPathFromWorkspace(definition))
        return path;
    return appPathInOtherLocations(definition);
}

std::optional<QString> AppDetectionService::desktopEntryIconName(const ModelSourceDefinition &definition) const
{
    std::optional<QString> icon;
    forEachCountingEntry(definition, [&](const QString &, const DesktopEntry &entry) {
        const QString name = entry.value(QStringLiteral("Icon"));
        if (!name.isEmpty())
            icon = name;
        return icon.has_value();
    });
    return icon;
}
