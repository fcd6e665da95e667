#include "scanning/ModelFolderResolver.h"

#include "scanning/ScanRoutines.h"
#include "scanning/ComfyModelPaths.h"
#include "scanning/LaunchArguments.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

namespace ModelFolderResolver {

namespace {
using Setting = ModelFolder::Setting;

QString joined(const QString &folder, const QString &relative)
{
    return relative.isEmpty() ? folder : folder + QLatin1Char('/') + relative;
}

// A regular file (a link to one is followed) no larger than the cap; never a pipe or device.
bool isSmallRegularFile(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.size() <= largestSettingsFile;
}

std::optional<QByteArray> readSmallFile(const QString &path)
{
    if (!isSmallRegularFile(path))
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray content = file.read(largestSettingsFile + 1);
    if (content.size() > largestSettingsFile) // grew since it was looked at
        return std::nullopt;
    return content;
}

std::optional<QString> jsonString(const QString &file, const QString &key)
{
    const std::optional<QByteArray> content = readSmallFile(file);
    if (!content)
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(*content);
    const QJsonValue value = document.object().value(key);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<QString> iniString(const QString &file, const QString &key)
{
    if (!isSmallRegularFile(file))
        return std::nullopt;
    // Read only: QSettings writes nothing back unless a value is changed. Keys of the
    // [General] section read as top-level keys.
    const QSettings settings(file, QSettings::IniFormat);
    if (settings.status() != QSettings::NoError)
        return std::nullopt;
    const QVariant value = settings.value(key);
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

std::optional<QString> pointedFolder(const QString &file)
{
    const std::optional<QByteArray> content = readSmallFile(file);
    if (!content)
        return std::nullopt;
    return QFile::decodeName(content->trimmed());
}

// The value of the folder's option in the launch arguments a file holds.
std::optional<QString> argumentFolder(const ModelFolder &folder, const QString &file)
{
    const std::optional<QByteArray> content = readSmallFile(file);
    if (!content)
        return std::nullopt;
    const QString text = QString::fromUtf8(*content);
    const std::optional<QStringList> arguments = folder.setting == Setting::shellArguments
        ? LaunchArguments::assignedInScript(text, folder.key)
        : LaunchArguments::inFlagsFile(text);
    return arguments ? LaunchArguments::optionValue(*arguments, folder.option) : std::nullopt;
}

// Where base and relativePath lead: the folder itself or the file to read.
QString place(const ModelFolder &folder, const QString &appHome, const QString &installation)
{
    switch (folder.base) {
    case ModelFolder::Base::environment:
        return qEnvironmentVariable(folder.relativePath.toUtf8().constData());
    case ModelFolder::Base::appHome:
        return appHome.isEmpty() ? QString() : joined(appHome, folder.relativePath);
    case ModelFolder::Base::installation:
        return installation.isEmpty() ? QString() : joined(installation, folder.relativePath);
    default:
        return folder.location();
    }
}

// The root, the home folder or a folder holding it.
bool holdsHome(const QString &folder)
{
    const QString home = QDir::cleanPath(QDir::homePath());
    return folder == u'/' || home == folder || home.startsWith(folder + u'/');
}
} // namespace

std::optional<QString> resolve(const ModelFolder &folder, const QString &appHome)
{
    const QStringList found = resolveAll(folder, appHome);
    return found.isEmpty() ? std::nullopt : std::optional<QString>(found.first());
}

QStringList resolveAll(const ModelFolder &folder, const QString &appHome, const QString &installation)
{
    const QString found = place(folder, appHome, installation);
    if (found.isEmpty())
        return {};
    std::optional<QString> named;
    switch (folder.setting) {
    case Setting::none: named = found; break;
    case Setting::jsonKey: named = jsonString(found, folder.key); break;
    case Setting::iniKey: named = iniString(found, folder.key); break;
    case Setting::pointerFile: named = pointedFolder(found); break;
    case Setting::comfyModelPaths: {
        const std::optional<QByteArray> content = readSmallFile(found);
        if (!content)
            return {};
        QStringList folders = ComfyModelPaths::folders(*content, QFileInfo(found).absolutePath());
        folders.removeIf(holdsHome);
        return folders;
    }
    case Setting::shellArguments:
    case Setting::argumentsFile:
        named = argumentFolder(folder, found);
        // The launch script starts the application in its installation.
        if (named && !named->isEmpty() && !installation.isEmpty())
            named = QDir(installation).absoluteFilePath(*named);
        break;
    }
    // A relative path would depend on where the application was started: unknowable here.
    if (!named || named->isEmpty() || !QDir::isAbsolutePath(*named))
        return {};
    const QString path = QDir::cleanPath(joined(*named, folder.suffix));
    const bool launchArgument = folder.setting == Setting::shellArguments || folder.setting == Setting::argumentsFile;
    if (launchArgument && holdsHome(path))
        return {};
    return {path};
}

QString appHome(const QList<ModelFolder> &candidates)
{
    QString last;
    for (const ModelFolder &candidate : candidates) {
        last = resolve(candidate).value_or(QString());
        if (!last.isEmpty() && QFileInfo(last).isDir())
            return last;
    }
    return last;
}

QStringList folders(const ModelSourceDefinition &definition, const QString &installation)
{
    const QString home = appHome(definition.homeFolders);
    QStringList found;
    for (const ModelFolder &folder : definition.folders) {
        // Folders based on an installation belong to it, the others to no installation.
        if ((folder.base == ModelFolder::Base::installation) == installation.isEmpty())
            continue;
        for (const QString &path : resolveAll(folder, home, installation)) {
            // A moved folder is only where its setting says: nothing to show or check elsewhere.
            if (!folder.isRelocation() || QFileInfo(path).isDir())
                found.append(path);
        }
    }
    return ScanRoutines::distinctRoots(found);
}

} // namespace ModelFolderResolver
