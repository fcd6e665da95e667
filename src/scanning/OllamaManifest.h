#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// One blob an Ollama manifest names: the configuration or one model data layer.
struct OllamaManifestLayer
{
    QString digest;    // "sha256:" + hex, as the manifest writes it
    QString mediaType; // kept for completeness; nothing branches on it
    qint64 size = 0;   // the blob's size as the manifest states it
};

// One Ollama manifest file: the small JSON document that ties a model tag to its blobs.
// Stashwell only ever reads manifests.
struct OllamaManifest
{
    OllamaManifestLayer config;
    QList<OllamaManifestLayer> layers;

    // Real manifests are a few hundred bytes; a file beyond this is not one and is
    // refused without being read whole.
    static constexpr qint64 maximumFileSize = 16 * 1024 * 1024;

    // The config digest, then every layer digest in file order; a repeated digest is kept.
    QStringList allDigests() const;
    // config.size plus every layer size, as stated (a sum past 64 bits stops at the largest count).
    qint64 manifestSize() const;

    // Decodes a manifest from its bytes. Only "config" and "layers" (and in each layer
    // "digest", "mediaType" and "size") are read, all required, with exact key names and
    // JSON types; "size" must be a whole number that fits in signed 64 bits, exactly as
    // written. On failure `error` gets the reason as a clause ("it is not valid JSON ..."),
    // to be completed with the file name by whoever knows it.
    static std::optional<OllamaManifest> decode(const QByteArray &bytes, QString *error = nullptr);

    // Reads and decodes one manifest file. Symbolic links, non-regular files and files
    // larger than maximumFileSize are refused. On failure `error` gets a full sentence
    // naming the file, fit to be shown to the user.
    static std::optional<OllamaManifest> read(const QString &path, QString *error = nullptr);
    // The same for a path as the file system spells it (names that are not valid text).
    static std::optional<OllamaManifest> readNative(const QByteArray &nativePath, QString *error = nullptr);

    // The blob file name of a digest: every "sha256:" becomes "sha256-", nothing else
    // changes. A name that could leave the blobs folder or not name a file in it (a "/",
    // ".", "..", empty, a NUL, a bare "sha256:" without a hash, or text the file system
    // cannot spell) gives nothing: such a digest is treated as a missing blob and is
    // never listed, counted, hashed or moved.
    static std::optional<QString> blobFileName(const QString &digest);
};
