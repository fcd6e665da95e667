#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/OllamaStore.h"
#include "deletion/TrashService.h"
#include "deletion/DeletionResult.h"

#include <optional>
#include <variant>

// Moves models to the Trash. An Ollama model moves its manifests and only the blobs
// no other manifest of its store still needs; the reference counts are read afresh
// for every model, so models deleted earlier in the same run free what they shared.
class ModelDeleter
{
public:
    explicit ModelDeleter(QList<OllamaStore> ollamaStores, TrashService trash = TrashService());

    DeletionResult deleteModels(const QList<DetectedModel> &models) const;

    // Every file that deleting these models would move, without moving anything.
    // A model that could not be deleted contributes nothing and is listed in failures.
    DeletionResult plan(const QList<DetectedModel> &models) const;

private:
    // The manifests of some Ollama models of one store followed by the blobs only they
    // need, or the reason nothing of them may be moved.
    std::variant<QStringList, QString> planOllama(const OllamaStore &store, const QStringList &manifests) const;
    // The store holding a model's manifests and those manifests, or nothing when the
    // model lists no manifest of any known store.
    std::optional<std::pair<OllamaStore, QStringList>> manifestsOf(const DetectedModel &model) const;
    // What deleting one model moves, or why it cannot be deleted.
    std::variant<QStringList, QString> pathsToMove(const DetectedModel &model) const;

    QList<OllamaStore> m_stores;
    TrashService m_trash;
};
