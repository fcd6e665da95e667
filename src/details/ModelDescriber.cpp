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

// Runs job(0) to job(count - 1) on as many threads as the machine has cores, each
// thread taking at least `perThread` of them (starting a thread costs about as much as
// looking at a few hundred files' attributes).
void onEveryCore(qsizetype count, qsizetype perThread, const std::function<void(qsizetype)> &job)
{
    std::atomic<qsizetype> next = 0;
    const auto work = [&] {
        for (qsizetype i = next++; i < count; i = next++)
            job(i);
    };
    const qsizetype threads = std::clamp<qsizetype>(count / perThread, 1, std::max(1, QThread::idealThreadCount()));
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

} // namespace

ModelDescriber::ModelDescriber(const QString &cachePath) : m_cache(cachePath)
{
    // A small cache is read sooner than a thread starts: it is read when it is needed.
    const bool large = QFileInfo(cachePath).size() > 256 * 1024;
    m_cached = std::async(large ? std::launch::async : std::launch::deferred, [cache = m_cache] { return cache.load(); });
}

int ModelDescriber::describe(QList<DetectedModel> &models)
{
    const DetailsCacheFile::Entries cached = m_cached.get();
    QList<Key> unread;
    QHash<Key, qsizetype> unreadIndex; // a file two models share is read once
    const auto lookUp = [&](Lookup &lookup) {
        if (!lookup.key)
            return;
        if (const auto entry = cached.constFind(*lookup.key); entry != cached.cend()) {
            lookup.cached = &entry.value();
            return;
        }
        lookup.unread = unreadIndex.value(*lookup.key, unread.size());
        if (lookup.unread == unread.size()) {
            unreadIndex.insert(*lookup.key, lookup.unread);
            unread.append(*lookup.key);
        }
    };

    // The files as they are now (one lstat each), then where their answers are.
    QList<std::pair<Lookup, Lookup>> lookups(models.size());
    onEveryCore(models.size(), 500, [&](qsizetype i) {
        const DetectedModel &model = models[i];
        if (!model.isLeftover() && model.problem.isEmpty()) {
            lookups[i].first.key = keyOf(model.primaryFile, Reader::weights);
            lookups[i].second.key = keyOf(model.configFile, Reader::ollamaConfig);
        }
    });
    for (auto &[weights, config] : lookups) {
        lookUp(weights);
        lookUp(config);
    }

    // With nothing cached, reading the headers is most of a scan's work.
    QList<std::optional<ModelDetails>> read(unread.size());
    onEveryCore(unread.size(), 1, [&](qsizetype i) { read[i] = readFile(unread[i]); });
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
