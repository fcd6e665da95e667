#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/OllamaStore.h"

#include <QList>

// What Ollama (or AnythingLLM's own Ollama) leaves in its blobs folders besides the models: downloads it has not
// finished (sha256-<hash>-partial with its -partial-N part files, one entry together) and
// blobs that no manifest names. A blob counts as unused only when no manifest of any
// store sharing its blobs folder names it, counted as a deletion counts; when a manifest
// cannot be read, no blob of that folder is called unused. Each blobs folder is looked
// at once, however many stores reach it.
namespace OllamaLeftovers {

QList<DetectedModel> find(const QList<OllamaStore> &stores);

} // namespace OllamaLeftovers
