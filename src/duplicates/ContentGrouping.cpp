#include "duplicates/ContentGrouping.h"

#include "duplicates/FileHasher.h"
#include "scanning/StoreDigest.h"

#include <QHash>

#include <algorithm>

namespace {
// The sample digest of a model's primary file, or nothing when it cannot be read.
std::optional<QByteArray> sampleOf(const DetectedModel &model)
{
    const DigestResult sample = FileHasher::sampleDigest(model.primaryFile, nullptr, ContentGrouping::sampleBlock);
    const QByteArray *digest = std::get_if<QByteArray>(&sample);
    return digest ? std::optional(*digest) : std::nullopt;
}
} // namespace

ContentGrouping::Candidates ContentGrouping::candidates(const QList<DetectedModel> &models)
{
    QHash<qint64, QList<qsizetype>> bySize;
    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models.at(i);
        // A leftover is no copy of a model, and a model with a problem is never read.
        if (!model.isLeftover() && model.problem.isEmpty() && !model.primaryFile.isEmpty()
            && model.primaryFileSize >= minimumSize)
            bySize[model.primaryFileSize].append(i);
    }
    QList<std::pair<qint64, QList<qsizetype>>> shared;
    for (auto bucket = bySize.cbegin(); bucket != bySize.cend(); ++bucket) {
        if (bucket.value().size() > 1)
            shared.append({bucket.key(), bucket.value()});
    }
    // The largest files waste the most space: they are looked at first.
    std::sort(shared.begin(), shared.end(), [](const auto &a, const auto &b) { return a.first > b.first; });

    Candidates found;
    qsizetype left = fileBudget;
    for (const auto &[size, positions] : std::as_const(shared)) {
        if (positions.size() > left) {
            found.notCompared += positions.size();
            continue;
        }
        left -= positions.size();
        found.sameSize.append(positions);
    }
    return found;
}

QList<QList<qsizetype>> ContentGrouping::compare(const QList<DetectedModel> &models, const QList<qsizetype> &sameSize)
{
    // Models whose stores name a digest: grouped by it without reading. The digests in the
    // order first met, so the result does not depend on hashing order.
    QList<QByteArray> digests;
    QHash<QByteArray, QList<qsizetype>> byDigest;
    QList<qsizetype> unnamed;
    for (const qsizetype i : sameSize) {
        const std::optional<QByteArray> digest = StoreDigest::of(models.at(i));
        if (!digest) {
            unnamed.append(i);
            continue;
        }
        if (!byDigest.contains(*digest))
            digests.append(*digest);
        byDigest[*digest].append(i);
    }

    QList<QList<qsizetype>> sets;
    if (!unnamed.isEmpty()) {
        // The others are sampled, and so is one file of each named digest, for them to join.
        QList<QByteArray> samples;
        QHash<QByteArray, QList<qsizetype>> unnamedBySample;
        for (const qsizetype i : std::as_const(unnamed)) {
            if (const std::optional<QByteArray> sample = sampleOf(models.at(i))) {
                if (!unnamedBySample.contains(*sample))
                    samples.append(*sample);
                unnamedBySample[*sample].append(i);
            }
        }
        QHash<QByteArray, QList<QByteArray>> digestsBySample;
        for (const QByteArray &digest : std::as_const(digests)) {
            for (const qsizetype i : byDigest.value(digest)) {
                if (const std::optional<QByteArray> sample = sampleOf(models.at(i))) {
                    digestsBySample[*sample].append(digest);
                    break;
                }
            }
        }
        for (const QByteArray &sample : std::as_const(samples)) {
            // Alike in their samples: they join the first named digest that matches them (two
            // would match only if a store misnamed a file), else they are a set of their own.
            const QList<QByteArray> matching = digestsBySample.value(sample);
            if (!matching.isEmpty())
                byDigest[matching.first()] += unnamedBySample.value(sample);
            else
                sets.append(unnamedBySample.value(sample));
        }
    }
    for (const QByteArray &digest : std::as_const(digests))
        sets.append(byDigest.value(digest));

    QList<QList<qsizetype>> found;
    for (QList<qsizetype> &set : sets) {
        if (set.size() < 2)
            continue;
        std::sort(set.begin(), set.end());
        found.append(set);
    }
    return found;
}
