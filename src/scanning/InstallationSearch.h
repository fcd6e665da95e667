#pragma once

#include "catalogue/ModelSourceDefinition.h"

#include <QHash>
#include <QList>
#include <QStringList>

// The installations of the applications that run from a folder of the user's choice
// (ComfyUI, the Stable Diffusion web UIs, text-generation-webui), by source, each real
// folder once, in the order found.
using Installations = QHash<SourceTool, QStringList>;

// Finds those installations with one search of the home folder shared by every such
// application: the folders in the home folder and up to three levels below it that hold
// all of an application's marker entries, plus the folders the applications' own
// settings name. The search skips hidden folders, never enters a folder that is a known
// store or an installation, and never follows a link further than to look whether it
// leads to an installation. It only lists folders and asks for the type of marker
// entries, so a marker that is a pipe or a device is never opened: it marks nothing.
namespace InstallationSearch {

// How deep below the home folder installations are looked for.
inline constexpr int searchDepth = 3;

Installations find(const QList<ModelSourceDefinition> &definitions, const QStringList &knownStores);

// Whether folder holds every marker entry of the application.
bool isInstallation(const QString &folder, const InstallationMarkers &markers);

} // namespace InstallationSearch
