#pragma once

#include "preferences/AppearanceMode.h"

#include <QString>
#include <QStringList>

// Stashwell's own preferences: ~/.config/Stashwell/Stashwell.conf (following
// XDG_CONFIG_HOME). The window and the terminal front end share this file. Every
// read goes to the file, so a change made by one is seen by the other.
class PersistenceService
{
public:
    static constexpr char16_t customFoldersKey[] = u"customFolders";
    static constexpr char16_t hasSeenWelcomeKey[] = u"hasSeenWelcomeScreen";
    static constexpr char16_t appearanceKey[] = u"appearance";

    // The stored custom folders in the order they were added; a damaged value reads as none.
    QStringList load() const;
    void save(const QStringList &folders) const;

    bool hasSeenWelcomeScreen() const;
    void setHasSeenWelcomeScreen(bool seen) const;

    AppearanceMode appearanceMode() const;
    void setAppearanceMode(AppearanceMode mode) const;

    static QString settingsFilePath();
};
