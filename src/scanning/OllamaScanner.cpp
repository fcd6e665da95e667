#include "scanning/OllamaScanner.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/OllamaManifest.h"
#include "scanning/ScanRoutines.h"

#include <QFileInfo>

namespace {
// "library" is the namespace of Ollama's own models, which it shows without one.
const QString officialNamespace = QStringLiteral("library");

// namespace/model/tag..., or nothing for a manifest too close to the registry folder.
std::optional<QString> displayName(const QString &relativePath)
{
    const QStringList parts = relativePath.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.size() < 3)
        return std::nullopt;
    const QString model = parts[0] == officialNamespace ? parts[1] : parts[0] + QLatin1Char('/') + parts[1];
    return model + QLatin1Char(':') + parts.sliced(2).join(QLatin1Char(':'));
}
} // namespace

OllamaScanner::OllamaScanner(QList<OllamaStore> stores) : m_stores(std::move(stores)) {}

QStringList OllamaScanner::roots(SourceTool::Kind source) const
{
    QStringList folders;
    for (const OllamaStore &store : m_stores) {
        if (store.source == source)
            folders.append(store.modelsDir);
    }
    return ScanRoutines::distinctRoots(folders);
}

QList<DetectedModel> OllamaScanner::scan() const
{
    QList<SourceTool::Kind> sources;
    for (const OllamaStore &store : m_stores) {
        if (!sources.contains(store.source))
            sources.append(store.source);
    }
    QList<DetectedModel> models;
    for (const SourceTool::Kind source : sources) {
        for (const QString &folder : roots(source))
            models += scanStore(OllamaStore{folder, source});
    }
    return models;
}

QList<DetectedModel> OllamaScanner::scanStore(const OllamaStore &store)
{
    QList<DetectedModel> models;
    const QString registry = store.registryDir();
    const QString blobs = store.blobsDir() + QLatin1Char('/');
    // The reference counts never follow a link inside the manifests tree; a registry
    // folder reached through one would hold manifests the counts cannot see, and
    // deleting its models could then free blobs those manifests still need.
    if (QFileInfo(registry).isSymLink())
        return models;
    DirectoryWalker::walk(registry, [&](const DirectoryWalker::Entry &entry) {
        if (entry.type() != DirectoryWalker::EntryType::regular)
            return;
        const std::optional<QString> path = entry.path();
        if (!path || !path->startsWith(registry))
            return;
        const std::optional<QString> name = displayName(path->sliced(registry.size()));
        if (!name)
            return;
        const std::optional<OllamaManifest> manifest = OllamaManifest::read(*path);
        if (!manifest)
            return;
        DetectedModel model = DetectedModel::create(*name, store.source, {*path},
                                                    manifest->manifestSize(), entry.attributes().modified);
        for (const QString &digest : manifest->allDigests()) {
            const std::optional<QString> blobName = OllamaManifest::blobFileName(digest);
            if (!blobName)
                continue;
            const QString blobPath = blobs + *blobName;
            const QFileInfo blob(blobPath);
            if (!blob.exists())
                continue;
            model.filePaths.append(blobPath);
            // The weights are the largest blob; a link in a blob's place is never read.
            if (blob.isFile() && !blob.isSymLink()) {
                model.offerPrimaryFile(blobPath, blob.size());
                if (digest == manifest->config.digest)
                    model.configFile = blobPath;
            }
        }
        models.append(model);
    });
    return models;
}
