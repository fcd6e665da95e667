#include "scanning/SourceScanner.h"

#include "scanning/HuggingFaceCacheScanner.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"

#include <QFileInfo>

QStringList SourceScanner::resolved(const QString &installation) const
{
    const QString appHome = ModelFolderResolver::appHome(m_definition.homeFolders);
    QStringList folders;
    for (const ModelFolder &folder : m_definition.folders) {
        // Folders based on an installation belong to its place, the others to the place of none.
        const bool basedOnInstallation = folder.base == ModelFolder::Base::installation;
        if (basedOnInstallation == installation.isEmpty())
            continue;
        for (const QString &path : ModelFolderResolver::resolveAll(folder, appHome, installation)) {
            // A moved folder is only where its setting says: nothing to show or check elsewhere.
            if (!folder.isRelocation() || QFileInfo(path).isDir())
                folders.append(path);
        }
    }
    return folders;
}

QList<SourceScanner::Place> SourceScanner::places() const
{
    if (m_definition.storesFromOllamaLocator)
        return {{{}, m_ollama.roots()}};
    QList<Place> places;
    for (const QString &installation : m_installations.value(m_definition.tool))
        places.append({installation, resolved(installation)});
    places.append({{}, resolved({})});
    return places;
}

QStringList SourceScanner::roots() const
{
    QStringList folders;
    for (const Place &place : places())
        folders += place.folders;
    if (m_definition.storesFromOllamaLocator)
        return folders;
    folders = ScanRoutines::distinctRoots(folders);
    return m_definition.layout == ModelLayout::filePerModel ? ScanRoutines::outermostRoots(folders) : folders;
}

QList<DetectedModel> SourceScanner::scan(const QStringList &roots) const
{
    QList<DetectedModel> models;
    for (const QString &root : roots) {
        if (ScanRoutines::rootExists(root))
            models += walk(root);
    }
    return models;
}

QList<DetectedModel> SourceScanner::walk(const QString &root) const
{
    const SourceTool &source = m_definition.tool;
    switch (m_definition.layout) {
    case ModelLayout::filePerModel:
        return ScanRoutines::scanModelFiles(root, m_definition.extensions, source, m_definition.sidecarSuffixes,
                                            m_definition.unfinishedDownloads);
    case ModelLayout::publisherModelFolders:
        return ScanRoutines::scanModelTree(root, source);
    case ModelLayout::folderPerModel:
        return ScanRoutines::scanFilesGroupedByFolder(root, source, m_definition.unfinishedDownloads);
    case ModelLayout::ollamaManifests:
        return OllamaScanner::scanStore(OllamaStore{root});
    case ModelLayout::huggingFaceRepos:
        return HuggingFaceCacheScanner::scan(root, m_definition.unfinishedDownloads);
    case ModelLayout::entryPerModel:
        return ScanRoutines::scanModelEntries(root, m_definition.extensions, source);
    }
    return {};
}
