#include "scanning/SourceScanner.h"

#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"

QStringList SourceScanner::roots() const
{
    if (m_definition.storesFromOllamaLocator)
        return m_ollama.roots();
    QStringList folders;
    for (const ModelFolder &folder : m_definition.folders)
        folders.append(folder.path());
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
        return ScanRoutines::scanModelFiles(root, m_definition.extensions, source);
    case ModelLayout::publisherModelFolders:
        return ScanRoutines::scanModelTree(root, source);
    case ModelLayout::folderPerModel:
        return ScanRoutines::scanFilesGroupedByFolder(root, source);
    case ModelLayout::ollamaManifests:
        return OllamaScanner::scanStore(OllamaStore{root});
    }
    return {};
}
