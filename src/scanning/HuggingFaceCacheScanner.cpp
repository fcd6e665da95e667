#include "scanning/HuggingFaceCacheScanner.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/HuggingFaceRepository.h"
#include "scanning/UnfinishedDownloads.h"

#include <QFileInfo>
#include <QSet>

namespace HuggingFaceCacheScanner {

namespace {
using File = HuggingFaceRepository::File;
using Revision = HuggingFaceRepository::Revision;

const QString separator = QStringLiteral("--");

// The folder prefix of each kind of repository, and the kind the library calls it.
struct RepositoryKind
{
    const char16_t *prefix;
    const char16_t *repoType;
};
constexpr RepositoryKind repositoryKinds[] = {
    {u"models--", u"model"}, {u"datasets--", u"dataset"}, {u"spaces--", u"space"}};

void addFile(DetectedModel &entry, const FileAttributes &attributes)
{
    entry.sizeBytes = addSizes(entry.sizeBytes, attributes.size);
    entry.lastModified = std::max(entry.lastModified, attributes.modified);
}

DetectedModel entryOf(const RepositoryFolder &folder, const SourceTool &source, const QString &path)
{
    DetectedModel entry = DetectedModel::create(folder.name, source, {path}, 0, distantPast());
    entry.repoType = folder.repoType;
    return entry;
}

// An old revision: its snapshot folder (the files it holds and its links), then the blobs
// only it uses. A blob whose name is not text cannot be moved alone, so it stays with
// the repository. `claimed` gets the blobs it takes.
DetectedModel oldRevisionEntry(const HuggingFaceRepository &repository, const Revision &revision,
                               const RepositoryFolder &folder, const SourceTool &source, QSet<QByteArray> &claimed)
{
    DetectedModel leftover = entryOf(folder, source, revision.path);
    leftover.leftover = LeftoverKind::oldRevision;
    for (const File &file : revision.files)
        addFile(leftover, file.attributes);
    for (const QByteArray &name : repository.blobsOnlyUsedBy(revision)) {
        const std::optional<QString> path = repository.blobPath(name);
        if (!path)
            continue;
        claimed.insert(name);
        leftover.filePaths.append(*path);
        addFile(leftover, repository.blobs()[name]);
    }
    if (isDistantPast(leftover.lastModified))
        leftover.lastModified = FileAttributes::read(revision.path).modified;
    return leftover;
}

// The repository's entry, counting every finished file no old revision took, or nothing
// when there is none; then its old revisions.
QList<DetectedModel> repositoryEntries(const QString &path, const RepositoryFolder &folder,
                                       const HuggingFaceRepository &repository, const SourceTool &source)
{
    QList<DetectedModel> oldRevisions;
    QSet<QByteArray> claimed;
    for (const Revision &revision : repository.revisions()) {
        if (!revision.named)
            oldRevisions.append(oldRevisionEntry(repository, revision, folder, source, claimed));
    }

    DetectedModel model = entryOf(folder, source, path);
    // What the model is: the largest file of its current revisions, when links were read
    // to say which (the smallest name of equal ones, as the blobs come in no fixed order).
    std::optional<std::pair<qint64, QByteArray>> largestBlob;
    const auto consider = [&largestBlob](const QByteArray &name, qint64 size) {
        if (!largestBlob || size > largestBlob->first || (size == largestBlob->first && name < largestBlob->second))
            largestBlob = std::make_pair(size, name);
    };
    bool holdsFiles = false;
    for (auto blob = repository.blobs().cbegin(); blob != repository.blobs().cend(); ++blob) {
        if (claimed.contains(blob.key()))
            continue;
        holdsFiles = true;
        addFile(model, blob.value());
        if (oldRevisions.isEmpty())
            consider(blob.key(), blob.value().size);
    }
    for (const Revision &revision : repository.revisions()) {
        for (const QByteArray &blob : revision.named ? revision.blobs : QList<QByteArray>()) {
            if (const auto found = repository.blobs().constFind(blob); found != repository.blobs().cend())
                consider(blob, found->size);
        }
    }
    if (largestBlob) {
        if (const std::optional<QString> blob = repository.blobPath(largestBlob->second))
            model.offerPrimaryFile(*blob, largestBlob->first);
    }
    for (const Revision &revision : repository.revisions()) {
        for (const File &file : revision.named ? revision.files : QList<File>()) {
            holdsFiles = true;
            addFile(model, file.attributes);
            if (file.path)
                model.offerPrimaryFile(*file.path, file.attributes.size);
        }
    }
    if (!holdsFiles)
        return oldRevisions;
    return QList<DetectedModel>{model} + oldRevisions;
}
} // namespace

std::optional<RepositoryFolder> repositoryFolder(const QString &folderName)
{
    for (const RepositoryKind &kind : repositoryKinds) {
        const QString prefix = QString::fromUtf16(kind.prefix);
        if (!folderName.startsWith(prefix) || folderName.size() == prefix.size())
            continue;
        QString name = folderName.sliced(prefix.size());
        const qsizetype split = name.indexOf(separator);
        if (split > 0)
            name.replace(split, separator.size(), QStringLiteral("/"));
        return RepositoryFolder{QString::fromUtf16(kind.repoType), name};
    }
    return std::nullopt;
}

QList<DetectedModel> scan(const QString &cacheRoot, const QList<UnfinishedDownloadNames> &unfinished,
                          const SourceTool &source)
{
    QList<DetectedModel> models;
    const auto entries = DirectoryWalker::list(cacheRoot);
    if (!entries)
        return models;
    for (const DirectoryWalker::ListedEntry &entry : *entries) {
        if (entry.type != DirectoryWalker::EntryType::directory)
            continue;
        const std::optional<RepositoryFolder> folder = repositoryFolder(QFileInfo(entry.path).fileName());
        if (!folder)
            continue;
        UnfinishedDownloads downloads(unfinished, source);
        const HuggingFaceRepository repository = HuggingFaceRepository::read(
            entry.path, [&](const DirectoryWalker::Entry &blob) { return downloads.take(blob, folder->name); });
        models += repositoryEntries(entry.path, *folder, repository, source);
        for (DetectedModel leftover : downloads.leftovers()) {
            leftover.repoType = folder->repoType;
            models.append(leftover);
        }
    }
    return models;
}

} // namespace HuggingFaceCacheScanner
