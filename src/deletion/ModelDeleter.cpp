#include "deletion/ModelDeleter.h"

#include "deletion/BlobReferenceManager.h"

#include <QHash>

namespace {
QString noManifestReason()
{
    return QStringLiteral("No Ollama manifest file was found.");
}
} // namespace

ModelDeleter::ModelDeleter(QList<OllamaStore> ollamaStores, TrashService trash)
    : m_stores(std::move(ollamaStores)), m_trash(std::move(trash))
{
}

std::optional<std::pair<OllamaStore, QStringList>> ModelDeleter::manifestsOf(const DetectedModel &model) const
{
    for (const OllamaStore &store : m_stores) {
        const BlobReferenceManager references(store);
        QStringList manifests;
        for (const QString &path : model.filePaths) {
            if (references.isInsideManifests(path))
                manifests << path;
        }
        if (!manifests.isEmpty())
            return std::make_pair(store, manifests);
    }
    return std::nullopt;
}

std::variant<QStringList, QString> ModelDeleter::planOllama(const OllamaStore &store, const QStringList &manifests) const
{
    const BlobReferenceManager references(store);
    QString error;
    const std::optional<QHash<QString, qint64>> counts = references.referenceCounts(&error);
    if (!counts)
        return error;
    const std::optional<QStringList> blobs = references.exclusiveBlobs(manifests, *counts, &error);
    if (!blobs)
        return error;
    return manifests + *blobs;
}

std::variant<QStringList, QString> ModelDeleter::pathsToMove(const DetectedModel &model) const
{
    if (!model.problem.isEmpty())
        return model.problem;
    if (model.sourceTool.kind() != SourceTool::Kind::ollama)
        return model.filePaths;
    const auto found = manifestsOf(model);
    if (!found)
        return noManifestReason();
    return planOllama(found->first, found->second);
}

DeletionResult ModelDeleter::deleteModels(const QList<DetectedModel> &models) const
{
    DeletionResult result;
    result.requested = int(models.size());
    for (const DetectedModel &model : models) {
        // Planned right before the move: the counts must reflect what earlier models freed.
        const auto paths = pathsToMove(model);
        if (const QString *reason = std::get_if<QString>(&paths)) {
            result.failures.append({model.displayName, *reason});
            continue;
        }
        const QStringList &toMove = std::get<QStringList>(paths);
        const std::optional<TrashError> error = m_trash.moveToTrash(toMove);
        for (const QString &path : toMove) {
            if (error && path == error->path())
                break;
            result.trashedPaths << path;
        }
        if (error)
            result.failures.append({model.displayName, error->description()});
        else
            ++result.moved;
    }
    return result;
}

DeletionResult ModelDeleter::plan(const QList<DetectedModel> &models) const
{
    DeletionResult result;
    result.requested = int(models.size());
    // Ollama models are planned together per store: what they share among themselves
    // goes too, exactly as deleting them one after another would free it.
    QList<std::pair<OllamaStore, QList<std::pair<const DetectedModel *, QStringList>>>> stores;
    for (const DetectedModel &model : models) {
        if (!model.problem.isEmpty()) {
            result.failures.append({model.displayName, model.problem});
            continue;
        }
        if (model.sourceTool.kind() != SourceTool::Kind::ollama) {
            result.trashedPaths += model.filePaths;
            ++result.moved;
            continue;
        }
        const auto found = manifestsOf(model);
        if (!found) {
            result.failures.append({model.displayName, noManifestReason()});
            continue;
        }
        auto store = std::find_if(stores.begin(), stores.end(), [&](const auto &entry) { return entry.first == found->first; });
        if (store == stores.end())
            store = stores.insert(stores.end(), {found->first, {}});
        store->second.append({&model, found->second});
    }
    for (const auto &[store, members] : stores) {
        QStringList manifests;
        for (const auto &member : members)
            manifests += member.second;
        const auto paths = planOllama(store, manifests);
        if (const QString *reason = std::get_if<QString>(&paths)) {
            for (const auto &member : members)
                result.failures.append({member.first->displayName, *reason});
            continue;
        }
        result.trashedPaths += std::get<QStringList>(paths);
        result.moved += int(members.size());
    }
    return result;
}
