#include "details/ModelDescriber.h"

#include "details/ModelFileReader.h"
#include "details/OllamaConfigReader.h"

#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

using Key = DetailsCacheFile::Key;
using Reader = DetailsCacheFile::Reader;

// The key of a file as it is now; nothing when it is gone.
std::optional<Key> keyOf(const QString &path, Reader reader)
{
    if (path.isEmpty())
        return std::nullopt;
    const SHACacheKey file = SHACacheKey::forFile(path);
    return file.inode == 0 ? std::nullopt : std::optional<Key>(Key{file, reader});
}

std::optional<ModelDetails> readFile(const Key &key)
{
    return key.reader == Reader::ollamaConfig ? OllamaConfigReader::read(key.file.path)
                                              : ModelFileReader::read(key.file.path);
}

// Runs job(0) to job(count - 1) on as many threads as the machine has cores.
void onEveryCore(qsizetype count, const std::function<void(qsizetype)> &job)
{
    std::atomic<qsizetype> next = 0;
    const auto work = [&] {
        for (qsizetype i = next++; i < count; i = next++)
            job(i);
    };
    const qsizetype threads = std::clamp<qsizetype>(count, 1, std::max(1, QThread::idealThreadCount()));
    std::vector<std::thread> helpers(size_t(threads - 1));
    for (std::thread &helper : helpers)
        helper = std::thread(work);
    work();
    for (std::thread &helper : helpers)
        helper.join();
}

// Where one file's answer is: in the cache, or among the files read by this scan.
struct Lookup
{
    std::optional<Key> key;
    const std::optional<ModelDetails> *cached = nullptr;
    qsizetype unread = -1;
};

// An Ollama model (one with a config): its weights' header first, what it leaves open
// from the config.
std::optional<ModelDetails> combined(const std::optional<ModelDetails> &weights, const std::optional<ModelDetails> &config,
                                     bool hasConfig)
{
    if (!hasConfig || (!weights && !config))
        return weights;
    ModelDetails details = weights ? weights->completedBy(config.value_or(ModelDetails())) : *config;
    details.format = ModelDetails::Format::ollama;
    return details;
}

// The cache's entries whose files are as they were when they were kept (one lstat
// each), by path and reader.
ModelDescriber::CurrentEntries currentEntries(const DetailsCacheFile::Entries &entries)
{
    ModelDescriber::CurrentEntries current;
    current.reserve(entries.size());
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        const Key &key = entry.key();
        if (SHACacheKey::forFile(key.file.path) == key.file)
            current.insert({key.file.path, key.reader}, {key, entry.value()});
    }
    return current;
}

} // namespace

ModelDescriber::ModelDescriber(const QString &cachePath) : m_cache(cachePath)
{
    // A small cache is read and checked sooner than a thread starts: that is done when it
    // is needed. A large one is read and checked against the files at once, on a thread
    // of its own, while the scan walks the folders.
    const bool large = QFileInfo(cachePath).size() > 256 * 1024;
    m_cached = std::async(large ? std::launch::async : std::launch::deferred,
                          [cache = m_cache] { return currentEntries(cache.load()); });
}

int ModelDescriber::describe(QList<DetectedModel> &models)
{
    const CurrentEntries cached = m_cached.get();
    QList<Key> unread;
    QHash<Key, qsizetype> unreadIndex; // a file two models share is read once
    const auto lookUp = [&](const QString &path, Reader reader) {
        Lookup lookup;
        if (path.isEmpty())
            return lookup;
        if (const auto entry = cached.constFind({path, reader}); entry != cached.cend()) {
            lookup.key = entry->first;
            lookup.cached = &entry->second;
            return lookup;
        }
        lookup.key = keyOf(path, reader); // a file the cache does not know as it is now
        if (!lookup.key)
            return lookup;
        lookup.unread = unreadIndex.value(*lookup.key, unread.size());
        if (lookup.unread == unread.size()) {
            unreadIndex.insert(*lookup.key, lookup.unread);
            unread.append(*lookup.key);
        }
        return lookup;
    };
    QList<std::pair<Lookup, Lookup>> lookups(models.size());
    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models[i];
        if (!model.isLeftover() && model.problem.isEmpty())
            lookups[i] = {lookUp(model.primaryFile, Reader::weights), lookUp(model.configFile, Reader::ollamaConfig)};
    }

    // With nothing cached, reading the headers is most of a scan's work.
    QList<std::optional<ModelDetails>> read(unread.size());
    onEveryCore(unread.size(), [&](qsizetype i) { read[i] = readFile(unread[i]); });
    const auto answer = [&](const Lookup &lookup) -> const std::optional<ModelDetails> & {
        static const std::optional<ModelDetails> none;
        return lookup.cached ? *lookup.cached : lookup.unread >= 0 ? read[lookup.unread] : none;
    };
    for (qsizetype i = 0; i < models.size(); ++i) {
        const auto &[weights, config] = lookups[i];
        models[i].details = combined(answer(weights), answer(config), config.key.has_value());
    }

    if (!unread.isEmpty()) {
        // The cache keeps what this scan looked at, found or read; the rest waits in the file.
        DetailsCacheFile::Entries known;
        for (const auto &[weights, config] : std::as_const(lookups)) {
            for (const Lookup *lookup : {&weights, &config}) {
                if (lookup->key)
                    known.insert(*lookup->key, answer(*lookup));
            }
        }
        m_cache.save(known);
    }
    return int(unread.size());
}

size_t qHash(const ModelDescriber::FileRead &file, size_t seed)
{
    return qHashMulti(seed, file.path, int(file.reader));
}
