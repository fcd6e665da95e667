// Any bytes as an Ollama manifest: decoding never crashes, a refusal always says why, an
// accepted manifest survives being written back out, and no digest ever yields a blob
// name that could reach outside the blobs folder.
#include "FuzzCheck.h"

#include "scanning/OllamaManifest.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>

namespace {
QJsonObject layerJson(const OllamaManifestLayer &layer)
{
    return {{QStringLiteral("digest"), layer.digest},
            {QStringLiteral("mediaType"), layer.mediaType},
            {QStringLiteral("size"), layer.size}};
}

bool sameLayer(const OllamaManifestLayer &a, const OllamaManifestLayer &b)
{
    return a.digest == b.digest && a.mediaType == b.mediaType && a.size == b.size;
}

bool isUnsafeBlobName(const QString &name)
{
    return name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..")
        || name.contains(QLatin1Char('/')) || name.contains(QChar(u'\0'));
}

void checkBlobName(const QString &digest)
{
    QString replaced = digest;
    replaced.replace(QStringLiteral("sha256:"), QStringLiteral("sha256-"));
    const std::optional<QString> name = OllamaManifest::blobFileName(digest);
    if (!name) {
        // Refused only when the name is unsafe, names no content, or cannot be spelled on disk.
        require(isUnsafeBlobName(replaced) || replaced == QLatin1String("sha256-")
                    || QFile::decodeName(QFile::encodeName(replaced)) != replaced,
                "only unusable digests are refused");
        return;
    }
    require(!isUnsafeBlobName(*name), "a blob name stays inside the blobs folder");
    require(*name == replaced, "a blob name is the digest with sha256: made sha256-");
    const QByteArray native = QFile::encodeName(*name);
    require(!native.isEmpty() && native != "." && native != ".." && !native.contains('/') && !native.contains('\0'),
            "a blob name's bytes on disk stay inside the blobs folder");
}

void checkSize(const OllamaManifest &manifest)
{
    qint64 total = manifest.config.size;
    for (const OllamaManifestLayer &layer : manifest.layers) {
        if (__builtin_add_overflow(total, layer.size, &total))
            return; // stopping the program on an overflowing total is the documented outcome
    }
    require(manifest.manifestSize() == total, "the total size is the sum of the stated sizes");
}

void checkRoundTrip(const OllamaManifest &manifest)
{
    QJsonArray layers;
    for (const OllamaManifestLayer &layer : manifest.layers)
        layers.append(layerJson(layer));
    const QByteArray written =
        QJsonDocument(QJsonObject{{QStringLiteral("config"), layerJson(manifest.config)}, {QStringLiteral("layers"), layers}})
            .toJson(QJsonDocument::Compact);
    const std::optional<OllamaManifest> again = OllamaManifest::decode(written);
    require(again.has_value(), "a decoded manifest, written back, decodes again");
    require(sameLayer(again->config, manifest.config) && again->layers.size() == manifest.layers.size(),
            "a decoded manifest, written back, keeps its config and layer count");
    for (qsizetype i = 0; i < manifest.layers.size(); ++i)
        require(sameLayer(again->layers[i], manifest.layers[i]), "a decoded manifest, written back, keeps every layer");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Not copied: a read beyond the input is caught by the address sanitizer.
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const std::optional<OllamaManifest> manifest = OllamaManifest::decode(bytes, &error);
    if (!manifest) {
        require(!error.isEmpty(), "a refused manifest says why");
        return 0;
    }
    const QStringList digests = manifest->allDigests();
    require(digests.size() == manifest->layers.size() + 1 && digests.first() == manifest->config.digest,
            "all digests are the config's, then each layer's");
    for (const QString &digest : digests)
        checkBlobName(digest);
    checkSize(*manifest);
    checkRoundTrip(*manifest);
    return 0;
}
