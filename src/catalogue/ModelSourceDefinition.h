#pragma once

#include "catalogue/ModelFolder.h"
#include "catalogue/SourceTool.h"

#include <QList>
#include <QStringList>

// How a model application shows it is installed on a Linux desktop.
struct LinuxAppMarkers
{
    QStringList executables = {};       // names looked up on PATH, /usr/bin, /usr/local/bin and /opt/*
    QStringList appImagePatterns = {};  // wildcard file names of the application's AppImage
    QStringList desktopEntries = {};    // desktop entry file names (for example "jan.desktop")
    QStringList flatpakIds = {};        // Flatpak application identifiers
    QStringList snapNames = {};         // Snap package names
    QStringList homeExecutables = {};   // executables an installer puts below the home folder
    // Files in which the application records where it is installed; it counts as
    // installed when the path one of them names exists.
    QList<ModelFolder> installRecords = {};
};

// How an application arranges the models below one of its model folders; each
// arrangement has one walk, shared by every application that uses it.
enum class ModelLayout {
    filePerModel,          // every file with an accepted extension, at any depth, is one model
    publisherModelFolders, // publisher/model folders: all regular files below a model folder
    folderPerModel,        // the innermost folder that directly holds files is one model
    ollamaManifests,       // manifests naming the blobs of a store in Ollama's layout
    huggingFaceRepos,      // models--, datasets--, spaces--ORG--NAME repositories of blobs and snapshots
    // llama.cpp's cache: its older flat files (filePerModel) beside repositories in the
    // Hugging Face layout, which it writes there since March 2026
    llamaCppCache,
    entryPerModel,         // every folder directly in the root is one model, and so is every
                           // file directly in it with an accepted extension
};

// How an application names a download it has not finished in its model folders: a
// file that begins with `prefix` and ends with `suffix` (either may be empty, not both).
struct UnfinishedDownloadNames
{
    QString prefix = {};
    QString suffix = {};
    // Files beside the download, named after it without `suffix` plus one of these, that
    // belong to it (Jan keeps the address it downloads from in "model.gguf.url").
    QStringList companionSuffixes = {};

    bool isEmpty() const { return prefix.isEmpty() && suffix.isEmpty(); }
};

// A path inside a folder that, together with the others, marks the folder as an
// installation of an application: any one of `names`, a regular file or a folder.
struct InstallationMarker
{
    QStringList names;
    bool isFolder = false;
};

// How to find the installations of an application that runs from the folder the user
// copied it into (a git checkout): the home folder is searched for folders holding every
// entry, and a packaged edition may name its folder in a settings file of its own.
struct InstallationMarkers
{
    QList<InstallationMarker> entries = {};
    QList<ModelFolder> records = {}; // each names an installation folder
    bool isEmpty() const { return entries.isEmpty() && records.isEmpty(); }
};

// Where an application records the SHA-256 of a model's file, so that copies it names
// differently can be told apart without reading them. A hint only: the file may be
// misnamed or changed since, so verification always reads.
enum class NamedDigest {
    none,
    blobFileName, // the file is named after it: "sha256-<hex>" (Ollama), "<hex>" (Hugging Face LFS blobs)
    modelYml,     // "model_sha256" (or the older "sha256") in the model.yml beside the file (Jan)
};

// Everything Stashwell knows about one model application: where it keeps models on
// every platform, how they are laid out there, and how to tell it is installed.
// Adding an application is one more entry in the table; fields an entry leaves out
// are empty.
struct ModelSourceDefinition
{
    SourceTool tool;
    QString displayName;
    ModelLayout layout;
    QStringList extensions = {};     // lower case; the files that count for filePerModel
    // Appended to a model file's name, files that belong to that model (filePerModel).
    QStringList sidecarSuffixes = {};
    // Leftovers of downloads the application did not finish, listed apart from its models;
    // one entry per way the application (or a program sharing its folder) names them.
    QList<UnfinishedDownloadNames> unfinishedDownloads = {};
    QList<ModelFolder> folders = {}; // in scan order; every one that exists is scanned
    // The application's own folder, for folders based on it: the first candidate that
    // is an existing folder, else the last.
    QList<ModelFolder> homeFolders = {};
    // A download cache shared by libraries rather than owned by one application: its
    // models are never orphaned.
    bool libraryCache = false;
    // Ollama's own stores are found by the Ollama store locator (the user's store,
    // OLLAMA_MODELS, the system service's); `folders` then only says what to show. Other
    // applications keeping a store in Ollama's layout have it at their `folders`.
    bool storesFromOllamaLocator = false;
    // For applications with installations of their own; folders based on `installation`
    // are looked for in each one found.
    InstallationMarkers installation = {};
    // The window's symbol for the source when it has no desktop icon (an application run
    // from a folder); empty for the usual fallbacks.
    QString symbol = {};
    QStringList appBundleNames = {};
    QStringList appBundleIdentifiers = {};
    NamedDigest namedDigest = NamedDigest::none;
    LinuxAppMarkers linuxMarkers = {};

    // The folder the application uses by default here, as an absolute path.
    QString defaultFolder() const;

    // The built-in sources, in scan order.
    static const QList<ModelSourceDefinition> &all();
    // The definition of a source; nothing for custom folders.
    static const ModelSourceDefinition *find(const SourceTool &tool);
};

// Folder names shared by the definitions and the scanners.
namespace SourceFolders {
inline constexpr char16_t gpt4AllMaker[] = u"nomic.ai";
inline constexpr char16_t ollamaRegistryHost[] = u"registry.ollama.ai";
}
