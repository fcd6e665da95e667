#include "duplicates/DuplicateDetector.h"
#include "support/TempHome.h"

#include <QCryptographicHash>
#include <QFile>
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

// Rewrites a file in place and puts its size and modification time back, so the
// file looks unchanged to anything that only reads its attributes.
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
        const QUuid group = QUuid::createUuid();

        // Same bytes under different names.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
        // One byte differs, in the last partial chunk.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, c})), VerificationOutcome::different());
        // All or nothing: two alike and one not is wholly different.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b, c})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {emptyA, emptyB})), VerificationOutcome::identical());
        // The first difference ends the check: the missing file after it is never reached.
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, c, home.filePath(QStringLiteral("gone"))})),
                 VerificationOutcome::different());
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
        const VerificationOutcome expected = VerificationOutcome::failed(
            QStringLiteral("llama.gguf: ") + DuplicateDetector::sameFileReason());
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {file, home.filePath(QStringLiteral("models/../models/llama.gguf"))})), expected);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {hardLink, file})).kind, VerificationOutcomeKind::failed);
    }

    void groupsTooSmallToCompare()
    {
        TempHome home;
        DuplicateDetector detector;
        const QString a = home.writeFile(QStringLiteral("a"), 10);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(QUuid::createUuid(), groupOf(group, {a, a})), VerificationOutcome::different());
        QCOMPARE(detector.verifyGroup(group, {}), VerificationOutcome::different());
    }

    void memberWithoutFilesFails()
    {
        TempHome home;
        DuplicateDetector detector;
        const QUuid group = QUuid::createUuid();
        QList<DetectedModel> models = groupOf(group, {home.writeFile(QStringLiteral("a"), 10)});
        models.append(member(group, {}));
        QCOMPARE(detector.verifyGroup(group, models),
                 VerificationOutcome::failed(QStringLiteral("A primary model file could not be found.")));
        QCOMPARE(std::get<DuplicateHashError>(DuplicateDetector::primaryFiles({models.first(), models.last()})),
                 DuplicateHashError::missingPrimaryFile());
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

    void verificationComparesThePrimaryFilesOnly()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray blobContent = noise(4096, 3);
        const QUuid group = QUuid::createUuid();
        const QList<DetectedModel> models{
            member(group, {home.writeFile(QStringLiteral("one/manifest"), QByteArrayLiteral("first")),
                           home.writeFile(QStringLiteral("one/blob"), blobContent)}),
            member(group, {home.writeFile(QStringLiteral("two/blob"), blobContent),
                           home.writeFile(QStringLiteral("two/manifest"), QByteArrayLiteral("second"))}),
        };
        QCOMPARE(detector.verifyGroup(group, models), VerificationOutcome::identical());
    }

    void vanishedFileFailsAndEarlierDigestIsKept()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(1000, 4);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.filePath(QStringLiteral("models/b.gguf"));
        const QUuid group = QUuid::createUuid();

        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})),
                 VerificationOutcome::failed(QStringLiteral("b.gguf: ") + systemReason(ENOENT)));

        // The first file's digest was kept: with its bytes swapped behind an unchanged
        // size and time, the remembered digest still stands for it...
        replaceKeepingStamp(a, noise(1000, 5));
        QCOMPARE(std::get<QByteArray>(detector.cachedHash(a)), QCryptographicHash::hash(content, QCryptographicHash::Sha256));
        // ...while the failure was not remembered: b, now present, is read.
        home.writeFile(QStringLiteral("models/b.gguf"), content);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
    }

    void unchangedFilesAreNotReadAgain()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(multiChunk, 6);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("b.gguf"), content);
        const QUuid group = QUuid::createUuid();
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());

        // Different bytes behind the same size and time: only a read would notice.
        replaceKeepingStamp(b, noise(multiChunk, 9));
        if (::geteuid() != 0) // the owner of every file can still read it otherwise
            QCOMPARE(::chmod(QFile::encodeName(b).constData(), 0), 0);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
        ::chmod(QFile::encodeName(b).constData(), 0644);

        // A detector without those digests does read them and sees the difference.
        DuplicateDetector fresh;
        QCOMPARE(fresh.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::different());
    }

    void changedFilesAreHashedAgain()
    {
        TempHome home;
        DuplicateDetector detector;
        const QByteArray content = noise(5000, 10);
        const QString a = home.writeFile(QStringLiteral("a.gguf"), content);
        const QString b = home.writeFile(QStringLiteral("b.gguf"), content);
        const QUuid group = QUuid::createUuid();
        setModifiedExactly(b, 1'700'000'000, 0);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());

        // Touched: same size, a new time a microsecond later.
        replaceKeepingStamp(b, noise(5000, 11));
        setModifiedExactly(b, 1'700'000'000, 1000);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::different());

        // Back to the original bytes, same time, but a different size... then equal again.
        home.writeFile(QStringLiteral("b.gguf"), content + 'x');
        setModifiedExactly(b, 1'700'000'000, 1000);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::different());
        home.writeFile(QStringLiteral("b.gguf"), content);
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b})), VerificationOutcome::identical());
    }

    void cacheKeyDescribesOneVersionOfAFile()
    {
        TempHome home;
        const QString path = home.writeFile(QStringLiteral("f"), 1234);
        setModifiedExactly(path, 1'700'000'000, 250'000'000);
        const SHACacheKey key = SHACacheKey::forFile(path);
        QCOMPARE(key.path, path);
        QCOMPARE(key.fileSize, 1234);
        QCOMPARE(key.modificationDate, 1'700'000'000.25);
        QCOMPARE(SHACacheKey::forFile(path), key);
        QCOMPARE(qHash(SHACacheKey::forFile(path)), qHash(key));

        setModifiedExactly(path, 1'700'000'000, 250'001'000);
        QVERIFY(SHACacheKey::forFile(path) != key);

        const SHACacheKey missing = SHACacheKey::forFile(home.filePath(QStringLiteral("missing")));
        QCOMPARE(missing.fileSize, 0);
        QCOMPARE(missing.modificationDate, 0.0);
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
        QCOMPARE(detector.verifyGroup(group, groupOf(group, {a, b}), {}, &flag),
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
        const QByteArray content = noise(40 * FileHasher::chunkSize, 13);
        const QUuid group = QUuid::createUuid();
        const QStringList files{home.writeFile(QStringLiteral("a"), content), home.writeFile(QStringLiteral("b"), content),
                                home.writeFile(QStringLiteral("c"), content)};
        QList<double> steps;
        QCOMPARE(detector.verifyGroup(group, groupOf(group, files), [&](double f) { steps.append(f); }),
                 VerificationOutcome::identical());
        QVERIFY(steps.size() > 3); // within files too, not only at their ends
        QVERIFY(steps.size() <= 101);
        QVERIFY(std::is_sorted(steps.begin(), steps.end()));
        QVERIFY(steps.first() > 0);
        QVERIFY(steps.contains(1.0 / 3) && steps.contains(2.0 / 3));
        QCOMPARE(steps.last(), 1.0);
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
