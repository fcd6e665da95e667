#include "duplicates/DuplicateDetector.h"
#include "files/SpinningDisk.h"
#include "support/TempHome.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QRandomGenerator>
#include <QTest>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Larger than three chunks, with a tail, so chunk boundaries are crossed.
constexpr qint64 multiChunk = 3 * FileHasher::chunkSize + 17;

QByteArray noise(qint64 size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    for (char &byte : bytes)
        byte = char(generator.generate() & 0xff);
    return bytes;
}

// Rewrites a file in place and puts its size and modification time back, as `touch -d`
// would: only the change time tells.
void replaceKeepingStamp(const QString &path, const QByteArray &content)
{
    struct stat before {};
    QCOMPARE(::lstat(QFile::encodeName(path).constData(), &before), 0);
    QCOMPARE(qint64(before.st_size), qint64(content.size()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(content), qint64(content.size()));
    file.close();
    const struct timespec times[2] = {before.st_atim, before.st_mtim};
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
}

DetectedModel member(const QUuid &group, const QStringList &files)
{
    DetectedModel model = DetectedModel::create(QStringLiteral("m"), SourceTool::Kind::lmStudio, files, 0, distantPast());
    model.duplicateGroup = group;
    return model;
}

// One group whose members each have one file, plus an unrelated model in between.
QList<DetectedModel> groupOf(const QUuid &group, const QStringList &files)
{
    QList<DetectedModel> models;
    for (const QString &file : files) {
        models.append(member(group, {file}));
        models.append(DetectedModel::create(QStringLiteral("other"), SourceTool::Kind::jan, {file}, 0, distantPast()));
    }
    return models;
}

// Bytes this thread read from any file while `check` ran, as the kernel counts them:
// proof that a check read no model file, whatever the code under test reports.
qint64 bytesReadDuring(const std::function<void()> &check)
{
    const auto readSoFar = [] {
        QFile io(QStringLiteral("/proc/thread-self/io"));
        if (!io.open(QIODevice::ReadOnly))
            qFatal("cannot read /proc/thread-self/io");
        const QByteArray text = io.readAll();
        const qsizetype start = text.indexOf("rchar: ") + 7;
        return text.mid(start, text.indexOf('\n', start) - start).toLongLong();
    };
    const qint64 before = readSoFar();
    check();
    return readSoFar() - before;
}

// A sparse file of zeros with one byte set at `marked` (none when negative).
QString sparseFile(const TempHome &home, const QString &name, qint64 size, qint64 marked)
{
    const QString path = home.writeFile(name, QByteArray());
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || !file.resize(size) || (marked >= 0 && (!file.seek(marked) || !file.putChar('!'))))
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QString lastingCachePath()
{
    return QFile::decodeName(qgetenv("XDG_CACHE_HOME")) + QStringLiteral("/Stashwell/digests.json");
}

QJsonObject cacheEntry(const QString &path, const QByteArray &digest)
{
    const SHACacheKey key = SHACacheKey::forFile(path);
    return {{QStringLiteral("path"), path}, {QStringLiteral("device"), qint64(key.device)},
            {QStringLiteral("inode"), qint64(key.inode)}, {QStringLiteral("size"), key.fileSize},
            {QStringLiteral("modifiedNs"), key.modifiedNs}, {QStringLiteral("changedNs"), key.changedNs},
            {QStringLiteral("sha256"), QString::fromLatin1(digest.toHex())}};
}

} // namespace

class TestDuplicateVerification : public QObject
{
    Q_OBJECT
    // Every test's lasting digest cache lives in its temporary home's XDG_CACHE_HOME.

private slots:
    void outcomesOfComparison()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(multiChunk, 1);
        QByteArray lastByteChanged = content;
        lastByteChanged[lastByteChanged.size() - 1] = char(~lastByteChanged.back());
        const QString a = home.writeFile(QStringLiteral("lmstudio/llama.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("jan/Llama 3 (copy).bin"), content);
        const QString c = home.writeFile(QStringLiteral("custom/llama.gguf"), lastByteChanged);
        const QString emptyA = home.writeFile(QStringLiteral("e1"), QByteArray());
        const QString emptyB = home.writeFile(QStringLiteral("e2"), QByteArray());
        const QString gone = home.filePath(QStringLiteral("gone"));
        // Alike in every sample, different a megabyte in.
        const QString zeros = sparseFile(home, QStringLiteral("zeros"), 8 << 20, -1);
        const QString marked = sparseFile(home, QStringLiteral("marked"), 8 << 20, 1 << 20);
        const VerificationOutcome goneFails = VerificationOutcome::failed(QStringLiteral("gone: ") + QString::fromLocal8Bit(std::strerror(ENOENT)));
        const QUuid group = QUuid::createUuid();

        // Same bytes under different names.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
        // One byte differs, in the last partial chunk.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, c})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {emptyA, emptyB})), VerificationOutcome::identical());
        // Sets of identical members stay, apart from those that differ, whether the
        // difference shows in the samples or only in the whole file.
        const auto sets = [](const QList<DetectedModel> &models, const QList<QList<int>> &members) {
            QList<QList<QUuid>> ids;
            for (const QList<int> &set : members) {
                ids.append(QList<QUuid>());
                for (const int member : set)
                    ids.last().append(models[2 * member].id); // groupOf puts another model after each member
            }
            return VerificationOutcome::split(ids);
        };
        const QList<DetectedModel> abcb = groupOf(group, {a, b, c, home.writeFile(QStringLiteral("b2"), content)});
        QCOMPARE(detector.verifyGroup(group, abcb), sets(abcb, {{0, 1, 3}}));
        const QString zerosCopy = sparseFile(home, QStringLiteral("zeros2"), 8 << 20, -1);
        const QString markedCopy = sparseFile(home, QStringLiteral("marked2"), 8 << 20, 1 << 20);
        const QList<DetectedModel> twoSets = groupOf(group, {zeros, marked, zerosCopy, markedCopy, a});
        QCOMPARE(detector.verifyGroup(group, twoSets), sets(twoSets, {{0, 2}, {1, 3}}));
        // A file that cannot be read fails the check, wherever it is.
        for (const QStringList &files : {QStringList{a, c, gone}, QStringList{zeros, marked, gone}, QStringList{gone, a, b}})
            QCOMPARE(detector.verifyGroup(group, groupOf(group, files)), goneFails);

        // Only the primary file of each member counts.
        const QList<DetectedModel> twoFileMembers{
            member(group, {home.writeFile(QStringLiteral("one/manifest"), QByteArrayLiteral("first")), a}),
            member(group, {b, home.writeFile(QStringLiteral("two/manifest"), QByteArrayLiteral("second"))}),
        };
        QCOMPARE(detector.verifyGroup(group, twoFileMembers), VerificationOutcome::identical());

        // Fewer than two members of the group asked for compare nothing.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(QUuid::createUuid(), groupOf(group, {a, a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, {}), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a}) << member(group, {})),
                 VerificationOutcome::failed(QStringLiteral("A primary model file could not be found.")));
    }

    void digestsOutlastTheProcessButNotAChange()
    {
        TempHome home;
        const QByteArray content = noise(4 << 20, 6);
        const QString a = home.writeFile(QStringLiteral("models/a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("models/b.gguf"), content);
        const QString c = home.writeFile(QStringLiteral("models/c.gguf"), content);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::identical());

        // A new detector, as in a new run of the program, reads no model file at all.
        const qint64 read = bytesReadDuring([&] {
            QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::identical());
        });
        QVERIFY2(read < FileHasher::chunkSize, qPrintable(QString::number(read)));

        // Written only in Stashwell's cache folder.
        QCOMPARE(QDir(home.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 (QStringList{QStringLiteral(".cache"), QStringLiteral("models")}));

        // Entries of files that are gone are dropped at the next save.
        QVERIFY(QFile::remove(c));
        const QString d = home.writeFile(QStringLiteral("models/d.gguf"), content);
        DuplicateDetector detector;
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, d})), VerificationOutcome::identical());
        QCOMPARE(DigestCacheFile(lastingCachePath()).load().keys().size(), 3);
        QVERIFY(!DigestCacheFile(lastingCachePath()).load().contains(SHACacheKey{c}));

        // Rewritten in place, size and time put back: neither this detector nor a new
        // one trusts the old digest; back to the original bytes, equal again.
        replaceKeepingStamp(d, noise(4 << 20, 7));
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, d})), VerificationOutcome::different());
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, d})), VerificationOutcome::different());
        home.writeFile(QStringLiteral("models/d.gguf"), content);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, d})), VerificationOutcome::identical());
    }

    void cacheKeyDescribesOneVersionOfAFile()
    {
        TempHome home;
        const QString path = home.writeFile(QStringLiteral("f"), 1234);
        const struct timespec stamp[2] = {{1'700'000'000, 250'000'001}, {1'700'000'000, 250'000'001}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), stamp, AT_SYMLINK_NOFOLLOW), 0);
        const SHACacheKey key = SHACacheKey::forFile(path);
        struct stat info {};
        QCOMPARE(::lstat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(key, (SHACacheKey{path, info.st_dev, info.st_ino, 1234, 1'700'000'000'250'000'001, key.changedNs}));
        QVERIFY(key.changedNs > 1'700'000'000'250'000'001);

        // Only the change time tells this rewrite apart.
        replaceKeepingStamp(path, QByteArray(1234, 'y'));
        const SHACacheKey rewritten = SHACacheKey::forFile(path);
        QCOMPARE(rewritten.modifiedNs, key.modifiedNs);
        QVERIFY(rewritten != key);

        QCOMPARE(SHACacheKey::forFile(home.filePath(QStringLiteral("missing"))), SHACacheKey{home.filePath(QStringLiteral("missing"))});
    }

    void damagedCacheFilesAreIgnored_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<bool>("trusted");
        QTest::newRow("none, for comparison") << QString() << true;
        for (const char *damage : {"garbage", "another version", "a FIFO"})
            QTest::newRow(damage) << QString::fromLatin1(damage) << false;
    }
    void damagedCacheFilesAreIgnored()
    {
        QFETCH(QString, damage);
        QFETCH(bool, trusted);
        TempHome home;
        // Alike in every sample, so only whole digests tell them apart.
        const QString a = sparseFile(home, QStringLiteral("a.gguf"), 1 << 20, -1);
        const QString b = sparseFile(home, QStringLiteral("b.gguf"), 1 << 20, 1 << 18);
        // Entries that claim the two files have one digest.
        const QByteArray forged(32, '\x5a');
        QJsonObject root{{QStringLiteral("format"), QStringLiteral("stashwell-digests")}, {QStringLiteral("version"), 1},
                         {QStringLiteral("entries"), QJsonArray{cacheEntry(a, forged), cacheEntry(b, forged)}}};
        if (damage == QLatin1String("another version"))
            root.insert(QStringLiteral("version"), 2);
        QByteArray text = QJsonDocument(root).toJson();
        if (damage == QLatin1String("garbage"))
            text = "\x89PNG\r\n\x1a" + text;

        const QString cacheFile = lastingCachePath();
        QVERIFY(QDir().mkpath(QFileInfo(cacheFile).path()));
        if (damage == QLatin1String("a FIFO"))
            QCOMPARE(::mkfifo(QFile::encodeName(cacheFile).constData(), 0600), 0);
        else {
            QFile file(cacheFile);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(text), text.size());
        }

        const QUuid group = QUuid::createUuid();
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b})),
                 trusted ? VerificationOutcome::identical() : VerificationOutcome::different());
        // A damaged file was replaced by one holding the digests just computed.
        QCOMPARE(DigestCacheFile(cacheFile).load().value(SHACacheKey::forFile(a)),
                 trusted ? forged : QCryptographicHash::hash(QByteArray(1 << 20, 0), QCryptographicHash::Sha256));
    }

    // Members that are no file of their own are never opened or trusted: a pipe would
    // block the read for good, and one file reached twice is no copy to keep.
    void membersThatCannotBeCopies_data()
    {
        QTest::addColumn<QString>("other");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("sameFile"); // one file under two names: says so, frees nothing
        const QString notRegular = QStringLiteral(": Not a regular file, so it cannot be verified.");
        const QString twice = QStringLiteral("a.gguf: ") + DuplicateDetector::sameFileReason();
        QTest::newRow("pipe") << QStringLiteral("pipe.gguf") << QStringLiteral("pipe.gguf") + notRegular << false;
        QTest::newRow("folder") << QStringLiteral("dir.gguf") << QStringLiteral("dir.gguf") + notRegular << false;
        QTest::newRow("symbolic link") << QStringLiteral("link.gguf")
                                       << QStringLiteral("link.gguf: Is a symbolic link, which is not followed, so it cannot be verified.") << false;
        QTest::newRow("same path spelt otherwise") << QStringLiteral("dir.gguf/../a.gguf") << twice << true;
        QTest::newRow("hard link") << QStringLiteral("hard.gguf") << QStringLiteral("hard.gguf: ") + DuplicateDetector::sameFileReason() << true;
    }
    void membersThatCannotBeCopies()
    {
        QFETCH(QString, other);
        QFETCH(QString, message);
        QFETCH(bool, sameFile);
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a.gguf"), 100);
        home.makeDir(QStringLiteral("dir.gguf"));
        QCOMPARE(::mkfifo(QFile::encodeName(home.filePath(QStringLiteral("pipe.gguf"))).constData(), 0644), 0);
        QCOMPARE(::symlink(QFile::encodeName(a).constData(), QFile::encodeName(home.filePath(QStringLiteral("link.gguf"))).constData()), 0);
        QCOMPARE(::link(QFile::encodeName(a).constData(), QFile::encodeName(home.filePath(QStringLiteral("hard.gguf"))).constData()), 0);
        const QUuid group = QUuid::createUuid();
        const QString fifo = home.filePath(QStringLiteral("pipe.gguf"));
        // Run aside, and free a read that blocks on the pipe by opening its writing end.
        auto outcome = std::async(std::launch::async, [&] { return detector.verifyGroup(group, groupOf(group, {a, home.filePath(other)})); });
        if (outcome.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            const int writer = ::open(QFile::encodeName(fifo).constData(), O_WRONLY | O_NONBLOCK);
            if (writer >= 0)
                ::close(writer);
            outcome.wait();
            QFAIL("verification blocked on a pipe");
        }
        QCOMPARE(outcome.get(), sameFile ? VerificationOutcome::oneFile(message) : VerificationOutcome::failed(message));
    }

    void cancellationStopsHashing()
    {
        TempHome home;
        DuplicateDetector detector;
        // Large enough that reading takes a while, so progress is seen before the end.
        const QString a = sparseFile(home, QStringLiteral("a.gguf"), 512 << 20, -1);
        const QString b = sparseFile(home, QStringLiteral("b.gguf"), 512 << 20, -1);
        const QUuid group = QUuid::createUuid();
        const VerificationOutcome cancelled = VerificationOutcome::failed(QStringLiteral("a.gguf: Verification was cancelled."));

        // Cancelled before it starts, or while both files are read: the first member says so.
        std::atomic<bool> flag = true;
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), std::function<void(double)>(), &flag), cancelled);
        flag = false;
        QList<double> steps;
        const auto progress = [&](double fraction) {
            steps.append(fraction);
            if (fraction > 0.1)
                flag = true;
        };
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), progress, &flag), cancelled);
        QVERIFY(!steps.isEmpty() && steps.last() < 1.0);

        // A cancelled hash is not remembered: the next check reads both files to the end.
        flag = false;
        steps.clear();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), [&](double f) { steps.append(f); }, &flag),
                 VerificationOutcome::identical());
        QCOMPARE(steps.last(), 1.0);
    }

    // Files of one spinning disk are read one after another, and a file stops being read at
    // the stripe that tells it apart from every other.
    void readingStopsOnceAFileIsToldApart()
    {
        TempHome home;
        const qint64 size = 4 * FileHasher::stripeSize;
        const QString first = sparseFile(home, QStringLiteral("first"), size, -1);
        const QString second = sparseFile(home, QStringLiteral("second"), size, 1 << 20);
        const QString third = sparseFile(home, QStringLiteral("third"), size, -1);
        QHash<QString, qint64> read;
        QMutex readLock;
        const GroupHashing::Hasher hasher = [&](const QString &path, const std::atomic<bool> *stop,
                                                const FileHasher::Progress &, const FileHasher::Checkpoint &checkpoint) {
            return FileHasher::hashFile(path, stop, [&](qint64 bytes) { const QMutexLocker lock(&readLock); read[path] = bytes; }, checkpoint);
        };
        const auto oneDisk = [](const QString &) { return QStringLiteral("8:0"); };

        QList<GroupHashing::Result> results = GroupHashing({{first, size, 0, {}}, {second, size, 0, {}}}, hasher, oneDisk).run(nullptr, {});
        QVERIFY(results[0].digest && !results[0].error);
        QVERIFY(!results[1].digest && !results[1].error); // told apart
        QCOMPARE(read.value(first), size);
        QCOMPARE(read.value(second), FileHasher::stripeSize);

        // A file that may equal another is read to the end; one alone in its likeness, not at all.
        read.clear();
        results = GroupHashing({{first, size, 0, {}}, {third, size, 0, {}}, {second, size, 1, {}}}, hasher, oneDisk).run(nullptr, {});
        QVERIFY(results[0].digest && results[0].digest == results[1].digest);
        QCOMPARE(read.value(third), size);
        QVERIFY(!results[2].digest && !read.contains(second));

        // The first failure stops the reads still to come.
        read.clear();
        results = GroupHashing({{home.filePath(QStringLiteral("gone")), size, 0, {}}, {first, size, 0, {}}}, hasher, oneDisk).run(nullptr, {});
        QVERIFY(results[0].error && !results[1].digest && !read.contains(first));
    }

    // A partition leads to its disk, a device-mapper device to the disks under it.
    void spinningDisksAreFoundThroughSysfs()
    {
        TempHome home;
        const QString sys = home.filePath(QStringLiteral("sys"));
        const auto device = [&](const QString &folder, const QString &number, const char *rotational) {
            home.writeFile(QStringLiteral("sys/devices/") + folder + QStringLiteral("/dev"), number.toLatin1() + '\n');
            if (rotational)
                home.writeFile(QStringLiteral("sys/devices/") + folder + QStringLiteral("/queue/rotational"), rotational);
            home.makeDir(QStringLiteral("sys/dev/block"));
            QVERIFY(QFile::link(sys + QStringLiteral("/devices/") + folder, sys + QStringLiteral("/dev/block/") + number));
        };
        device(QStringLiteral("sda"), QStringLiteral("8:0"), "1\n");
        device(QStringLiteral("sda/sda1"), QStringLiteral("8:1"), nullptr);
        home.writeFile(QStringLiteral("sys/devices/sda/sda1/partition"), "1\n");
        device(QStringLiteral("nvme0n1"), QStringLiteral("259:0"), "0\n");
        device(QStringLiteral("dm-0"), QStringLiteral("253:0"), "0\n");
        QVERIFY(QFile::link(sys + QStringLiteral("/devices/sda/sda1"), home.makeDir(QStringLiteral("sys/devices/dm-0/slaves")) + QStringLiteral("/sda1")));

        const SpinningDisk disks(sys, home.filePath(QStringLiteral("no-mountinfo")));
        QCOMPARE(disks.ofDevice(8, 1), QStringLiteral("8:0"));
        QCOMPARE(disks.ofDevice(253, 0), QStringLiteral("8:0"));
        QCOMPARE(disks.ofDevice(259, 0), QString());
        QCOMPARE(disks.ofDevice(7, 3), QString()); // no such device
    }
};

QTEST_GUILESS_MAIN(TestDuplicateVerification)
#include "tst_DuplicateVerification.moc"
