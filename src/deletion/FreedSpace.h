#pragma once

#include <QStringList>

// How much room the drive gets back once these items have gone through the Trash: the
// sizes of the files whose every name is among them. A file with a hard link elsewhere
// frees nothing; one reached twice among the items counts once.
namespace FreedSpace {

// `paths`: files and folders (walked whole, links never followed) that would move.
qint64 of(const QStringList &paths);

} // namespace FreedSpace
