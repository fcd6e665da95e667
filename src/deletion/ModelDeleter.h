#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/OllamaStore.h"
#include "deletion/TrashService.h"
#include "deletion/DeletionResult.h"

#include <optional>

// Moves models to the Trash, each model all or nothing. A model of a store in Ollama's
// layout (Ollama's, AnythingLLM's) moves its manifests and only the blobs that no other
// manifest needs, in any store that keeps its blobs in the same real folder. Each such
// folder is locked and counted once for the whole deletion, and the counts follow the
// models as they leave, so models deleted earlier in the same run free what they shared
// with later ones. An old Hugging Face revision is looked at again before it moves: it
// stays when a ref names it now or another revision links one of its blobs; it moves its
// snapshot first and its blobs after, so no remaining link ever leads to a moved blob.
class ModelDeleter
{
public:
    explicit ModelDeleter(QList<OllamaStore> ollamaStores, TrashService trash = TrashService());

    DeletionResult deleteModels(const QList<DetectedModel> &models) const;

    // Every file that deleting these models would move, found the same way, moving
    // nothing. A model that could not be deleted contributes nothing and is listed in
    // failures.
    DeletionResult plan(const QList<DetectedModel> &models) const;

private:
    enum class Mode { planOnly, move };
    DeletionResult run(const QList<DetectedModel> &models, Mode mode) const;

    QList<OllamaStore> m_stores;
    TrashService m_trash;
};
