#include "duplicates/DuplicateDetector.h"
#include "support/TempHome.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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
        // All or nothing: two alike and one not is wholly different.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {emptyA, emptyB})), VerificationOutcome::identical());
        // Members are compared in order and the first difference or error decides, whether
        // the difference shows in the samples or only in the whole file.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, c, gone})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {zeros, marked, gone})), VerificationOutcome::different());
        const QString zerosCopy = sparseFile(home, QStringLiteral("zeros2"), 8 << 20, -1);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {zeros, zerosCopy, marked})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, gone, c})), goneFails);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {gone, a, c})), goneFails);

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
        const QByteArray content = noise(16 * FileHasher::chunkSize, 12);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("b.gguf"), content);
        const QUuid group = QUuid::createUuid();
        const QString cancelled = QStringLiteral("Verification was cancelled.");

        // Cancelled before it starts: the first chunk read notices.
        std::atomic<bool> flag = true;
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), std::function<void(double)>(), &flag),
                 VerificationOutcome::failed(QStringLiteral("a.gguf: ") + cancelled));

        // Cancelled in the middle of the second file.
        flag = false;
        QList<double> steps;
        const auto progress = [&](double fraction) {
            steps.append(fraction);
            if (fraction > 0.6)
                flag = true;
        };
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), progress, &flag),
                 VerificationOutcome::failed(QStringLiteral("b.gguf: ") + cancelled));
        QVERIFY(!steps.isEmpty() && steps.last() < 1.0);

        // A cancelled hash is not remembered; the first file's digest is.
        flag = false;
        steps.clear();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), [&](double f) { steps.append(f); }, &flag),
                 VerificationOutcome::identical());
        QVERIFY(steps.first() == 0.5); // the first file came from the cache at once
        QCOMPARE(steps.last(), 1.0);
    }

};

QTEST_GUILESS_MAIN(TestDuplicateVerification)
#include "tst_DuplicateVerification.moc"
