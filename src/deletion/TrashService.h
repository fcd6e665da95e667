#pragma once

#include "deletion/TrashError.h"

#include <QString>
#include <QStringList>
#include <optional>

// The only place that removes anything the user picked: it moves items to the
// freedesktop.org Trash, from where the desktop can put them back. It never deletes
// an item, never copies one to another drive, and keeps no record of what it moved.
class TrashService
{
public:
    // Moves each absolute path to the Trash, in order. A folder moves whole; a link is
    // moved as the link itself. Stops at the first path that cannot be moved and
    // reports it; paths after it are not tried and moved ones stay in the Trash.
    std::optional<TrashError> moveToTrash(const QStringList &paths) const;

    // Where items from the home drive go: `$XDG_DATA_HOME/Trash`.
    static QString homeTrashPath();
};
