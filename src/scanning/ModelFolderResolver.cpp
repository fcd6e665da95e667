#include "scanning/ModelFolderResolver.h"

#include "scanning/ScanRoutines.h"

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

// Where base and relativePath lead: the folder itself or the file to read.
QString place(const ModelFolder &folder, const QString &appHome)
{
    switch (folder.base) {
    case ModelFolder::Base::environment:
        return qEnvironmentVariable(folder.relativePath.toUtf8().constData());
    case ModelFolder::Base::appHome:
        return appHome.isEmpty() ? QString() : joined(appHome, folder.relativePath);
    default:
        return folder.location();
    }
}
} // namespace

std::optional<QString> resolve(const ModelFolder &folder, const QString &appHome)
{
    const QString found = place(folder, appHome);
    if (found.isEmpty())
        return std::nullopt;
    std::optional<QString> named;
    switch (folder.setting) {
    case Setting::none: named = found; break;
    case Setting::jsonKey: named = jsonString(found, folder.key); break;
    case Setting::iniKey: named = iniString(found, folder.key); break;
    case Setting::pointerFile: named = pointedFolder(found); break;
    }
    // A relative path would depend on where the application was started: unknowable here.
    if (!named || named->isEmpty() || !QDir::isAbsolutePath(*named))
        return std::nullopt;
    return QDir::cleanPath(joined(*named, folder.suffix));
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

QStringList folders(const ModelSourceDefinition &definition)
{
    const QString home = appHome(definition.homeFolders);
    QStringList found;
    for (const ModelFolder &folder : definition.folders) {
        const std::optional<QString> path = resolve(folder, home);
        // A moved folder is only where its setting says: nothing to show or check elsewhere.
        if (path && (!folder.isRelocation() || QFileInfo(*path).isDir()))
            found.append(*path);
    }
    return ScanRoutines::distinctRoots(found);
}

} // namespace ModelFolderResolver
