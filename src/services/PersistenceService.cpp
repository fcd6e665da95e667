#include "services/PersistenceService.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>
#include <QStandardPaths>

namespace {
QString key(const char16_t *text) { return QString::fromUtf16(text); }

// The file is named explicitly (rather than by organisation and application) so the
// location follows XDG_CONFIG_HOME as it is now, not as it was at the first use.
QSettings openSettings()
{
    return QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat);
}
} // namespace

QString PersistenceService::settingsFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Stashwell/Stashwell.conf");
}

QStringList PersistenceService::load() const
{
    const QByteArray data = openSettings().value(key(customFoldersKey)).toByteArray();
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
    const QJsonDocument document(QJsonArray::fromStringList(folders));
    QSettings settings = openSettings();
    settings.setValue(key(customFoldersKey), document.toJson(QJsonDocument::Compact));
    settings.sync();
}

bool PersistenceService::hasSeenWelcomeScreen() const
{
    return openSettings().value(key(hasSeenWelcomeKey), false).toBool();
}

void PersistenceService::setHasSeenWelcomeScreen(bool seen) const
{
    QSettings settings = openSettings();
    settings.setValue(key(hasSeenWelcomeKey), seen);
    settings.sync();
}

AppearanceMode PersistenceService::appearanceMode() const
{
    return appearanceModeFromKey(openSettings().value(key(appearanceKey)).toString());
}

void PersistenceService::setAppearanceMode(AppearanceMode mode) const
{
    QSettings settings = openSettings();
    settings.setValue(key(appearanceKey), appearanceModeKey(mode));
    settings.sync();
}
