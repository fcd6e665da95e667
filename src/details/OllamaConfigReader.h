#pragma once

#include "catalogue/ModelDetails.h"

#include <QByteArray>
#include <QString>
#include <optional>

// What an Ollama model's config blob (the small JSON document its manifest names as
// "config") says of the model: "model_family" as the architecture, "model_type" (the
// parameter size Ollama shows, "8.0B") as the size label, "file_type" ("Q4_K_M") as the
// quantization and, when present, "context_length". It states no exact parameter count.
class OllamaConfigReader
{
public:
    // Real configs are well under a kilobyte; a larger blob is not one and is not read.
    static constexpr qint64 maximumFileSize = 1024 * 1024;

    static std::optional<ModelDetails> read(const QString &path);
    // From the blob's bytes: nothing unless they are a JSON object stating one of the fields.
    static std::optional<ModelDetails> decode(const QByteArray &bytes);
};
