#include "scanning/SourceScanner.h"

#include "scanning/HuggingFaceCacheScanner.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"

#include <QFile>

QList<SourceScanner::Place> SourceScanner::places() const
{
    // A store in Ollama's layout is wherever the Ollama store locator found it.
    if (m_definition.layout == ModelLayout::ollamaManifests)
        return {{{}, m_ollama.roots(m_definition.tool.kind())}};
    QList<Place> places;
    for (const QString &installation : m_installations.value(m_definition.tool))
        places.append({installation, ModelFolderResolver::folders(m_definition, installation)});
    places.append({{}, ModelFolderResolver::folders(m_definition)});
    return places;
}

QStringList SourceScanner::roots() const
{
    QStringList folders;
    for (const Place &place : places())
        folders += place.folders;
    if (m_definition.layout == ModelLayout::ollamaManifests)
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
        return ScanRoutines::scanModelTree(root, source, m_definition.unfinishedDownloads);
    case ModelLayout::folderPerModel:
        return ScanRoutines::scanFilesGroupedByFolder(root, source, m_definition.unfinishedDownloads);
    case ModelLayout::ollamaManifests:
        return OllamaScanner::scanStore(OllamaStore{root, source.kind()});
    case ModelLayout::huggingFaceRepos:
        return HuggingFaceCacheScanner::scan(root, m_definition.unfinishedDownloads, source);
    case ModelLayout::llamaCppCache: {
        // The flat files lie beside the repositories, which only the repository walk reads.
        QByteArray top = QFile::encodeName(root); // as the walk spells it
        while (top.size() > 1 && top.endsWith('/'))
            top.chop(1);
        const auto outsideRepositories = [&top](const DirectoryWalker::Entry &folder) {
            return folder.folderNativePath() != top
                || !HuggingFaceCacheScanner::repositoryFolder(QString::fromUtf8(folder.name()));
        };
        return ScanRoutines::scanModelFiles(root, m_definition.extensions, source, m_definition.sidecarSuffixes,
                                            m_definition.unfinishedDownloads, outsideRepositories)
            + HuggingFaceCacheScanner::scan(root, m_definition.unfinishedDownloads, source);
    }
    case ModelLayout::entryPerModel:
        return ScanRoutines::scanModelEntries(root, m_definition.extensions, source);
    }
    return {};
}
