#include "duplicates/DuplicateDetector.h"
#include "support/FileTreeSnapshot.h"
#include "support/TempHome.h"

#include <QCryptographicHash>
#include <QFile>
#include <QDirIterator>
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
#include <thread>
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

void setModifiedExactly(const QString &path, time_t seconds, long nanoseconds)
{
    const struct timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
}

DetectedModel member(const QUuid &group, const QStringList &files, const QString &name = QStringLiteral("m"))
{
    DetectedModel model = DetectedModel::create(name, SourceTool::Kind::lmStudio, files, 0, distantPast());
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

QString systemReason(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Bytes this thread has read from any file so far, as the kernel counts them: proof
// that a check read no model file, whatever the code under test reports.
qint64 bytesReadByThisThread()
{
    QFile io(QStringLiteral("/proc/thread-self/io"));
    if (!io.open(QIODevice::ReadOnly))
        qFatal("cannot read /proc/thread-self/io");
    const QByteArray text = io.readAll();
    const qsizetype start = text.indexOf("rchar: ") + 7;
    return text.mid(start, text.indexOf('\n', start) - start).toLongLong();
}

template<typename Check>
qint64 bytesReadDuring(Check check)
{
    const qint64 before = bytesReadByThisThread();
    check();
    return bytesReadByThisThread() - before;
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

QByteArray digestOf(DuplicateDetector &detector, const QString &path)
{
    const DigestResult result = detector.cachedHash(path);
    if (const auto *error = std::get_if<DuplicateHashError>(&result))
        qWarning("unexpected error: %s", qPrintable(error->message()));
    return std::get_if<QByteArray>(&result) ? std::get<QByteArray>(result) : QByteArray();
}

} // namespace

// Lets a failed comparison show which outcome arrived.
char *toString(const VerificationOutcome &outcome)
{
    static const char *const kinds[] = {"identical", "different", "failed"};
    const QString text = QString::fromLatin1(kinds[int(outcome.kind)])
        + (outcome.message.isEmpty() ? QString() : QStringLiteral("(") + outcome.message + QLatin1Char(')'));
    return qstrdup(text.toUtf8().constData());
}

class TestDuplicateVerification : public QObject
{
    Q_OBJECT
    // Every test's lasting digest cache lives in its temporary home's XDG_CACHE_HOME.

private slots:
    void digestsAreSha256()
    {
        TempHome home;
        DuplicateDetector detector;
        const QString empty = home.writeFile(QStringLiteral("empty"), QByteArray());
        const QString abc = home.writeFile(QStringLiteral("abc"), QByteArrayLiteral("abc"));
        const QByteArray bigContent = noise(multiChunk, 7);
        const QString big = home.writeFile(QStringLiteral("big"), bigContent);

        QCOMPARE(digestOf(detector, empty).toHex(),
                 QByteArrayLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
        QCOMPARE(digestOf(detector, abc).toHex(),
                 QByteArrayLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
        QCOMPARE(digestOf(detector, big), QCryptographicHash::hash(bigContent, QCryptographicHash::Sha256));
    }

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
        const VerificationOutcome goneFails = VerificationOutcome::failed(QStringLiteral("gone: ") + systemReason(ENOENT));
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
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, gone, c})), goneFails);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {gone, a, c})), goneFails);

        // Only the primary file of each member counts.
        const QList<DetectedModel> twoFileMembers{
            member(group, {home.writeFile(QStringLiteral("one/manifest"), QByteArrayLiteral("first")), a}),
            member(group, {b, home.writeFile(QStringLiteral("two/manifest"), QByteArrayLiteral("second"))}),
        };
        QCOMPARE(detector.verifyGroup(group, twoFileMembers), VerificationOutcome::identical());
    }

    void samplesSettleADifferenceWithoutReadingWholeFiles_data()
    {
        QTest::addColumn<qint64>("differenceAt");
        QTest::addColumn<bool>("settledBySamples");
        constexpr qint64 size = 64 << 20;
        QTest::newRow("first byte") << qint64(0) << true;
        QTest::newRow("middle") << size / 2 << true;
        QTest::newRow("last byte") << size - 1 << true;
        QTest::newRow("between samples") << size / 4 << false;
    }
    void samplesSettleADifferenceWithoutReadingWholeFiles()
    {
        QFETCH(qint64, differenceAt);
        QFETCH(bool, settledBySamples);
        TempHome home;
        DuplicateDetector detector;
        constexpr qint64 size = 64 << 20;
        const QUuid group = QUuid::createUuid();
        const QList<DetectedModel> models = groupOf(group, {sparseFile(home, QStringLiteral("a"), size, -1),
                                                            sparseFile(home, QStringLiteral("b"), size, differenceAt)});
        QList<VerificationProgress> steps;
        const qint64 read = bytesReadDuring([&] {
            QCOMPARE(detector.verifyGroup(group, models, [&](VerificationProgress p) { steps.append(p); }),
                     VerificationOutcome::different());
        });
        if (settledBySamples) {
            QVERIFY2(read < size / 16, qPrintable(QString::number(read)));
            QVERIFY(steps.isEmpty());
        } else {
            QVERIFY(read >= 2 * size);
            QCOMPARE(steps.last().bytesDone, 2 * size);
        }
    }

    void groupsThatCannotBeCompared()
    {
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a"), 10);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(QUuid::createUuid(), groupOf(group, {a, a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, {}), VerificationOutcome::different());

        QList<DetectedModel> models = groupOf(group, {a});
        models.append(member(group, {}));
        QCOMPARE(detector.verifyGroup(group, models),
                 VerificationOutcome::failed(QStringLiteral("A primary model file could not be found.")));
        QCOMPARE(std::get<DuplicateHashError>(DuplicateDetector::primaryFiles({models.first(), models.last()})),
                 DuplicateHashError::missingPrimaryFile());
    }

    void vanishedFileFailsAndEarlierDigestIsKept()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(multiChunk, 4);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.filePath(QStringLiteral("models/b.gguf"));
        const QUuid group = QUuid::createUuid();

        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})),
                 VerificationOutcome::failed(QStringLiteral("b.gguf: ") + systemReason(ENOENT)));
        // The first file's digest was kept; the failure was not: b, now present, is read.
        QVERIFY(bytesReadDuring([&] { QCOMPARE(digestOf(detector, a), QCryptographicHash::hash(content, QCryptographicHash::Sha256)); }) < 4096);
        home.writeFile(QStringLiteral("models/b.gguf"), content);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
    }

    void digestsOutlastTheProcess()
    {
        TempHome home;
        const QByteArray content = noise(4 << 20, 6);
        const QString a = home.writeFile(QStringLiteral("models/a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("models/b.gguf"), content);
        const QString c = home.writeFile(QStringLiteral("models/c.gguf"), content);
        const QUuid group = QUuid::createUuid();
        const FileTreeSnapshot modelsBefore(home.filePath(QStringLiteral("models")));
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::identical());

        // A new detector, as in a new run of the program, reads no model file at all.
        const qint64 read = bytesReadDuring([&] {
            QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::identical());
        });
        QVERIFY2(read < FileHasher::chunkSize, qPrintable(QString::number(read)));

        // Written only in Stashwell's cache folder; the model folders are as they were.
        const QString cacheHome = QString::fromLocal8Bit(qgetenv("XDG_CACHE_HOME"));
        QCOMPARE(QDir(cacheHome).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList{QStringLiteral("Stashwell")});
        QCOMPARE(QDir(cacheHome + QStringLiteral("/Stashwell")).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("digests.json")});
        QCOMPARE(QDir(home.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 (QStringList{QStringLiteral(".cache"), QStringLiteral("models")}));
        QCOMPARE(FileTreeSnapshot(home.filePath(QStringLiteral("models"))).differencesFrom(modelsBefore), QStringList());

        // Entries of files that are gone are dropped at the next save.
        QVERIFY(QFile::remove(c));
        const QString d = home.writeFile(QStringLiteral("models/d.gguf"), content);
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, d})), VerificationOutcome::identical());
        QCOMPARE(DigestCacheFile(lastingCachePath()).load().keys().size(), 3);
        QVERIFY(!DigestCacheFile(lastingCachePath()).load().contains(SHACacheKey{c}));
    }

    void changedFilesAreHashedAgain()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(5000, 10);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("b.gguf"), content);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());

        // Rewritten in place, size and time put back: neither this detector nor a new
        // one trusts the old digest.
        replaceKeepingStamp(b, noise(5000, 11));
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::different());
        QCOMPARE(DuplicateDetector().verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::different());

        // Back to the original bytes: equal again.
        home.writeFile(QStringLiteral("b.gguf"), content);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
    }

    void cacheKeyDescribesOneVersionOfAFile()
    {
        TempHome home;
        const QString path = home.writeFile(QStringLiteral("f"), 1234);
        setModifiedExactly(path, 1'700'000'000, 250'000'001);
        const SHACacheKey key = SHACacheKey::forFile(path);
        struct stat info {};
        QCOMPARE(::lstat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(key, (SHACacheKey{path, info.st_dev, info.st_ino, 1234, 1'700'000'000'250'000'001, key.changedNs}));
        QVERIFY(key.changedNs > 1'700'000'000'250'000'001);
        QCOMPARE(qHash(SHACacheKey::forFile(path)), qHash(key));

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
        for (const char *damage : {"garbage", "an array", "another version", "foreign", "huge", "a FIFO"})
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
        if (damage == QLatin1String("foreign"))
            root.insert(QStringLiteral("format"), QStringLiteral("other"));
        QByteArray text = QJsonDocument(root).toJson();
        if (damage == QLatin1String("garbage"))
            text = "\x89PNG\r\n\x1a" + text;
        if (damage == QLatin1String("an array"))
            text = '[' + text + ']';
        if (damage == QLatin1String("huge")) // still valid JSON: only its size is wrong
            text += QByteArray(DigestCacheFile::maximumSize, ' ');

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

    void oneFileFoundTwiceIsNotAVerifiedDuplicate()
    {
        // A custom folder inside a known model folder lists the same file twice; calling
        // that a verified duplicate would invite the user to trash the only copy.
        TempHome home;
        DuplicateDetector detector;
        const QString file = home.writeFile(QStringLiteral("models/llama.gguf"), QByteArray(5000, 'l'));
        const QString hardLink = home.filePath(QStringLiteral("elsewhere.gguf"));
        QVERIFY(::link(QFile::encodeName(file).constData(), QFile::encodeName(hardLink).constData()) == 0);
        const QUuid group = QUuid::createUuid();
        const VerificationOutcome expected = VerificationOutcome::oneFile(
            QStringLiteral("llama.gguf: ") + DuplicateDetector::sameFileReason());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {file, home.filePath(QStringLiteral("models/../models/llama.gguf"))})), expected);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {hardLink, file})).kind, VerificationOutcomeKind::failed);
    }

    void primaryFileIsTheLargestByItsOwnSize()
    {
        TempHome home;
        const QString manifest = home.writeFile(QStringLiteral("manifest"), 300);
        const QString blob = home.writeFile(QStringLiteral("blob"), 5000);
        const QString sameSizeBlob = home.writeFile(QStringLiteral("blob2"), 5000);
        const QString missing = home.filePath(QStringLiteral("missing"));
        const QString alsoMissing = home.filePath(QStringLiteral("also-missing"));
        const QString empty = home.writeFile(QStringLiteral("empty"), QByteArray());
        // A link is measured as itself, not as the large file it points to.
        const QString link = home.filePath(QStringLiteral("link"));
        QCOMPARE(::symlink(QFile::encodeName(blob).constData(), QFile::encodeName(link).constData()), 0);
        const QUuid group = QUuid::createUuid();

        const auto primaries = DuplicateDetector::primaryFiles({
            member(group, {manifest, blob, sameSizeBlob}),
            member(group, {missing, manifest}),
            member(group, {missing, alsoMissing}),
            member(group, {missing, empty}),
            member(group, {link, manifest}),
        });
        QCOMPARE(std::get<QStringList>(primaries), QStringList({blob, manifest, missing, missing, manifest}));
    }

    void specialFilesAreNeverOpened()
    {
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a.gguf"), 100);
        const QString fifo = home.filePath(QStringLiteral("pipe.gguf"));
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
        const QUuid group = QUuid::createUuid();

        // Opening a FIFO without a writer would wait forever: run the check aside and
        // free it by opening the writing end if it hangs.
        auto outcome = std::async(std::launch::async, [&] { return detector.verifyGroup(group, groupOf(group, {a, fifo})); });
        if (outcome.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            const int writer = ::open(QFile::encodeName(fifo).constData(), O_WRONLY | O_NONBLOCK);
            if (writer >= 0)
                ::close(writer);
            outcome.wait();
            QFAIL("verification blocked on a FIFO");
        }
        QCOMPARE(outcome.get(),
                 VerificationOutcome::failed(QStringLiteral("pipe.gguf: Not a regular file, so it cannot be verified.")));

        // A folder is no regular file either.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, home.makeDir(QStringLiteral("dir.gguf"))})),
                 VerificationOutcome::failed(QStringLiteral("dir.gguf: Not a regular file, so it cannot be verified.")));
        // A character device.
        if (QFile::exists(QStringLiteral("/dev/zero"))) {
            const DigestResult zero = FileHasher::hashFile(QStringLiteral("/dev/zero"));
            QCOMPARE(std::get<DuplicateHashError>(zero).message(),
                     QStringLiteral("zero: Not a regular file, so it cannot be verified."));
        }
    }

    void symbolicLinksAreNotFollowed()
    {
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a.gguf"), 100);
        const QString link = home.filePath(QStringLiteral("link.gguf"));
        QCOMPARE(::symlink(QFile::encodeName(a).constData(), QFile::encodeName(link).constData()), 0);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, link})),
                 VerificationOutcome::failed(QStringLiteral("link.gguf: Is a symbolic link, which is not followed, so it cannot be verified.")));
    }

    void unreadableFileGivesThePlatformReason()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not stop the superuser from reading");
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a.gguf"), 100);
        const QString locked = home.writeFile(QStringLiteral("locked.gguf"), 100);
        QCOMPARE(::chmod(QFile::encodeName(locked).constData(), 0), 0);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, locked})),
                 VerificationOutcome::failed(QStringLiteral("locked.gguf: ") + systemReason(EACCES)));
        ::chmod(QFile::encodeName(locked).constData(), 0644);
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

    void progressRisesToOne()
    {
        TempHome home;
        DuplicateDetector detector;
        const QUuid group = QUuid::createUuid();
        const auto threeCopies = [&](quint32 seed) {
            const QByteArray content = noise(40 * FileHasher::chunkSize, seed);
            const QString name = QString::number(seed);
            return groupOf(group, {home.writeFile(name + QStringLiteral("a"), content), home.writeFile(name + QStringLiteral("b"), content),
                                   home.writeFile(name + QStringLiteral("c"), content)});
        };
        QList<double> steps;
        QCOMPARE(detector.verifyGroup(group, threeCopies(13), [&](double f) { steps.append(f); }),
                 VerificationOutcome::identical());
        QVERIFY(steps.size() > 3); // within files too, not only at their ends
        QVERIFY(steps.size() <= 101);
        QVERIFY(std::is_sorted(steps.begin(), steps.end()));
        QVERIFY(steps.first() > 0);
        QVERIFY(steps.contains(1.0 / 3) && steps.contains(2.0 / 3));
        QCOMPARE(steps.last(), 1.0);

        // In bytes: the total first, then steps within and at the end of every file.
        constexpr qint64 total = 3 * 40 * FileHasher::chunkSize;
        QList<qint64> done;
        QCOMPARE(detector.verifyGroup(group, threeCopies(14), [&](VerificationProgress p) {
            QCOMPARE(p.bytesTotal, total);
            done.append(p.bytesDone);
        }), VerificationOutcome::identical());
        QCOMPARE(done.first(), 0);
        QVERIFY(done.contains(total / 3) && done.contains(2 * total / 3));
        QCOMPARE(done.last(), total);
        QVERIFY(std::is_sorted(done.begin(), done.end()));
        QVERIFY(done.size() > 4 && done.size() <= total / DuplicateDetector::progressStep + 4);
    }

    void overlappingVerificationsShareTheCache()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(8 * FileHasher::chunkSize, 14);
        const QUuid group = QUuid::createUuid();
        QStringList files;
        for (int i = 0; i < 6; ++i)
            files.append(home.writeFile(QStringLiteral("copy%1").arg(i), content));
        const QList<DetectedModel> models = groupOf(group, files);

        std::vector<std::future<VerificationOutcome>> runs;
        for (int i = 0; i < 4; ++i)
            runs.push_back(std::async(std::launch::async, [&] { return detector.verifyGroup(group, models); }));
        for (auto &run : runs)
            QCOMPARE(run.get(), VerificationOutcome::identical());
    }

    void errorMessages()
    {
        QCOMPARE(DuplicateHashError::unreadable(QStringLiteral("/models/x/model.gguf"), QStringLiteral("Permission denied")).message(),
                 QStringLiteral("model.gguf: Permission denied"));
        QCOMPARE(DuplicateHashError::unreadable(QStringLiteral("/models/folder/"), QStringLiteral("Is a directory")).message(),
                 QStringLiteral("folder: Is a directory"));
        QCOMPARE(DuplicateHashError::missingPrimaryFile().message(),
                 QStringLiteral("A primary model file could not be found."));
    }
};

QTEST_GUILESS_MAIN(TestDuplicateVerification)
#include "tst_DuplicateVerification.moc"
