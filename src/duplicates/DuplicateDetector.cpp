#include "duplicates/DuplicateDetector.h"

#include "duplicates/ContentGrouping.h"
#include "files/SpinningDisk.h"

#include <QFile>
#include <QMutexLocker>
#include <QSet>
#include <QRegularExpression>
#include <QScopeGuard>

#include <numeric>
#include <sys/stat.h>

namespace {

// Tried in this order, each once; see normalizedName.
const QStringList &quantisationSuffixes()
{
    static const QStringList suffixes{
        QStringLiteral("-q4_k_m"), QStringLiteral("-q4_k_s"), QStringLiteral("-q4_0"), QStringLiteral("-q4_1"),
        QStringLiteral("-q5_k_m"), QStringLiteral("-q5_k_s"), QStringLiteral("-q5_0"), QStringLiteral("-q5_1"),
        QStringLiteral("-q6_k"),   QStringLiteral("-q8_0"),   QStringLiteral("-q2_k"), QStringLiteral("-q3_k"),
        QStringLiteral("-fp16"),   QStringLiteral("-bf16"),   QStringLiteral("-fp32"),
        QStringLiteral("q4_k_m"),  QStringLiteral("q4_k_s"),  QStringLiteral("q4_0"),  QStringLiteral("q4_1"),
        QStringLiteral("q5_k_m"),  QStringLiteral("q5_k_s"),  QStringLiteral("q5_0"),  QStringLiteral("q5_1"),
        QStringLiteral("q6_k"),    QStringLiteral("q8_0"),    QStringLiteral("q2_k"),  QStringLiteral("q3_k"),
        QStringLiteral("fp16"),    QStringLiteral("bf16"),    QStringLiteral("fp32"),
    };
    return suffixes;
}

qint64 sizeOnDisk(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? qint64(info.st_size) : 0;
}

// The first file that is the very same file on disk as an earlier one in the list (one
// file found through two folders, or a hard link), or nothing.
std::optional<QString> sameFileTwice(const QStringList &files)
{
    QSet<std::pair<dev_t, ino_t>> seen;
    for (const QString &file : files) {
        struct stat info {};
        if (::lstat(QFile::encodeName(file).constData(), &info) != 0)
            continue;
        if (seen.contains({info.st_dev, info.st_ino}))
            return file;
        seen.insert({info.st_dev, info.st_ino});
    }
    return std::nullopt;
}

} // namespace

QString DuplicateDetector::sameFileReason()
{
    return QStringLiteral("Found twice, but it is one file on disk with several names, not two copies; moving one name to the Trash frees no space.");
}

QString DuplicateDetector::normalizedName(const QString &name)
{
    QString text = name.toLower();

    // One pass in list order: a suffix uncovered by a later removal is not tried again.
    for (const QString &suffix : quantisationSuffixes()) {
        if (text.endsWith(suffix))
            text.chop(suffix.size());
    }

    const qsizetype slash = text.indexOf(QLatin1Char('/'));
    if (slash >= 0)
        text.remove(0, slash + 1);

    static const QRegularExpression separators(QStringLiteral("[-_:.() ]+"));
    text.replace(separators, QStringLiteral("-"));

    qsizetype first = 0;
    qsizetype end = text.size();
    while (first < end && text.at(first) == QLatin1Char('-'))
        ++first;
    while (end > first && text.at(end - 1) == QLatin1Char('-'))
        --end;
    return text.sliced(first, end - first);
}

qint64 DuplicateDetector::roundedSize(qint64 size)
{
    // Self-relative on purpose: the grain is about 1% of this very size. Negative sizes
    // give a grain below 1, hence 1, and stay as they are.
    qint64 grain = qint64(double(size) * 0.01);
    if (grain < 1)
        grain = 1;
    qint64 rounded = 0;
    if (__builtin_mul_overflow(size / grain, grain, &rounded))
        qFatal("model size %lld cannot be rounded", static_cast<long long>(size));
    return rounded;
}

QString DuplicateDetector::groupKey(const DetectedModel &model)
{
    return normalizedName(model.displayName) + QLatin1Char('|') + QString::number(roundedSize(model.sizeBytes));
}

namespace {

// Positions joined into groups by either rule; a model found by both joins one group. The
// standard library has no disjoint-set structure, and this one is a few lines.
class Links
{
public:
    explicit Links(qsizetype count) : m_parent(count) { std::iota(m_parent.begin(), m_parent.end(), 0); }
    void join(const QList<qsizetype> &set)
    {
        for (const qsizetype i : set)
            m_parent[root(i)] = root(set.first());
    }
    qsizetype root(qsizetype i)
    {
        while (m_parent[i] != i)
            i = m_parent[i] = m_parent[m_parent[i]];
        return i;
    }

private:
    QList<qsizetype> m_parent;
};

// The positions of `set` without those of `left`.
QList<qsizetype> leaving(const QList<qsizetype> &set, const QSet<qsizetype> &left)
{
    QList<qsizetype> kept;
    std::copy_if(set.begin(), set.end(), std::back_inserter(kept), [&](qsizetype i) { return !left.contains(i); });
    return kept;
}

} // namespace

qsizetype DuplicateDetector::markDuplicates(QList<DetectedModel> &models) const
{
    // The name rule: one pass to bucket positions by key; no file is read.
    QHash<QString, QList<qsizetype>> positionsByKey;
    positionsByKey.reserve(models.size());
    for (qsizetype i = 0; i < models.size(); ++i) {
        // A leftover is no copy of a model: it is never grouped, so never hashed either.
        if (!models.at(i).isLeftover())
            positionsByKey[groupKey(models.at(i))].append(i);
    }
    QList<QList<qsizetype>> byName;
    for (const QList<qsizetype> &positions : std::as_const(positionsByKey)) {
        if (positions.size() > 1)
            byName.append(positions);
    }
    const ContentGrouping::Candidates bySize = ContentGrouping::candidates(models);

    // One file reached under two models (a hard link, a bind mount, a folder reached twice)
    // is no copy: only the first of them in the list may join a group. Only the models
    // either rule would group are looked at.
    QList<qsizetype> looked;
    for (const QList<qsizetype> &set : std::as_const(byName) + bySize.sameSize)
        looked += set;
    std::sort(looked.begin(), looked.end());
    looked.erase(std::unique(looked.begin(), looked.end()), looked.end());
    // A primary file that is gone, or changed since the walk measured it, is compared by
    // content no more.
    QSet<qsizetype> secondNames;
    QSet<qsizetype> changed;
    QSet<std::pair<quint64, quint64>> seen;
    for (const qsizetype i : std::as_const(looked)) {
        struct stat info {};
        const DetectedModel &model = models.at(i);
        if (model.primaryFile.isEmpty() || ::lstat(QFile::encodeName(model.primaryFile).constData(), &info) != 0
            || !S_ISREG(info.st_mode)) {
            changed.insert(i);
            continue;
        }
        if (qint64(info.st_size) != model.primaryFileSize)
            changed.insert(i);
        if (seen.contains({info.st_dev, info.st_ino}))
            secondNames.insert(i);
        seen.insert({info.st_dev, info.st_ino});
    }

    Links links(models.size());
    for (const QList<qsizetype> &set : std::as_const(byName)) {
        if (const QList<qsizetype> kept = leaving(set, secondNames); kept.size() > 1)
            links.join(kept);
    }
    for (const QList<qsizetype> &sameSize : bySize.sameSize) {
        for (const QList<qsizetype> &set : ContentGrouping::compare(models, leaving(sameSize, secondNames + changed)))
            links.join(set);
    }

    // Every set of two or more gets a fresh identifier; a model alone is left as it was.
    QHash<qsizetype, QList<qsizetype>> groups;
    for (const qsizetype i : std::as_const(looked)) {
        if (!secondNames.contains(i))
            groups[links.root(i)].append(i);
    }
    for (const QList<qsizetype> &members : std::as_const(groups)) {
        if (members.size() < 2)
            continue;
        const QUuid group = QUuid::createUuid();
        for (const qsizetype i : members) {
            models[i].duplicateGroup = group;
            models[i].duplicateVerificationStatus = DuplicateVerificationStatus::unverified();
        }
    }
    return bySize.notCompared;
}

std::variant<QStringList, DuplicateHashError> DuplicateDetector::primaryFiles(const QList<DetectedModel> &members)
{
    QStringList primaries;
    primaries.reserve(members.size());
    for (const DetectedModel &member : members) {
        if (member.filePaths.isEmpty())
            return DuplicateHashError::missingPrimaryFile();
        if (!member.primaryFile.isEmpty()) {
            primaries.append(member.primaryFile);
            continue;
        }
        QString largest = member.filePaths.first();
        qint64 largestSize = sizeOnDisk(largest);
        for (qsizetype i = 1; i < member.filePaths.size(); ++i) {
            const qint64 size = sizeOnDisk(member.filePaths.at(i));
            if (size > largestSize) {
                largest = member.filePaths.at(i);
                largestSize = size;
            }
        }
        primaries.append(largest);
    }
    return primaries;
}

std::optional<QByteArray> DuplicateDetector::cachedDigest(const SHACacheKey &key)
{
    const QMutexLocker locker(&shaCacheMutex);
    loadLastingCacheLocked();
    const auto found = shaCache.constFind(key);
    if (found == shaCache.cend())
        return std::nullopt;
    return *found;
}

void DuplicateDetector::loadLastingCacheLocked()
{
    if (lastingCache)
        return;
    lastingCache.emplace(DigestCacheFile::defaultPath());
    const DigestCacheFile::Digests stored = lastingCache->load();
    for (auto entry = stored.cbegin(); entry != stored.cend(); ++entry)
        shaCache.insert(entry.key(), entry.value()); // nothing is in memory yet that could be newer
}

void DuplicateDetector::saveLastingCacheIfChanged()
{
    const QMutexLocker saving(&saveMutex);
    QHash<SHACacheKey, QByteArray> snapshot;
    {
        const QMutexLocker locker(&shaCacheMutex);
        if (!shaCacheChanged || !lastingCache)
            return;
        shaCacheChanged = false;
        snapshot = shaCache;
    }
    // Written outside the cache lock: other verifications may go on meanwhile. A save
    // that fails costs only a re-read in a later run.
    lastingCache->save(snapshot);
}

DigestResult DuplicateDetector::cachedHash(const QString &path, const std::atomic<bool> *cancelled,
                                           const FileHasher::Progress &progress, const FileHasher::Checkpoint &checkpoint)
{
    const SHACacheKey key = SHACacheKey::forFile(path);
    if (std::optional<QByteArray> digest = cachedDigest(key))
        return *digest;

    // Hash without holding the lock: other verifications may use the cache meanwhile.
    DigestResult result = FileHasher::hashFile(path, cancelled, progress, checkpoint);
    // A file written to while it was read gives a digest of neither version: hand it
    // back, but do not let it stand for the version the key describes.
    if (const QByteArray *digest = std::get_if<QByteArray>(&result); digest && SHACacheKey::forFile(path) == key) {
        const QMutexLocker locker(&shaCacheMutex);
        shaCache.insert(key, *digest);
        shaCacheChanged = true;
    }
    return result;
}

VerificationOutcome DuplicateDetector::verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                                   const std::function<void(double)> &progress,
                                                   const std::atomic<bool> *cancelled)
{
    return verify(groupID, models, progress, {}, cancelled);
}

VerificationOutcome DuplicateDetector::verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                                   const std::function<void(VerificationProgress)> &byteProgress,
                                                   const std::atomic<bool> *cancelled)
{
    return verify(groupID, models, {}, byteProgress, cancelled);
}

VerificationOutcome DuplicateDetector::verify(const QUuid &groupID, const QList<DetectedModel> &models,
                                              const std::function<void(double)> &progress,
                                              const std::function<void(VerificationProgress)> &byteProgress,
                                              const std::atomic<bool> *cancelled)
{
    QList<DetectedModel> members;
    for (const DetectedModel &model : models) {
        if (model.duplicateGroup == groupID)
            members.append(model);
    }
    if (members.size() < 2)
        return VerificationOutcome::different();
    for (const DetectedModel &member : std::as_const(members)) {
        if (!member.problem.isEmpty())
            return VerificationOutcome::failed(member.problem);
    }

    const auto primaries = primaryFiles(members);
    if (const auto *error = std::get_if<DuplicateHashError>(&primaries))
        return VerificationOutcome::failed(error->message());
    const QStringList &paths = std::get<QStringList>(primaries);
    if (paths.size() < 2)
        return VerificationOutcome::different();
    // "Verified duplicate" invites deleting one copy; when there is only one file,
    // that would delete the model itself.
    if (const std::optional<QString> file = sameFileTwice(paths))
        return VerificationOutcome::oneFile(DuplicateHashError::unreadable(*file, sameFileReason()).message());

    QList<GroupHashing::File> files;
    qint64 bytesToRead = 0;
    for (const QString &path : paths) {
        const SHACacheKey key = SHACacheKey::forFile(path);
        std::optional<QByteArray> digest = cachedDigest(key);
        const qint64 size = digest ? 0 : std::max<qint64>(key.fileSize, 0);
        bytesToRead += size;
        files.append({path, size, 0, digest});
    }
    // Samples cost a few reads per file; worth it only when whole files would be read. Files
    // whose samples differ are never identical: each sample is a likeness of its own.
    if (bytesToRead > 0) {
        QHash<QByteArray, int> likenessOfSample;
        for (GroupHashing::File &file : files) {
            const DigestResult sample = FileHasher::sampleDigest(file.path, cancelled);
            if (const auto *error = std::get_if<DuplicateHashError>(&sample))
                return VerificationOutcome::failed(error->message());
            const QByteArray &digest = std::get<QByteArray>(sample);
            if (!likenessOfSample.contains(digest))
                likenessOfSample.insert(digest, int(likenessOfSample.size()));
            file.likeness = likenessOfSample.value(digest);
        }
    }

    const auto save = qScopeGuard([this] { saveLastingCacheIfChanged(); });
    const QList<GroupHashing::Result> results = hashAll(files, bytesToRead, progress, byteProgress, cancelled);
    for (const GroupHashing::Result &result : results) {
        if (result.error)
            return VerificationOutcome::failed(result.error->message());
    }

    // Members of one likeness with one digest are one set.
    QHash<QByteArray, qsizetype> setOfDigest; // within a likeness; the likeness leads the key
    QList<QList<QUuid>> sets;
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (!results[i].digest)
            continue; // told apart from all the others before its end
        const QByteArray key = QByteArray::number(files[i].likeness) + ':' + *results[i].digest;
        if (!setOfDigest.contains(key)) {
            setOfDigest.insert(key, sets.size());
            sets.append(QList<QUuid>());
        }
        sets[setOfDigest.value(key)].append(members[i].id);
    }
    sets.removeIf([](const QList<QUuid> &set) { return set.size() < 2; });
    if (sets.isEmpty())
        return VerificationOutcome::different();
    if (sets.size() == 1 && sets.first().size() == members.size())
        return VerificationOutcome::identical();
    return VerificationOutcome::split(sets);
}

QList<GroupHashing::Result> DuplicateDetector::hashAll(const QList<GroupHashing::File> &files, qint64 bytesToRead,
                                                      const std::function<void(double)> &progress,
                                                      const std::function<void(VerificationProgress)> &byteProgress,
                                                      const std::atomic<bool> *cancelled)
{
    // Reported in steps of a hundredth, or of progressStep bytes, so a large group does not
    // flood the caller; the end is always reported.
    double reported = 0;
    qint64 bytesReported = 0;
    const auto report = [&](qint64 done, bool finished) {
        const double fraction = bytesToRead > 0 ? std::min(1.0, double(done) / double(bytesToRead)) : 1.0;
        if (progress && (fraction >= reported + 0.01 || (finished && fraction > reported))) {
            reported = fraction;
            progress(fraction);
        }
        if (byteProgress && bytesToRead > 0 && (done >= bytesReported + progressStep || (finished && done > bytesReported))) {
            bytesReported = done;
            // A file that grew while it was read makes the total grow with it.
            byteProgress({done, std::max(bytesToRead, done)});
        }
    };
    if (byteProgress && bytesToRead > 0)
        byteProgress({0, bytesToRead});

    GroupHashing hashing(
        files,
        [this](const QString &path, const std::atomic<bool> *stop, const FileHasher::Progress &read,
               const FileHasher::Checkpoint &checkpoint) { return cachedHash(path, stop, read, checkpoint); },
        [disks = SpinningDisk()](const QString &path) { return disks.of(path); });
    const QList<GroupHashing::Result> results = hashing.run(cancelled, [&](qint64 done) { report(done, false); });
    bool failed = false;
    for (const GroupHashing::Result &result : results)
        failed = failed || result.error.has_value();
    if (!failed)
        report(bytesToRead, true);
    return results;
}
