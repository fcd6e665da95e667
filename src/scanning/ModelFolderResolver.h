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

// The application's own folder: the first candidate that resolves to an existing
// folder, else what the last resolves to (empty when it resolves to nothing).
QString appHome(const QList<ModelFolder> &candidates);

// Every folder of the definition's table that leads somewhere here, each real folder once,
// in the table's order, whether it exists or not; a moved folder counts only where its
// setting or variable says, and only when that is a folder.
QStringList folders(const ModelSourceDefinition &definition);

} // namespace ModelFolderResolver
