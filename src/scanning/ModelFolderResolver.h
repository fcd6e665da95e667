#pragma once

#include "catalogue/ModelFolder.h"
#include "catalogue/ModelSourceDefinition.h"

#include <QList>
#include <QString>
#include <optional>

// Finds where a table folder is on this machine, reading the application's own
// settings or pointer file, or the environment, when the folder can be moved. It only
// reads, and only small regular files: anything damaged, too large, of the wrong type
// or naming a relative path leads nowhere, without a word.
namespace ModelFolderResolver {

// Settings and pointer files larger than this are not read.
inline constexpr qint64 largestSettingsFile = 1024 * 1024;

// The clean absolute path the folder stands for here, or nothing when its setting
// or variable names none. appHome is the application's own folder, for folders based on it.
std::optional<QString> resolve(const ModelFolder &folder, const QString &appHome = {});

// Every clean absolute path the folder stands for here: none or one, or for a list of
// model folders (ComfyUI's) as many as it names. installation is the installation
// folder the folder is based on, if it is; a relative path in its launch arguments is
// relative to it, as the application is started there. A folder a list or launch
// arguments name that is the root or the home folder, or holds the home folder, is left
// out: walking it would list every file of the disk as one application's.
QStringList resolveAll(const ModelFolder &folder, const QString &appHome = {}, const QString &installation = {});

// The application's own folder: the first candidate that resolves to an existing
// folder, else what the last resolves to (empty when it resolves to nothing).
QString appHome(const QList<ModelFolder> &candidates);

// Every folder of the definition's table that leads somewhere here, each real folder once,
// in the table's order, whether it exists or not; a moved folder counts only where its
// setting or variable says, and only when that is a folder. With an installation, the
// folders based on that installation; without, the folders that belong to none.
QStringList folders(const ModelSourceDefinition &definition, const QString &installation = {});

} // namespace ModelFolderResolver
