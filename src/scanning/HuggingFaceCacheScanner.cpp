#include "scanning/HuggingFaceCacheScanner.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/UnfinishedDownloads.h"

#include <QFile>

#include <sys/stat.h>

namespace HuggingFaceCacheScanner {

namespace {
const QString modelPrefix = QStringLiteral("models--");
const QString separator = QStringLiteral("--");

// True for a real folder: a link in its place would lead out of the repository.
bool isRealFolder(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The repository's model, when it has a finished blob, then its unfinished downloads.
QList<DetectedModel> repositoryModels(const QString &repository, const QString &name, const UnfinishedDownloadNames &unfinished)
{
    const QString blobs = repository + QStringLiteral("/blobs");
    if (!isRealFolder(blobs))
        return {};
    UnfinishedDownloads downloads(unfinished, SourceTool::Kind::huggingFace);
    qint64 total = 0;
    QDateTime latest = distantPast();
    QString largest;
    qint64 largestSize = -1;
    DirectoryWalker::walk(blobs, [&](const DirectoryWalker::Entry &entry) {
        // An unfinished download is no part of the model; links and special files are never opened.
        if (downloads.take(entry, name) || entry.type() != DirectoryWalker::EntryType::regular)
            return;
        const FileAttributes attributes = entry.attributes();
        total = addSizes(total, attributes.size);
        latest = std::max(latest, attributes.modified);
        const std::optional<QString> path = entry.path();
        if (path && attributes.size > largestSize) {
            largest = *path;
            largestSize = attributes.size;
        }
    });
    if (largest.isEmpty())
        return downloads.leftovers();
    DetectedModel model = DetectedModel::create(name, SourceTool::Kind::huggingFace, {repository}, total, latest);
    model.offerPrimaryFile(largest, largestSize);
    return QList<DetectedModel>{model} + downloads.leftovers();
}
} // namespace

std::optional<QString> repositoryName(const QString &folderName)
{
    if (!folderName.startsWith(modelPrefix) || folderName.size() == modelPrefix.size())
        return std::nullopt;
    QString name = folderName.sliced(modelPrefix.size());
    const qsizetype split = name.indexOf(separator);
    if (split > 0)
        name.replace(split, separator.size(), QStringLiteral("/"));
    return name;
}

QList<DetectedModel> scan(const QString &cacheRoot, const UnfinishedDownloadNames &unfinished)
{
    QList<DetectedModel> models;
    const auto entries = DirectoryWalker::list(cacheRoot);
    if (!entries)
        return models;
    for (const DirectoryWalker::ListedEntry &entry : *entries) {
        if (entry.type != DirectoryWalker::EntryType::directory)
            continue;
        const std::optional<QString> name = repositoryName(entry.path.sliced(entry.path.lastIndexOf(QLatin1Char('/')) + 1));
        if (!name)
            continue;
        models += repositoryModels(entry.path, *name, unfinished);
    }
    return models;
}

} // namespace HuggingFaceCacheScanner
