#include "preferences/PersistenceService.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <sys/stat.h>

namespace {
QString key(const char16_t *text) { return QString::fromUtf16(text); }

// The file is named explicitly (rather than by organisation and application) so the
// location follows XDG_CONFIG_HOME as it is now, not as it was at the first use.
QSettings openSettings()
{
    return QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat);
}

// Only a regular file (or none yet) is read or written: a pipe or device in its place
// would block every start, and a folder cannot hold settings.
bool settingsFileUsable()
{
    struct stat info {};
    if (::stat(QFile::encodeName(PersistenceService::settingsFilePath()).constData(), &info) != 0)
        return errno == ENOENT;
    return S_ISREG(info.st_mode);
}

QVariant storedValue(const char16_t *name, const QVariant &fallback = {})
{
    return settingsFileUsable() ? openSettings().value(key(name), fallback) : fallback;
}

void store(const char16_t *name, const QVariant &value)
{
    if (!settingsFileUsable())
        return;
    QSettings settings = openSettings();
    settings.setValue(key(name), value);
    settings.sync();
}
} // namespace

QString PersistenceService::settingsFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Stashwell/Stashwell.conf");
}

QStringList PersistenceService::load() const
{
    const QByteArray data = storedValue(customFoldersKey).toByteArray();
    if (data.isEmpty())
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isArray())
        return {};
    QStringList folders;
    for (const QJsonValue &value : document.array()) {
        // One entry of the wrong type makes the whole value unreadable.
        if (!value.isString())
            return {};
        folders.append(value.toString());
    }
    return folders;
}

void PersistenceService::save(const QStringList &folders) const
{
    store(customFoldersKey, QJsonDocument(QJsonArray::fromStringList(folders)).toJson(QJsonDocument::Compact));
}

bool PersistenceService::hasSeenWelcomeScreen() const
{
    return storedValue(hasSeenWelcomeKey, false).toBool();
}

void PersistenceService::setHasSeenWelcomeScreen(bool seen) const
{
    store(hasSeenWelcomeKey, seen);
}

AppearanceMode PersistenceService::appearanceMode() const
{
    return appearanceModeFromKey(storedValue(appearanceKey).toString());
}

void PersistenceService::setAppearanceMode(AppearanceMode mode) const
{
    store(appearanceKey, appearanceModeKey(mode));
}
