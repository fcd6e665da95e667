#include "scanning/SourceScanner.h"

#include "scanning/HuggingFaceCacheScanner.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"

#include <QFileInfo>

QStringList SourceScanner::roots() const
{
    if (m_definition.storesFromOllamaLocator)
        return m_ollama.roots();
    const QString appHome = ModelFolderResolver::appHome(m_definition.homeFolders);
    QStringList folders;
    for (const ModelFolder &folder : m_definition.folders) {
        const std::optional<QString> path = ModelFolderResolver::resolve(folder, appHome);
        // A moved folder is only where its setting says: nothing to show or check elsewhere.
        if (path && (!folder.isRelocation() || QFileInfo(*path).isDir()))
            folders.append(*path);
    }
    return ScanRoutines::distinctRoots(folders);
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
    }
    return {};
}
