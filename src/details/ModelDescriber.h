#pragma once

#include "catalogue/DetectedModel.h"
#include "details/DetailsCacheFile.h"

#include <QList>
#include <QString>
#include <future>

// Fills in what each model of a scan is (DetectedModel::details): from the lasting
// cache where it knows the file as it is now, else by reading the model's primary file
// and, for an Ollama model, its config blob (the weights' header wins where both say
// something). Leftovers and models whose files cannot be addressed exactly are not read.
// Runs inside the scan's background work.
class ModelDescriber
{
public:
    // One file as a reader reads it.
    struct FileRead
    {
        QString path;
        DetailsCacheFile::Reader reader = DetailsCacheFile::Reader::weights;
        friend bool operator==(const FileRead &, const FileRead &) = default;
    };
    using CurrentEntries = QHash<FileRead, std::pair<DetailsCacheFile::Key, std::optional<ModelDetails>>>;

    // Starts reading a large lasting cache and checking it against the files at once, on
    // a thread of its own, so that a scan which makes its describer first does not wait
    // for the cache after its walk.
    explicit ModelDescriber(const QString &cachePath = DetailsCacheFile::defaultPath());

    // Once only. Returns how many files it opened: none when the cache knew every one.
    int describe(QList<DetectedModel> &models);

private:
    DetailsCacheFile m_cache;
    std::future<CurrentEntries> m_cached;
};

size_t qHash(const ModelDescriber::FileRead &file, size_t seed = 0);
