#pragma once

#include "catalogue/DetectedModel.h"

#include <QByteArray>
#include <QString>
#include <optional>

// The SHA-256 a model application recorded for a model's primary file, looked up where the
// source's table entry says it keeps it (NamedDigest): in the file's own name, or in Jan's
// model.yml. Looked up only when asked, so a scan that needs none reads nothing more. A
// hint, never proof: a file can be misnamed, or changed after its application wrote the
// digest down.
namespace StoreDigest {

// The digest's 32 bytes, or nothing when the source records none for this file.
std::optional<QByteArray> of(const DetectedModel &model);

// "sha256-<64 hex digits>" (Ollama) or "<64 hex digits>" (a Hugging Face LFS blob).
std::optional<QByteArray> fromBlobName(const QString &fileName);

// A Jan model.yml's top-level "model_sha256" (older releases: "sha256"), when its
// "model_path" names a file called `fileName`.
std::optional<QByteArray> fromModelYml(const QByteArray &yml, const QString &fileName);

} // namespace StoreDigest
