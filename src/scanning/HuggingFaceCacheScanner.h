#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"

#include <QList>
#include <QString>
#include <optional>

// The Hugging Face hub cache: one model per models--ORG--NAME repository directly in
// the cache folder. A repository keeps its files once, in blobs/; snapshots/ holds
// links into blobs/ per revision, so only blobs/ is counted and no link is followed.
// The repository folder is the model's one path, so trashing moves it whole and a
// restore brings its links back working; verification compares its largest blob. An
// unfinished download among the blobs is a leftover of its own, named after the repository.
namespace HuggingFaceCacheScanner {

QList<DetectedModel> scan(const QString &cacheRoot, const UnfinishedDownloadNames &unfinished);

// "ORG/NAME" for a folder named "models--ORG--NAME" ("NAME" for "models--NAME"), or
// nothing for a folder that holds no model (datasets--, spaces--, anything else).
std::optional<QString> repositoryName(const QString &folderName);

} // namespace HuggingFaceCacheScanner
