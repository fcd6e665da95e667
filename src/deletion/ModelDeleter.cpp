#include "deletion/ModelDeleter.h"

#include "deletion/BlobLedger.h"
#include "deletion/BlobReferenceManager.h"
#include "deletion/StoreLock.h"

#include <QFile>

#include <map>
#include <memory>
#include <sys/stat.h>

namespace {
QString noManifestReason()
{
    return QStringLiteral("No Ollama manifest file was found.");
}

// A blobs folder as the drive knows it: every path that reaches it gives the same key.
using FolderKey = std::pair<dev_t, ino_t>;

std::optional<FolderKey> keyOf(const QString &folder)
{
    struct stat info {};
    if (::stat(QFile::encodeName(folder).constData(), &info) != 0)
        return std::nullopt;
    return FolderKey{info.st_dev, info.st_ino};
}

// The stores that keep their blobs in one folder, with that folder's ledger and lock.
struct SharedBlobs
{
    QList<OllamaStore> stores;
    std::optional<FolderKey> key; // none when the blobs folder does not exist
    std::unique_ptr<StoreLock> lock;
    std::unique_ptr<BlobLedger> ledger;
    std::optional<QString> problem; // why none of its models may move
};

// Groups the stores by blobs folder. std::map keeps the keys in order, so every
// deletion takes its locks in the same order and two never wait on each other.
std::map<QString, SharedBlobs> groupByBlobs(const QList<OllamaStore> &stores)
{
    std::map<QString, SharedBlobs> groups;
    for (const OllamaStore &store : stores) {
        const std::optional<FolderKey> key = keyOf(store.blobsDir());
        const QString name = key ? QStringLiteral("%1:%2").arg(quint64(key->first), 20, 10, QLatin1Char('0')).arg(quint64(key->second))
                                 : QStringLiteral("path:") + store.blobsDir();
        SharedBlobs &group = groups[name];
        group.key = key;
        group.stores.append(store);
    }
    return groups;
}

// The store holding a model's manifests and those manifests, or nothing when the model
// lists no manifest of any known store.
std::optional<std::pair<OllamaStore, QStringList>> manifestsOf(const QList<OllamaStore> &stores, const DetectedModel &model)
{
    for (const OllamaStore &store : stores) {
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

// Locks and counts a group the first time one of its models comes up.
void open(SharedBlobs &group)
{
    if (group.ledger || group.problem)
        return;
    if (group.key) {
        group.lock = std::make_unique<StoreLock>(group.key->first, group.key->second);
        if ((group.problem = group.lock->problem()))
            return;
    }
    group.ledger = std::make_unique<BlobLedger>(group.stores);
    group.problem = group.ledger->count();
}
} // namespace

ModelDeleter::ModelDeleter(QList<OllamaStore> ollamaStores, TrashService trash)
    : m_stores(std::move(ollamaStores)), m_trash(std::move(trash))
{
}

DeletionResult ModelDeleter::deleteModels(const QList<DetectedModel> &models) const
{
    return run(models, Mode::move);
}

DeletionResult ModelDeleter::plan(const QList<DetectedModel> &models) const
{
    return run(models, Mode::planOnly);
}

DeletionResult ModelDeleter::run(const QList<DetectedModel> &models, Mode mode) const
{
    DeletionResult result;
    result.requested = int(models.size());
    std::map<QString, SharedBlobs> groups = groupByBlobs(m_stores);

    // Every group the selection touches is locked and counted before anything moves.
    QList<std::optional<std::pair<OllamaStore, QStringList>>> manifests;
    for (const DetectedModel &model : models) {
        const bool ollama = model.problem.isEmpty() && model.sourceTool.kind() == SourceTool::Kind::ollama;
        manifests.append(ollama ? manifestsOf(m_stores, model) : std::nullopt);
    }
    const auto groupOf = [&](const OllamaStore &store) {
        return std::find_if(groups.begin(), groups.end(), [&](const auto &entry) { return entry.second.stores.contains(store); });
    };
    for (const auto &found : std::as_const(manifests)) {
        if (found)
            open(groupOf(found->first)->second);
    }

    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models[i];
        if (!model.problem.isEmpty()) {
            result.failures.append({model.displayName, model.problem});
            continue;
        }
        BlobLedger *ledger = nullptr;
        BlobLedger::Claim claim{model.filePaths, {}};
        if (model.sourceTool.kind() == SourceTool::Kind::ollama) {
            const auto &found = manifests[i];
            if (!found) {
                result.failures.append({model.displayName, noManifestReason()});
                continue;
            }
            const auto group = groupOf(found->first);
            if (group->second.problem) {
                result.failures.append({model.displayName, *group->second.problem});
                continue;
            }
            ledger = group->second.ledger.get();
            auto claimed = ledger->claim(found->first, found->second);
            if (const QString *reason = std::get_if<QString>(&claimed)) {
                result.failures.append({model.displayName, *reason});
                continue;
            }
            claim = std::get<BlobLedger::Claim>(std::move(claimed));
        }
        // The dry run checks what it can without touching anything, not even the Trash.
        const std::optional<TrashError> error =
            mode == Mode::move ? m_trash.moveToTrash(claim.paths) : m_trash.checkCanMove(claim.paths, false);
        if (error) {
            result.failures.append({model.displayName, error->description()});
            continue;
        }
        if (ledger)
            ledger->release(claim);
        result.trashedPaths += claim.paths;
        ++result.moved;
    }
    return result;
}
