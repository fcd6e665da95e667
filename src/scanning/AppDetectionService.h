#pragma once

#include "catalogue/ModelSourceDefinition.h"
#include "scanning/AppSearchLocations.h"

#include <QString>
#include <optional>

class DesktopEntry;

// Is a model application present on this computer, and where? A model whose
// application cannot be found is an orphan, so this answers from the file system
// afresh on every call (no cache) and only looks: it never launches, opens for
// writing or changes anything. Each answer costs a handful of existence tests, a few
// folder listings and at most one small file read per candidate that exists.
//
// Three checks, always asked in the order 1, 2, 3:
//  1. Application folders and program folders: an application bundle named after the
//     definition in /Applications or ~/Applications; the application's executables
//     on PATH, in /usr/bin, /usr/local/bin, /opt/*/ and /opt/*/bin; its AppImages in
//     ~/Applications, ~/.local/bin and /opt; executables its installer puts below home;
//     an existing path named in one of the application's install records.
//  2. The desktop's own registry: desktop entries of the application, and Flatpak and
//     Snap installs.
//  3. Other places: bundles and AppImages on the Desktop, in Downloads and at the top
//     of every mounted disk (bundles also in the disk's "Applications" folder).
//
// A plain value without mutable state: calls from several threads need no locking.
class AppDetectionService
{
public:
    explicit AppDetectionService(AppSearchLocations locations = AppSearchLocations::forThisMachine());

    // Check 1: the first acceptable bundle in the application folders, else the first
    // executable, AppImage or home executable of the definition's Linux markers.
    std::optional<QString> appPathInApplicationFolders(const ModelSourceDefinition &definition) const;

    // Check 2: the first desktop entry that counts, else a Flatpak or Snap install.
    // Desktop entries are looked up by the markers' file names, then "<Flatpak id>.desktop",
    // "<snap>_<snap>.desktop" and "<bundle identifier>.desktop", each name in every
    // desktop-entry folder in order. Hidden= and NoDisplay= do not matter (the program is
    // still there), but an entry does not count when its TryExec program cannot be found
    // (the desktop's own test for a stale entry), nor when Exec starts with an absolute
    // path to a program that is gone (an uninstaller that left its launcher behind).
    std::optional<QString> appPathFromWorkspace(const ModelSourceDefinition &definition) const;

    // Check 3: the Desktop, Downloads, then every non-hidden entry directly inside each
    // mount parent (listed once per call, not tested for being folders): root + bundle
    // name, then root + "Applications" + bundle name, then AppImages directly in the root.
    std::optional<QString> appPathInOtherLocations(const ModelSourceDefinition &definition) const;

    // Checks 1, 2 and 3 in that order; the application counts as installed exactly when a path comes back.
    std::optional<QString> installedAppPath(const ModelSourceDefinition &definition) const;

    // The Icon= value of the first desktop entry of check 2 that counts and names an icon:
    // an icon-theme name, or an absolute path to an image file.
    std::optional<QString> desktopEntryIconName(const ModelSourceDefinition &definition) const;

    const AppSearchLocations &locations() const { return m_locations; }

private:
    bool isAcceptableAppBundle(const QString &candidate, const QStringList &bundleIdentifiers) const;
    std::optional<QString> bundleIn(const QString &root, const ModelSourceDefinition &definition) const;
    std::optional<QString> executableIn(const QStringList &folders, const QStringList &names) const;
    std::optional<QString> appImageIn(const QString &folder, const QStringList &patterns) const;
    bool isExecutableFound(const QString &program) const;
    bool entryCounts(const DesktopEntry &entry) const;
    // Calls visit(path, entry) for each desktop entry of the definition that counts, in
    // search order, until visit returns true.
    template<typename Visit>
    void forEachCountingEntry(const ModelSourceDefinition &definition, Visit visit) const;

    AppSearchLocations m_locations;
};
