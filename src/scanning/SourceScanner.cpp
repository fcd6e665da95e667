#include "scanning/SourceScanner.h"

#include "scanning/HuggingFaceCacheScanner.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"

#include <QFile>


QStringList SourceScanner::roots() const
{
    if (m_definition.layout == ModelLayout::ollamaManifests)
        return m_ollama.roots(m_definition.tool.kind());
    return ModelFolderResolver::folders(m_definition);
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
    }
    return {};
}
