#pragma once

#include "catalogue/SourceTool.h"

#include <QString>

// One model store in Ollama's layout: a "models" folder holding the manifests tree and
// the blobs that the manifests name. A machine may have several (the user's own, the
// system service's, one named by OLLAMA_MODELS, AnythingLLM's own Ollama's); each keeps
// its own reference counts, and its models belong to the application that keeps it.
struct OllamaStore
{
    QString modelsDir;
    SourceTool::Kind source = SourceTool::Kind::ollama;

    QString manifestsDir() const;
    QString blobsDir() const;
    // The manifests of Ollama's default public registry, the only ones listed as models.
    QString registryDir() const;

    // The store Ollama uses for the current user by default: ~/.ollama/models.
    static OllamaStore userStore();

    friend bool operator==(const OllamaStore &, const OllamaStore &) = default;
};
