#pragma once

#include "preferences/PersistenceService.h"

#include <QString>
#include <QStringList>

// The folders the user added by hand, kept in the preferences. The window and the
// terminal change the list through this one class, so a folder is added and removed
// by the same rule wherever the request comes from.
class CustomFolderList
{
public:
    // What a request did, in words for the user.
    struct Change
    {
        bool accepted = false;
        bool alreadyListed = false; // adding a folder that is listed changes nothing, quietly
        QString folder;  // the folder as stored
        QString error;   // why nothing changed
        QString warning; // accepted, but the user should know (models listed twice)
    };

    explicit CustomFolderList(PersistenceService persistence = PersistenceService());

    QStringList folders() const;

    // Adds an existing folder, given as typed: relative to the working folder, with "."
    // and ".." or a trailing slash. A folder equal to, inside or holding a folder that is
    // listed already or that Stashwell scans anyway (`scannedFolders`) is accepted with a
    // warning, as its models will be listed twice; a folder listed already stays once.
    Change add(const QString &path, const QStringList &scannedFolders) const;
    // Removes a listed folder, given as typed; the folder itself is never touched.
    Change remove(const QString &path) const;
    void clear() const;

    // The absolute, cleaned form of a path as typed, which is how folders are stored.
    static QString canonicalForm(const QString &path);

private:
    PersistenceService m_persistence;
};
