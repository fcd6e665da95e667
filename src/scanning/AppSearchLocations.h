#pragma once

#include <QString>
#include <QStringList>

// Every place where installed-app detection looks, gathered in one value so that
// a caller (or a test) decides exactly which folders are searched. All entries are
// absolute folder paths; a folder that does not exist is simply passed over.
struct AppSearchLocations
{
    QString home;                    // the user's home folder, for home executables
    QStringList applicationFolders;  // where application bundles sit: /Applications, ~/Applications
    QStringList executableFolders;   // PATH entries, /usr/bin, /usr/local/bin
    QStringList packageFolders;      // /opt: executables in each subfolder and in its bin/
    QStringList appImageFolders;     // ~/Applications, ~/.local/bin, /opt
    QStringList desktopEntryFolders; // XDG data "applications" folders, Flatpak and Snap exports
    QStringList flatpakAppFolders;   // per-user and system Flatpak installations
    QStringList snapFolders;         // /snap
    QStringList otherRoots;          // the Desktop and Downloads folders
    QStringList mountParents;        // folders whose entries are mounted disks: /Volumes, /media/$USER, ...

    // The locations of the current user on this machine, read from the home folder
    // and the environment (PATH, XDG_DATA_HOME, XDG_DATA_DIRS, USER) at call time.
    static AppSearchLocations forThisMachine();
};
