#include "details/ModelDescriber.h"

#include "details/ModelFileReader.h"
#include "details/OllamaConfigReader.h"

#include <QThread>

#include <algorithm>
#include <atomic>
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

// Every file, on as many threads as the machine has cores: with nothing cached, reading
// the headers is most of a scan's work.
QList<std::optional<ModelDetails>> readAll(const QList<Key> &keys)
{
    QList<std::optional<ModelDetails>> results(keys.size());
    std::atomic<qsizetype> next = 0;
    const auto work = [&] {
        for (qsizetype i = next++; i < keys.size(); i = next++)
            results[i] = readFile(keys[i]);
    };
    std::vector<std::thread> helpers(size_t(std::max<qsizetype>(0, std::min<qsizetype>(QThread::idealThreadCount(), keys.size()) - 1)));
    for (std::thread &helper : helpers)
        helper = std::thread(work);
    work();
    for (std::thread &helper : helpers)
        helper.join();
    return results;
}

struct ModelKeys
{
    std::optional<Key> weights;
    std::optional<Key> config;
};

} // namespace

ModelDescriber::ModelDescriber(const QString &cachePath)
    : m_cache(cachePath), m_cached(std::async(std::launch::async, [cache = m_cache] { return cache.load(); }))
{
}

int ModelDescriber::describe(QList<DetectedModel> &models)
{
    const DetailsCacheFile::Entries cached = m_cached.get();
    DetailsCacheFile::Entries known; // every file this scan looks at, found or read
    QList<Key> unread;
    const auto lookUp = [&](const std::optional<Key> &key) {
        if (!key || known.contains(*key))
            return;
        const auto entry = cached.constFind(*key);
        const bool isCached = entry != cached.cend();
        known.insert(*key, isCached ? entry.value() : std::nullopt);
        if (!isCached)
            unread.append(*key);
    };

    QList<ModelKeys> keys(models.size());
    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models[i];
        if (model.isLeftover() || !model.problem.isEmpty())
            continue;
        keys[i] = {keyOf(model.primaryFile, Reader::weights), keyOf(model.configFile, Reader::ollamaConfig)};
        lookUp(keys[i].weights);
        lookUp(keys[i].config);
    }

    const QList<std::optional<ModelDetails>> read = readAll(unread);
    for (qsizetype i = 0; i < unread.size(); ++i)
        known.insert(unread[i], read[i]);

    for (qsizetype i = 0; i < models.size(); ++i) {
        const std::optional<ModelDetails> weights = keys[i].weights ? known.value(*keys[i].weights) : std::nullopt;
        const std::optional<ModelDetails> config = keys[i].config ? known.value(*keys[i].config) : std::nullopt;
        if (!weights && !config) {
            models[i].details.reset();
            continue;
        }
        if (!keys[i].config) {
            models[i].details = weights;
            continue;
        }
        // An Ollama model: its weights' header first, what it leaves open from the config.
        ModelDetails details = weights ? weights->completedBy(config.value_or(ModelDetails())) : *config;
        details.format = ModelDetails::Format::ollama;
        models[i].details = details;
    }

    if (!unread.isEmpty())
        m_cache.save(known);
    return int(unread.size());
}
