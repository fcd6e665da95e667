#include "duplicates/GroupHashing.h"

#include <QHash>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

// What the threads of one run share, under `mutex`.
struct GroupHashing::Reading
{
    enum class Stop { no, failure, cancelled };
    static constexpr qsizetype comparedLikeness = 64;

    explicit Reading(const QList<File> &files)
        : files(files), stripes(files.size()), results(files.size()), toldApart(files.size(), false),
          bytesRead(size_t(files.size()))
    {
        for (qsizetype f = 0; f < files.size(); ++f) {
            results[f].digest = files[f].digest;
            likenesses[files[f].likeness].append(f);
        }
    }

    // Whether what is known of file f already tells it apart from every other file of its
    // likeness: either of them told apart from all, whole digests that differ, or digests at
    // the last stripe both have read that differ. A likeness of more than comparedLikeness
    // files is read to the end: comparing each with all would grow with the square of it.
    bool apart(qsizetype f) const
    {
        const QList<qsizetype> &alike = likenesses.value(files[f].likeness);
        if (alike.size() > comparedLikeness)
            return false;
        for (const qsizetype j : alike) {
            if (j == f || toldApart[j])
                continue;
            if (results[f].digest && results[j].digest) {
                if (*results[f].digest == *results[j].digest)
                    return false;
                continue;
            }
            const qsizetype common = std::min(stripes[f].size(), stripes[j].size());
            if (common == 0 || stripes[f][common - 1] == stripes[j][common - 1])
                return false;
        }
        return true;
    }

    qint64 bytesDone() const
    {
        qint64 done = 0;
        for (qsizetype f = 0; f < files.size(); ++f)
            done += toldApart[f] ? files[f].size : bytesRead[size_t(f)].load(std::memory_order_relaxed);
        return done;
    }

    std::mutex mutex;
    std::condition_variable changed;
    const QList<File> &files;
    QHash<int, QList<qsizetype>> likenesses; // the files of each likeness
    QList<QList<QByteArray>> stripes; // per file, the digest at each full stripe read so far
    QList<Result> results;
    QList<bool> toldApart;
    std::vector<std::atomic<qint64>> bytesRead;
    std::atomic<bool> stopReading = false;
    Stop stop = Stop::no;
    int workersLeft = 0;
};

GroupHashing::GroupHashing(QList<File> files, Hasher hasher, DiskOf diskOf)
    : m_files(std::move(files)), m_hasher(std::move(hasher)), m_diskOf(std::move(diskOf))
{
}

int GroupHashing::threadCount()
{
    return int(std::max(1u, std::thread::hardware_concurrency()));
}

QList<GroupHashing::Result> GroupHashing::run(const std::atomic<bool> *cancelled,
                                              const std::function<void(qint64 bytesDone)> &progress)
{
    Reading reading(m_files);

    // One lane per spinning disk, one per other file; a lane is read one file after another.
    QList<QList<qsizetype>> lanes;
    QHash<QString, qsizetype> laneOfDisk;
    for (qsizetype f = 0; f < m_files.size(); ++f) {
        if (m_files[f].digest)
            continue;
        const QString disk = m_diskOf(m_files[f].path);
        if (disk.isEmpty() || !laneOfDisk.contains(disk)) {
            if (!disk.isEmpty())
                laneOfDisk.insert(disk, lanes.size());
            lanes.append(QList<qsizetype>{f});
        } else {
            lanes[laneOfDisk.value(disk)].append(f);
        }
    }

    const auto readFile = [&](qsizetype f) {
        {
            const std::lock_guard lock(reading.mutex);
            if (reading.stop == Reading::Stop::cancelled)
                reading.results[f].error = DuplicateHashError::unreadable(m_files[f].path, FileHasher::cancelledReason());
            if (reading.stopReading)
                return;
            if (reading.apart(f)) {
                reading.toldApart[f] = true;
                return;
            }
        }
        const FileHasher::Checkpoint checkpoint = [&reading, f](qint64, const QByteArray &digest) {
            const std::lock_guard lock(reading.mutex);
            reading.stripes[f].append(digest);
            reading.changed.notify_all();
            if (!reading.apart(f))
                return true;
            reading.toldApart[f] = true;
            return false;
        };
        const FileHasher::Progress read = [&reading, f](qint64 bytes) { reading.bytesRead[size_t(f)] = bytes; };
        const DigestResult result = m_hasher(m_files[f].path, &reading.stopReading, read, checkpoint);

        const std::lock_guard lock(reading.mutex);
        if (const auto *digest = std::get_if<QByteArray>(&result)) {
            reading.results[f].digest = *digest;
        } else if (!reading.toldApart[f] && reading.stop != Reading::Stop::failure) {
            // The first failure stops the others; what they then report is no reason of theirs.
            reading.results[f].error = std::get<DuplicateHashError>(result);
            if (reading.stop == Reading::Stop::no) {
                reading.stop = Reading::Stop::failure;
                reading.stopReading = true;
            }
        }
        reading.changed.notify_all();
    };

    const auto forwardCancellation = [&] {
        if (cancelled && cancelled->load() && reading.stop == Reading::Stop::no) {
            reading.stop = Reading::Stop::cancelled;
            reading.stopReading = true;
        }
    };
    forwardCancellation();

    std::atomic<qsizetype> nextLane = 0;
    const auto work = [&] {
        for (qsizetype lane; (lane = nextLane++) < lanes.size();) {
            for (const qsizetype f : std::as_const(lanes[lane]))
                readFile(f);
        }
        const std::lock_guard lock(reading.mutex);
        --reading.workersLeft;
        reading.changed.notify_all();
    };
    std::vector<std::thread> threads;
    const int workers = int(std::min<qsizetype>(threadCount(), lanes.size()));
    reading.workersLeft = workers;
    for (int t = 0; t < workers; ++t)
        threads.emplace_back(work);

    {
        std::unique_lock lock(reading.mutex);
        while (reading.workersLeft > 0) {
            reading.changed.wait_for(lock, std::chrono::milliseconds(50));
            forwardCancellation();
            if (progress) {
                const qint64 done = reading.bytesDone();
                lock.unlock();
                progress(done);
                lock.lock();
            }
        }
    }
    for (std::thread &thread : threads)
        thread.join();
    return reading.results;
}
