#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"

#include <QList>
#include <QString>
#include <optional>

// A cache in the Hugging Face layout (the hub cache, or llama.cpp's own since March
// 2026): one entry per models--, datasets-- or spaces--ORG--NAME repository directly in
// the cache folder, with its repoType. A repository keeps its files once, in blobs/, and
// links to them per revision in snapshots/; where no links could be made a snapshot
// holds the files themselves, and those count. No link is followed.
//
// The repository folder is the entry's one path, so trashing moves it whole and a
// restore brings its links back working; verification compares its largest file. When
// refs/ tells the current revisions from the old (HuggingFaceRepository), each revision
// no ref names is a leftover of its own ("oldRevision", named after the repository): its
// snapshot folder first, then the blobs only it uses, so moving it leaves every named
// revision whole; the repository then counts everything else. An unfinished download
// among the blobs is a leftover of its own, named after the repository.
namespace HuggingFaceCacheScanner {

QList<DetectedModel> scan(const QString &cacheRoot, const QList<UnfinishedDownloadNames> &unfinished,
                          const SourceTool &source);

struct RepositoryFolder
{
    QString repoType; // "model", "dataset" or "space"
    QString name;     // "ORG/NAME", or "NAME" for a repository without an organisation
};
// What a folder directly in the cache holds, or nothing for anything but a repository.
std::optional<RepositoryFolder> repositoryFolder(const QString &folderName);

} // namespace HuggingFaceCacheScanner
