#include "core/OllamaLeftovers.h"

#include "deletion/BlobLedger.h"
#include "scanning/DirectoryWalker.h"
#include "scanning/ScanRoutines.h"

#include <QFile>
#include <QHash>

#include <algorithm>

namespace OllamaLeftovers {

namespace {
const QByteArray blobPrefix("sha256-");
const QByteArray partialMarker("-partial");

// The name of the download a file belongs to ("sha256-x-partial" for itself and for
// "sha256-x-partial-3"), or nothing for any other file.
std::optional<QByteArray> downloadOf(QByteArrayView name)
{
    const qsizetype marker = name.indexOf(partialMarker);
    if (!name.startsWith(blobPrefix) || marker < 0)
        return std::nullopt;
    const QByteArrayView rest = name.sliced(marker + partialMarker.size());
    const bool part = rest.size() > 1 && rest.front() == '-'
        && std::all_of(rest.begin() + 1, rest.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!rest.isEmpty() && !part)
        return std::nullopt;
    return name.first(marker + partialMarker.size()).toByteArray();
}

// A leftover takes the space its files take on disk: a partial download is sparse.
void addFile(DetectedModel &entry, const DirectoryWalker::Entry &file)
{
    const FileAttributes attributes = file.attributes();
    ScanRoutines::addWalkedFile(entry, file, attributes, attributes.allocated);
}

QList<DetectedModel> inFolder(const BlobLedger::SharedFolder &folder)
{
    BlobLedger ledger(folder.stores);
    const bool counted = !ledger.count().has_value();
    QList<DetectedModel> partials, unused;
    QHash<QByteArray, qsizetype> partialIndex;
    const QString blobs = folder.stores.first().blobsDir();
    // The application keeping the store: Ollama, or AnythingLLM for its own Ollama's.
    const SourceTool source = folder.stores.first().source;
    const QByteArray nativeBlobs = QFile::encodeName(blobs);
    DirectoryWalker::walk(blobs, [&](const DirectoryWalker::Entry &entry) {
        // Only the folder's own files: anything in a subfolder is no blob of Ollama's.
        if (entry.type() != DirectoryWalker::EntryType::regular || entry.folderNativePath() != nativeBlobs)
            return;
        const QString name = QString::fromUtf8(entry.name());
        if (const std::optional<QByteArray> download = downloadOf(entry.name())) {
            auto found = partialIndex.constFind(*download);
            if (found == partialIndex.constEnd()) {
                found = partialIndex.insert(*download, partials.size());
                DetectedModel leftover = DetectedModel::create(QString::fromUtf8(*download), source, {}, 0, distantPast());
                leftover.leftover = LeftoverKind::partialDownload;
                partials.append(leftover);
            }
            addFile(partials[*found], entry);
        } else if (counted && entry.name().startsWith(blobPrefix) && !entry.name().contains(partialMarker)
                   && !ledger.isNamed(name)) {
            DetectedModel leftover = DetectedModel::create(name, source, {}, 0, distantPast());
            leftover.leftover = LeftoverKind::unreferencedBlob;
            addFile(leftover, entry);
            unused.append(leftover);
        }
    });
    return partials + unused;
}
} // namespace

QList<DetectedModel> find(const QList<OllamaStore> &stores)
{
    QList<DetectedModel> leftovers;
    for (const auto &[name, folder] : BlobLedger::byBlobsFolder(stores)) {
        if (folder.key)
            leftovers += inFolder(folder);
    }
    return leftovers;
}

} // namespace OllamaLeftovers
