#pragma once

#include <QString>

// One Ollama model store: a "models" folder holding the manifests tree and the blobs
// that the manifests name. A machine may have several (the user's own, the system
// service's, one named by OLLAMA_MODELS); each keeps its own reference counts.
struct OllamaStore
{
    QString modelsDir;

    QString manifestsDir() const;
    QString blobsDir() const;
    // The manifests of Ollama's default public registry, the only ones listed as models.
    QString registryDir() const;

    // The store Ollama uses for the current user by default: ~/.ollama/models.
    static OllamaStore userStore();

    friend bool operator==(const OllamaStore &, const OllamaStore &) = default;
};
