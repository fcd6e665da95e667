#include "deletion/ModelDeleter.h"

#include "catalogue/ModelSourceDefinition.h"
#include "deletion/BlobLedger.h"
#include "deletion/BlobReferenceManager.h"
#include "deletion/StoreLock.h"
#include "scanning/HuggingFaceRepository.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <map>
#include <memory>
#include <sys/stat.h>

namespace {
QString noManifestReason()
{
    return QStringLiteral("No Ollama manifest file was found.");
}

// The stores that keep their blobs in one folder, with that folder's ledger and lock.
struct SharedBlobs
{
    QList<OllamaStore> stores;
    std::optional<BlobLedger::FolderKey> key; // none when the blobs folder does not exist
    std::unique_ptr<StoreLock> lock;
    std::unique_ptr<BlobLedger> ledger;
    std::optional<QString> problem; // why none of its models may move
};

std::map<QString, SharedBlobs> groupByBlobs(const QList<OllamaStore> &stores)
{
    std::map<QString, SharedBlobs> groups;
    for (auto &[name, folder] : BlobLedger::byBlobsFolder(stores))
        groups[name] = SharedBlobs{folder.stores, folder.key, {}, {}, {}};
    return groups;
}

QString blobNamedNowReason()
{
    return QStringLiteral("An Ollama model uses this blob now: a manifest names it, so it stays.");
}

QString blobOutsideStoresReason()
{
    return QStringLiteral("This file is not a blob of a known Ollama store.");
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

// Why an old Hugging Face revision may not move now, or nothing. Its files are its
// snapshot folder, then the blobs that only it used when it was scanned.
std::optional<QString> oldRevisionProblem(const DetectedModel &model)
{
    const QFileInfo snapshot(model.filePaths.value(0));
    const QString repositoryPath = QFileInfo(snapshot.path()).path();
    const HuggingFaceRepository repository = HuggingFaceRepository::read(repositoryPath, {}, true);
    const HuggingFaceRepository::Revision *revision = repository.revision(snapshot.fileName());
    if (!revision || QDir::cleanPath(revision->path) != QDir::cleanPath(snapshot.filePath()))
        return QStringLiteral("This revision is no longer in the Hugging Face cache.");
    if (!repository.refsNameRevisions() || revision->named)
        return QStringLiteral("A ref of the repository names this revision now, or its refs cannot be read, so it stays.");
    const QString blobs = QDir::cleanPath(repository.blobsPath()) + QLatin1Char('/');
    for (const QString &blob : model.filePaths.sliced(1)) {
        const QString path = QDir::cleanPath(blob);
        const QByteArray name = QFile::encodeName(path.sliced(std::min(blobs.size(), path.size())));
        const int others = repository.usersOf(name) - (revision->blobs.contains(name) ? 1 : 0);
        if (!path.startsWith(blobs) || others > 0)
            return QStringLiteral("Another revision of the repository uses one of its files now, so it stays.");
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

DeletionResult ModelDeleter::run(const QList<DetectedModel> &selection, Mode mode) const
{
    // Leftovers move first: an unfinished download inside a Hugging Face repository leaves
    // before the repository folder does, so both moves succeed.
    QList<DetectedModel> models = selection;
    std::stable_partition(models.begin(), models.end(), [](const DetectedModel &model) { return model.isLeftover(); });
    DeletionResult result;
    result.requested = int(models.size());
    std::map<QString, SharedBlobs> groups = groupByBlobs(m_stores);

    // Every group the selection touches is locked and counted before anything moves.
    const auto isOllama = [](const DetectedModel &model) {
        const ModelSourceDefinition *definition = ModelSourceDefinition::find(model.sourceTool);
        return model.problem.isEmpty() && definition && definition->layout == ModelLayout::ollamaManifests;
    };
    QList<std::optional<std::pair<OllamaStore, QStringList>>> manifests;
    QList<SharedBlobs *> blobGroups; // the group an unused blob lies in, checked again before it moves
    for (const DetectedModel &model : std::as_const(models)) {
        const bool blob = isOllama(model) && model.leftover == LeftoverKind::unreferencedBlob;
        manifests.append(isOllama(model) && !model.isLeftover() ? manifestsOf(m_stores, model) : std::nullopt);
        SharedBlobs *group = nullptr;
        if (blob && model.filePaths.size() == 1) {
            const std::optional<BlobLedger::FolderKey> key = BlobLedger::keyOf(QFileInfo(model.filePaths.first()).path());
            for (auto &[name, shared] : groups) {
                if (key && shared.key == key)
                    group = &shared;
            }
        }
        blobGroups.append(group);
    }
    const auto groupOf = [&](const OllamaStore &store) {
        return std::find_if(groups.begin(), groups.end(), [&](const auto &entry) { return entry.second.stores.contains(store); });
    };
    for (const auto &found : std::as_const(manifests)) {
        if (found)
            open(groupOf(found->first)->second);
    }
    for (SharedBlobs *group : std::as_const(blobGroups)) {
        if (group)
            open(*group);
    }

    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models[i];
        if (!model.problem.isEmpty()) {
            result.failures.append({model.displayName, model.problem});
            continue;
        }
        BlobLedger *ledger = nullptr;
        BlobLedger::Claim claim{model.filePaths, {}};
        if (isOllama(model) && model.leftover == LeftoverKind::unreferencedBlob) {
            // Counted afresh under the lock: a model pulled since the scan may name it now.
            const SharedBlobs *group = blobGroups[i];
            const std::optional<QString> problem = !group ? blobOutsideStoresReason()
                : group->problem                           ? group->problem
                : group->ledger->isNamed(QFileInfo(model.filePaths.first()).fileName()) ? blobNamedNowReason()
                                                                                       : std::optional<QString>();
            if (problem) {
                result.failures.append({model.displayName, *problem});
                continue;
            }
        } else if (model.leftover == LeftoverKind::oldRevision) {
            // Looked at afresh: a ref may name it now, or a new revision link one of its blobs.
            if (const std::optional<QString> problem = oldRevisionProblem(model)) {
                result.failures.append({model.displayName, *problem});
                continue;
            }
        } else if (isOllama(model) && !model.isLeftover()) {
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
