// A small Ollama store written from the input (up to six manifests, separated by lines
// of "----"): the reference counts are exact, and the blobs that deleting some of the
// manifests would free are files directly inside the blobs folder that no other
// manifest names, and all of them.
#include "FuzzCheck.h"
#include "FuzzTempDir.h"

#include "deletion/BlobReferenceManager.h"
#include "scanning/OllamaManifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace {
struct Part
{
    QString relativePath; // below the manifests folder
    bool visible;         // hidden files are never read as manifests
};

// Where each part goes: the default registry at the usual and a deeper depth, another
// registry, a hidden file and a file directly in the manifests folder.
const Part parts[] = {
    {QStringLiteral("registry.ollama.ai/library/m0/latest"), true},
    {QStringLiteral("registry.ollama.ai/someone/m1/q4"), true},
    {QStringLiteral("hf.co/org/m2/latest"), true},
    {QStringLiteral("registry.ollama.ai/library/m3/deep/er/tag"), true},
    {QStringLiteral("registry.ollama.ai/library/m4/.latest"), false},
    {QStringLiteral("m5"), true},
};
constexpr qsizetype partCount = sizeof(parts) / sizeof(parts[0]);

QList<QByteArray> splitInput(const QByteArray &input)
{
    static const QByteArray separator("\n----\n");
    QList<QByteArray> pieces;
    qsizetype start = 0;
    while (pieces.size() < partCount - 1) {
        const qsizetype at = input.indexOf(separator, start);
        if (at < 0)
            break;
        pieces.append(input.sliced(start, at - start));
        start = at + separator.size();
    }
    pieces.append(input.sliced(start));
    return pieces;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "the store can be written");
}

// The blob names a manifest refers to, one entry per reference.
QStringList blobNames(const OllamaManifest &manifest)
{
    QStringList names;
    for (const QString &digest : manifest.allDigests()) {
        if (const std::optional<QString> name = OllamaManifest::blobFileName(digest))
            names.append(*name);
    }
    return names;
}

struct Store
{
    QString modelsDir;
    QStringList manifestPaths;                        // per part
    QList<std::optional<OllamaManifest>> manifests;  // per part, when it decodes
};

Store writeStore(const QList<QByteArray> &pieces)
{
    const FuzzTempDir &scratch = FuzzTempDir::instance();
    Store store;
    store.modelsDir = scratch.filePath(QStringLiteral("store/models"));
    QDir(scratch.filePath(QStringLiteral("store"))).removeRecursively();
    // Files a crafted digest might try to reach from the blobs folder.
    writeFile(scratch.filePath(QStringLiteral("store/secret")), "outside the store");
    writeFile(store.modelsDir + QStringLiteral("/secret"), "beside the blobs");
    writeFile(store.modelsDir + QStringLiteral("/blobs/sha256-unreferenced"), "no manifest names this");

    const QString blobsDir = store.modelsDir + QStringLiteral("/blobs");
    const QByteArray nativeBlobsDir = QFile::encodeName(blobsDir);
    const int blobsFd = ::open(nativeBlobsDir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(blobsFd >= 0, "the blobs folder can be opened");
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        const QString path = store.modelsDir + QStringLiteral("/manifests/") + parts[i].relativePath;
        writeFile(path, pieces[i]);
        store.manifestPaths.append(path);
        store.manifests.append(OllamaManifest::decode(pieces[i]));
        if (!store.manifests.last())
            continue;
        // Created relative to the blobs folder and never through a link, whatever the name says.
        for (const QString &name : blobNames(*store.manifests.last())) {
            const int fd = ::openat(blobsFd, QFile::encodeName(name).constData(),
                                    O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
            if (fd >= 0)
                ::close(fd);
        }
    }
    ::close(blobsFd);
    return store;
}

void checkExclusiveBlobs(const Store &store, const BlobReferenceManager &manager, const QHash<QString, qint64> &counts,
                         const QList<qsizetype> &deleted)
{
    QStringList paths;
    QSet<QString> namedByDeleted;
    for (const qsizetype i : deleted) {
        paths.append(store.manifestPaths[i]);
        for (const QString &name : blobNames(*store.manifests[i]))
            namedByDeleted.insert(name);
    }
    QSet<QString> namedBySurvivors;
    for (qsizetype i = 0; i < store.manifests.size(); ++i) {
        if (parts[i].visible && !deleted.contains(i))
            for (const QString &name : blobNames(*store.manifests[i]))
                namedBySurvivors.insert(name);
    }

    QString error;
    const std::optional<QStringList> freed = manager.exclusiveBlobs(paths, counts, &error);
    require(freed.has_value(), "manifests that were counted can be deleted");
    const QString blobsDir = manager.blobsDir();
    QSet<QString> freedNames;
    for (const QString &blob : *freed) {
        const QFileInfo info(blob);
        require(info.absolutePath() == blobsDir && QDir::cleanPath(blob) == blob,
                "a freed blob lies directly inside the blobs folder");
        require(namedByDeleted.contains(info.fileName()), "a freed blob is named by a deleted manifest");
        require(!namedBySurvivors.contains(info.fileName()), "a freed blob is named by no surviving manifest");
        require(info.isFile() && !info.isSymLink(), "a freed blob is an existing file");
        freedNames.insert(info.fileName());
    }
    for (const QString &name : namedByDeleted) {
        if (!namedBySurvivors.contains(name) && QFileInfo(blobsDir + QLatin1Char('/') + name).isFile())
            require(freedNames.contains(name), "every blob only the deleted manifests name is freed");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QList<QByteArray> pieces = splitInput(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    const Store store = writeStore(pieces);
    const BlobReferenceManager manager(store.modelsDir + QStringLiteral("/manifests"),
                                       store.modelsDir + QStringLiteral("/blobs"));

    QString error;
    const std::optional<QHash<QString, qint64>> counts = manager.referenceCounts(&error);
    bool allDecode = true;
    QHash<QString, qint64> expected;
    for (qsizetype i = 0; i < store.manifests.size(); ++i) {
        if (!parts[i].visible)
            continue;
        if (!store.manifests[i]) {
            allDecode = false;
            continue;
        }
        for (const QString &name : blobNames(*store.manifests[i]))
            ++expected[name];
    }
    require(counts.has_value() == allDecode, "the count fails exactly when a visible manifest does not decode");
    if (!counts) {
        require(!error.isEmpty(), "a failed count says why");
        return 0;
    }
    require(*counts == expected, "each blob is counted once per reference");

    QList<qsizetype> visible;
    for (qsizetype i = 0; i < store.manifests.size(); ++i) {
        if (parts[i].visible) {
            visible.append(i);
            checkExclusiveBlobs(store, manager, *counts, {i});
        }
    }
    checkExclusiveBlobs(store, manager, *counts, visible);
    if (visible.size() > 2)
        checkExclusiveBlobs(store, manager, *counts, visible.first(2));
    return 0;
}
