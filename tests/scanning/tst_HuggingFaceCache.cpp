#include "core/StashwellCore.h"
#include "deletion/TrashService.h"
#include "duplicates/DuplicateDetector.h"
#include "support/FileTreeSnapshot.h"
#include "support/TempHome.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
const QString hub = u".cache/huggingface/hub/"_s;
const QString repo = hub + u"models--o--r"_s;

// Files and links of a cache, relative to the home ("@" in a target stands for the home).
void write(const TempHome &home, const QList<std::pair<QString, QString>> &links, const QList<std::pair<QString, int>> &files = {})
{
    for (const auto &[path, size] : files)
        home.writeFile(path, size);
    for (const auto &[link, target] : links) {
        home.makeDir(QFileInfo(link).path());
        QVERIFY(QFile::link(QString(target).replace(u'@', home.path()), home.filePath(link)));
    }
}

// A repository updated once: both revisions link the weights, each its own config; main names r2.
void layOutRepository(const TempHome &home)
{
    write(home, {{repo + u"/snapshots/r1/w"_s, u"../../blobs/a"_s}, {repo + u"/snapshots/r1/c.json"_s, u"../../blobs/b"_s},
                 {repo + u"/snapshots/r2/w"_s, u"../../blobs/a"_s}, {repo + u"/snapshots/r2/c.json"_s, u"../../blobs/c"_s}},
          {{repo + u"/blobs/a"_s, 1000}, {repo + u"/blobs/b"_s, 10}, {repo + u"/blobs/c"_s, 20}});
    home.writeFile(repo + u"/refs/main"_s, "r2");
}

// One line per entry: what it is, its source, name, repoType and size, and its files.
QStringList describe(const QList<DetectedModel> &models, const TempHome &home)
{
    QStringList lines;
    for (const DetectedModel &m : models) {
        lines << u"%1 %2 [%3] %4 %5: %6"_s.arg(m.isLeftover() ? m.leftoverKey() : u"model"_s, m.sourceTool.key(), m.displayName, m.repoType)
                     .arg(m.sizeBytes).arg(QStringList(m.filePaths).replaceInStrings(home.path() + u'/', QString()).join(u" | "_s));
    }
    return lines;
}

QList<DetectedModel> oldRevisions(const QList<DetectedModel> &models)
{
    QList<DetectedModel> old;
    std::copy_if(models.begin(), models.end(), std::back_inserter(old), [](const DetectedModel &m) { return m.leftover == LeftoverKind::oldRevision; });
    return old;
}
} // namespace

// The hub cache as the Hugging Face library and llama.cpp write it: repositories of every
// kind, revisions no ref names as leftovers that leave alone, snapshots without links.
class TestHuggingFaceCache : public QObject
{
    Q_OBJECT

private slots:
    void everyKindOfRepositoryAndItsOldRevisions()
    {
        TempHome home;
        layOutRepository(home);
        write(home, {{repo + u"/snapshots/r1/out"_s, u"@/elsewhere/big"_s}, {repo + u"/snapshots/r2/gone.json"_s, u"../../blobs/gone"_s},
                     {repo + u"/blobs/linked"_s, u"@/elsewhere/big"_s}, {hub + u"spaces--org--app/snapshots/s/app.py"_s, u"../../blobs/x"_s}},
              {{u"elsewhere/big"_s, 5000}, {repo + u"/blobs/stray"_s, 2000}, {hub + u"spaces--org--app/blobs/x"_s, 30}, {hub + u"models--gpt2/blobs/g"_s, 40},
               {hub + u"models--gpt2/snapshots/old/g"_s, 2}}); // no refs: one entry, as every snapshot may be current
        // Written where links could not be made: the snapshot holds the file itself.
        home.writeFile(hub + u"datasets--org--data/snapshots/s1/train.parquet"_s, 400);
        home.writeFile(hub + u"datasets--org--data/refs/main"_s, "s1\n");
        QVERIFY(::mkfifo(QFile::encodeName(home.filePath(repo + u"/blobs/d.incomplete"_s)).constData(), 0600) == 0);

        const QList<DetectedModel> models = StashwellCore(home.machine()).scan().models;
        QCOMPARE(describe(models, home), (QStringList{
            u"model huggingFace [org/data] dataset 400: "_s + hub + u"datasets--org--data"_s,
            u"model huggingFace [gpt2] model 42: "_s + hub + u"models--gpt2"_s,
            u"model huggingFace [o/r] model 3020: "_s + repo, // a blob no revision links is the repository's, not what it is
            u"oldRevision huggingFace [o/r] model 10: "_s + repo + u"/snapshots/r1 | "_s + repo + u"/blobs/b"_s,
            u"model huggingFace [org/app] space 30: "_s + hub + u"spaces--org--app"_s}));
        const auto primaries = std::get<QStringList>(DuplicateDetector::primaryFiles(models.first(3)));
        QCOMPARE(primaries, (QStringList{home.filePath(hub + u"datasets--org--data/snapshots/s1/train.parquet"_s),
                                         home.filePath(hub + u"models--gpt2/blobs/g"_s), home.filePath(repo + u"/blobs/a"_s)}));
    }

    // Refs and links no tool writes: no revision is called old unless every ref names one
    // that is there, a link never counts what lies outside its repository, and nothing is touched.
    void badRepositoriesDegradeAndTouchNothing_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<int>("repositorySize");
        QTest::addColumn<bool>("oldRevision"); // r1 with its own blob b
        QTest::newRow("as written") << QString() << 1020 << true;
        QTest::newRow("a ref naming a missing snapshot") << u"missing"_s << 1030 << false;
        QTest::newRow("a ref that is a pipe") << u"pipe"_s << 1030 << false;
        QTest::newRow("a ref larger than a commit") << u"large"_s << 1030 << false;
        QTest::newRow("refs that are a link") << u"linked refs"_s << 1030 << false;
        QTest::newRow("snapshot links out of the repository") << u"links out"_s << 1020 << true;
        QTest::newRow("an absolute link into its own blobs by another path") << u"absolute"_s << 1020 << true;
    }
    void badRepositoriesDegradeAndTouchNothing()
    {
        QFETCH(QString, damage);
        QFETCH(int, repositorySize);
        QFETCH(bool, oldRevision);
        TempHome home;
        layOutRepository(home);
        home.writeFile(hub + u"models--x--y/blobs/z"_s, 5000);
        if (damage == u"missing"_s)
            home.writeFile(repo + u"/refs/refs/pr/1"_s, "r9");
        else if (damage == u"pipe"_s)
            QVERIFY(::mkfifo(QFile::encodeName(home.filePath(repo + u"/refs/v1"_s)).constData(), 0600) == 0);
        else if (damage == u"large"_s)
            home.writeFile(repo + u"/refs/v2"_s, "r2" + QByteArray(4096, '\n'));
        else if (damage == u"linked refs"_s)
            QVERIFY(QDir(home.filePath(repo + u"/refs"_s)).removeRecursively() && QFile::link(home.filePath(hub + u"models--x--y"_s), home.filePath(repo + u"/refs"_s)));
        else if (damage == u"links out"_s)
            write(home, {{repo + u"/snapshots/r1/other"_s, u"../../../models--x--y/blobs/z"_s}, {repo + u"/snapshots/r2/abs"_s, u"@/elsewhere/b"_s},
                         {repo + u"/snapshots/r2/sub/c.json"_s, u"../../blobs/b"_s}}, // one folder too shallow for a blob
                  {{u"elsewhere/b"_s, 7}}); // named as the old revision's own blob
        else if (damage == u"absolute"_s) // made through another path to the cache
            QVERIFY(QFile::remove(home.filePath(repo + u"/snapshots/r1/c.json"_s)) && QFile::link(home.filePath(u".cache"_s), home.filePath(u"alias"_s))
                    && QFile::link(home.filePath(u"alias/huggingface/hub/models--o--r/blobs/b"_s), home.filePath(repo + u"/snapshots/r1/c.json"_s)));

        const FileTreeSnapshot before(home.path());
        const StashwellCore core(home.machine());
        const QList<DetectedModel> models = core.scan().models;
        QStringList expected{u"model huggingFace [o/r] model %1: "_s.arg(repositorySize) + repo, u"model huggingFace [x/y] model 5000: "_s + hub + u"models--x--y"_s};
        if (oldRevision)
            expected.insert(1, u"oldRevision huggingFace [o/r] model 10: "_s + repo + u"/snapshots/r1 | "_s + repo + u"/blobs/b"_s);
        QCOMPARE(describe(models, home), expected);
        const QStringList moved = oldRevision ? QStringList{home.filePath(repo + u"/snapshots/r1"_s), home.filePath(repo + u"/blobs/b"_s)} : QStringList();
        QCOMPARE(core.deleteModels(oldRevisions(models)).trashedPaths, moved);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, moved, TrashService::homeTrashPath()), QStringList());
    }

    // It stays when a ref names it or another revision links its blob by the time it would
    // move; it moves leaving every named revision whole, and the Trash gives it back working.
    void anOldRevisionMovesAloneAndComesBackWorking()
    {
        if (QStandardPaths::findExecutable(u"trash-restore"_s).isEmpty())
            QSKIP("trash-cli is not installed: apt-get install trash-cli");
        TempHome home;
        layOutRepository(home);
        const StashwellCore core(home.machine());
        const QList<DetectedModel> old = oldRevisions(core.scan().models);
        QCOMPARE(old.size(), 1);
        const QList<std::pair<QString, QString>> changes{
            {repo + u"/refs/v1"_s, u"A ref of the repository names this revision now, or its refs cannot be read, so it stays."_s},
            {repo + u"/snapshots/r3/c.json"_s, u"Another revision of the repository uses one of its files now, so it stays."_s}};
        for (const auto &[path, reason] : changes) {
            if (path.contains(u"r3"_s))
                write(home, {{path, u"../../blobs/b"_s}});
            else
                home.writeFile(path, "r1");
            QCOMPARE(core.deleteModels(old).informativeText(), u"o/r - "_s + reason);
            QVERIFY(QFile::remove(home.filePath(path)));
            QDir().rmdir(home.filePath(QFileInfo(path).path())); // r3's folder; refs/ keeps main
        }

        const FileTreeSnapshot before(home.path());
        const QStringList moved{home.filePath(repo + u"/snapshots/r1"_s), home.filePath(repo + u"/blobs/b"_s)};
        QCOMPARE(core.deleteModels(old).trashedPaths, moved);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, moved, TrashService::homeTrashPath()), QStringList());
        QCOMPARE(QFileInfo(home.filePath(repo + u"/snapshots/r2/w"_s)).size(), 1000); // the current one still reads
        for (const QString &path : moved) {
            QProcess restore;
            restore.start(u"trash-restore"_s, {path});
            restore.write("0\n");
            restore.closeWriteChannel();
            QVERIFY(restore.waitForFinished(60000));
        }
        QCOMPARE(QFileInfo(home.filePath(repo + u"/snapshots/r1/c.json"_s)).size(), 10); // its link leads to its blob again
        QCOMPARE(oldRevisions(core.scan().models).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestHuggingFaceCache)
#include "tst_HuggingFaceCache.moc"
