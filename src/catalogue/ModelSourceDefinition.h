#pragma once

#include "catalogue/SourceTool.h"

#include <QStringList>

// How a model application shows it is installed on a Linux desktop.
struct LinuxAppMarkers
{
    QStringList executables;       // names looked up on PATH, /usr/bin, /usr/local/bin and /opt/*
    QStringList appImagePatterns;  // wildcard file names of the application's AppImage
    QStringList desktopEntries;    // desktop entry file names (for example "jan.desktop")
    QStringList flatpakIds;        // Flatpak application identifiers
    QStringList snapNames;         // Snap package names
    QStringList homeExecutables;   // executables an installer puts below the home folder
};

// One of the six model applications: where it keeps models and how it is found installed.
struct ModelSourceDefinition
{
    SourceTool tool;
    QString displayName;
    QStringList paths; // model folders as shown to the user: "~/" for home, trailing "/"
    QStringList appBundleNames;
    QStringList appBundleIdentifiers;
    LinuxAppMarkers linuxMarkers;

    // The six built-in sources, in scan order.
    static const QList<ModelSourceDefinition> &all();
    // The definition of a source; nothing for custom folders.
    static const ModelSourceDefinition *find(const SourceTool &tool);
};

// Folder names shared by the definitions and the scanners.
namespace SourceFolders {
inline constexpr char16_t gpt4AllMaker[] = u"nomic.ai";
inline constexpr char16_t ollamaRegistryHost[] = u"registry.ollama.ai";
}
