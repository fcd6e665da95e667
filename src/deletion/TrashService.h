#pragma once

#include "deletion/TrashError.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

// The only place that removes anything the user picked: it moves items to the
// freedesktop.org Trash, from where the desktop can put them back. It never deletes
// an item, never copies one to another drive, and keeps no record of what it moved.
class TrashService
{
public:
    // Whether each absolute path could move now: it exists, its folder lets this user
    // remove entries, and (when `trashToo`) a usable Trash exists on its drive, which is
    // then created if missing. The first path that could not move is reported.
    std::optional<TrashError> checkCanMove(const QStringList &paths, bool trashToo = true) const;

    // Moves the paths to the Trash as one: all of them or none. Every path is checked
    // first; if a move still fails, what had moved is put back, in reverse order. A folder
    // moves whole; a link is moved as the link itself. When something cannot be put back
    // either, the error's reason says which original path is where in the Trash.
    std::optional<TrashError> moveToTrash(const QStringList &paths) const;

    // Where items from the home drive go: `$XDG_DATA_HOME/Trash`.
    static QString homeTrashPath();

private:
    // Trash folders already cleared of stale temporary records by this service.
    mutable QSet<QString> m_swept;
};
