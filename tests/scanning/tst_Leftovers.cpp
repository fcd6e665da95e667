#include "core/StashwellCore.h"
#include "deletion/TrashService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/OllamaFixture.h"
#include "support/TempHome.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
const QString blobs = u".ollama/models/blobs/"_s;
const QString repo = u".cache/huggingface/hub/models--org--repo"_s;
const QString jan = u".local/share/Jan/data/llamacpp/models/"_s;
const QString gpt4All = u".local/share/nomic.ai/GPT4All/"_s;
const QString lmStudio = u".lmstudio/models/pub/"_s;

// The space files take on disk, as du counts it.
qint64 onDisk(const QStringList &paths)
{
    qint64 total = 0;
    for (const QString &path : paths) {
        struct stat info {};
        total += ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? qint64(info.st_blocks) * 512 : 0;
    }
    return total;
}

// A model, every kind of leftover beside it, and the look-alikes that are none.
void layOutHome(const TempHome &home)
{
    OllamaFixture(home).addModel(u"library/kept/latest"_s, {{"sha256:cfg", 10}, {"sha256:weights", 5000}});
    struct File { QString path; qint64 written; qint64 size = 0; }; // larger size: sparse
    const File files[] = {
        {blobs + u"sha256-dl-partial"_s, 64 << 10, 300 << 20}, {blobs + u"sha256-dl-partial-0"_s, 8},
        {blobs + u"sha256-unused"_s, 5000}, {blobs + u"sha256-other-partial-x"_s, 10}, // no name Ollama gives
        {repo + u"/blobs/done"_s, 3000}, {repo + u"/blobs/next.incomplete"_s, 4096, 1 << 30},
        {u".cache/huggingface/hub/models--org--fresh/blobs/first.incomplete"_s, 10}, // nothing finished yet
        {gpt4All + u"incomplete-mistral.gguf"_s, 6000}, {jan + u"phi/model.gguf.tmp"_s, 7000}, {jan + u"phi/model.gguf.url"_s, 30},
        {jan + u"qwen/model.gguf"_s, 100}, {jan + u"qwen/mmproj.gguf.tmp"_s, 100},
        {jan + u"lone/model.gguf.url"_s, 30}, // left by a download that finished
        {repo + u"/blobs/etag.0f1e2d3c.incomplete"_s, 20}, {repo + u"/blobs/oid.downloadInProgress"_s, 40}, // a second try; llama.cpp's
        {lmStudio + u"only/model.gguf.part"_s, 50}, {lmStudio + u"both/w.gguf"_s, 60}, {lmStudio + u"both/downloading_x.gguf.part"_s, 70},
    };
    for (const File &file : files) {
        const QString path = home.writeFile(file.path, file.written);
        QFile::resize(path, std::max(file.size, file.written));
        if (!file.path.startsWith(blobs)) // only Ollama's download was written to within the hour
            TempHome::setModified(path, QDateTime::currentDateTimeUtc().addSecs(-7200));
    }
    QVERIFY(::mkfifo(QFile::encodeName(home.filePath(repo + u"/blobs/pipe.incomplete"_s)).constData(), 0600) == 0);
    // A model named as the "phi" leftover is, of its size: still no duplicate of it.
    home.writeFile(gpt4All + u"phi.gguf"_s, onDisk({home.filePath(jan + u"phi/model.gguf.tmp"_s), home.filePath(jan + u"phi/model.gguf.url"_s)}));
}
} // namespace

// Unfinished downloads and blobs no model uses: listed as entries of their stores with
// the space they take, counted, and moved to the Trash without touching any model.
class TestLeftovers : public QObject
{
    Q_OBJECT

private slots:
    void eachLeftoverIsOneEntryOfItsStore()
    {
        TempHome home;
        layOutHome(home);
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        const QJsonObject report = QJsonDocument::fromJson(scan.runCli({u"scan"_s, u"--json"_s}).out).object();

        QStringList seen;
        qint64 total = 0, reclaimable = 0;
        for (const QJsonValue &value : report[u"models"_s].toArray()) {
            const QJsonObject model = value.toObject();
            QStringList files = model[u"filePaths"_s].toVariant().toStringList();
            const QString kind = model[u"leftover"_s].isNull() ? u"model"_s : model[u"leftover"_s].toString();
            seen << u"%1 %2 [%3] %4"_s.arg(kind, model[u"sourceKind"_s].toString(), model[u"displayName"_s].toString(), files.join(u" | "_s).remove(home.path() + u'/'));
            const qint64 size = model[u"sizeBytes"_s].toInteger();
            total += size;
            if (kind != u"model"_s) {
                QCOMPARE(size, onDisk(files));
                QVERIFY(!model[u"isOrphaned"_s].toBool());
                QVERIFY(model[u"duplicateGroup"_s].isNull());
            }
            if (kind != u"model"_s || model[u"isOrphaned"_s].toBool())
                reclaimable += size;
        }
        QVERIFY(HomeScan::same(seen, {
            u"model ollama [kept:latest] .ollama/models/manifests/registry.ollama.ai/library/kept/latest | "_s + blobs
                + u"sha256-cfg | "_s + blobs + u"sha256-weights"_s,
            u"partialDownload ollama [sha256-dl-partial] "_s + blobs + u"sha256-dl-partial | "_s + blobs + u"sha256-dl-partial-0"_s,
            u"unreferencedBlob ollama [sha256-unused] "_s + blobs + u"sha256-unused"_s,
            u"model huggingFace [org/repo] "_s + repo,
            u"partialDownload huggingFace [org/repo] "_s + repo + u"/blobs/etag.0f1e2d3c.incomplete"_s,
            u"partialDownload huggingFace [org/repo] "_s + repo + u"/blobs/next.incomplete"_s,
            u"partialDownload huggingFace [org/repo] "_s + repo + u"/blobs/oid.downloadInProgress"_s,
            u"model lmStudio [both] "_s + lmStudio + u"both/w.gguf"_s,
            u"partialDownload lmStudio [both] "_s + lmStudio + u"both/downloading_x.gguf.part"_s,
            u"partialDownload lmStudio [only] "_s + lmStudio + u"only/model.gguf.part"_s,
            u"partialDownload huggingFace [org/fresh] .cache/huggingface/hub/models--org--fresh/blobs/first.incomplete"_s,
            u"model gpt4All [phi] "_s + gpt4All + u"phi.gguf"_s,
            u"partialDownload gpt4All [incomplete-mistral.gguf] "_s + gpt4All + u"incomplete-mistral.gguf"_s,
            u"partialDownload jan [phi] "_s + jan + u"phi/model.gguf.tmp | "_s + jan + u"phi/model.gguf.url"_s,
            u"model jan [qwen] "_s + jan + u"qwen/model.gguf"_s,
            u"partialDownload jan [qwen] "_s + jan + u"qwen/mmproj.gguf.tmp"_s,
            u"model jan [lone] "_s + jan + u"lone/model.gguf.url"_s,
        }));
        QVERIFY(onDisk({home.filePath(blobs + u"sha256-dl-partial"_s)}) < (1 << 20)); // sparse: 300 MiB on paper
        QCOMPARE(report[u"totalSize"_s].toInteger(), total);
        QCOMPARE(report[u"reclaimableSize"_s].toInteger(), reclaimable);

        // The terminal's report: the sections in the window's order, and the download
        // written to just now says it may still be going on.
        const QString text = QString::fromUtf8(scan.runCli({u"scan"_s}).out);
        QStringList shown;
        for (const QString &line : text.split(u'\n')) {
            if ((!line.startsWith(u' ') && line.contains(u" ("_s)) || line.contains(u"may still be downloading"_s))
                shown << line.trimmed().section(u"  "_s, 0, 0);
        }
        QCOMPARE(shown, (QStringList{u"Orphaned Models (5)"_s, u"Leftovers (11)"_s, u"sha256-dl-partial"_s, u"Hugging Face (1)"_s}));
    }

    void leftoversMoveAloneAndABlobOnlyWhileNoManifestNamesIt_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("namedNow"); // a manifest naming the unused blob appears after the scan
        QTest::addColumn<QStringList>("moved");
        QTest::addColumn<QString>("alert");
        QTest::newRow("an unused blob") << u"sha256-unused"_s << false << QStringList{blobs + u"sha256-unused"_s} << QString();
        QTest::newRow("an unused blob a manifest names now") << u"sha256-unused"_s << true << QStringList{}
            << u"sha256-unused - An Ollama model uses this blob now: a manifest names it, so it stays."_s;
        QTest::newRow("an unfinished download with its parts") << u"sha256-dl-partial"_s << false
            << QStringList{blobs + u"sha256-dl-partial"_s, blobs + u"sha256-dl-partial-0"_s} << QString();
        QTest::newRow("a repository with its unfinished download") << u"org/repo"_s << false
            << QStringList{repo + u"/blobs/etag.0f1e2d3c.incomplete"_s, repo + u"/blobs/next.incomplete"_s,
                           repo + u"/blobs/oid.downloadInProgress"_s, repo} << QString();
    }
    void leftoversMoveAloneAndABlobOnlyWhileNoManifestNamesIt()
    {
        QFETCH(QString, name);
        QFETCH(bool, namedNow);
        QFETCH(QStringList, moved);
        QFETCH(QString, alert);
        TempHome home;
        layOutHome(home);
        // A second store sharing the blobs folder, whose manifest alone names one blob.
        QVERIFY(QDir().mkpath(home.filePath(u"service/models"_s)));
        QVERIFY(QFile::link(home.filePath(blobs), home.filePath(u"service/models/blobs"_s)));
        const OllamaFixture service(home, u"service/models"_s);
        service.addModel(u"library/svc/latest"_s, {{"sha256:svc", 10}});
        StashwellCore::Machine machine = home.machine();
        machine.ollamaStores = [&home] { return QList<OllamaStore>{{home.filePath(u".ollama/models"_s)}, {home.filePath(u"service/models"_s)}}; };
        const StashwellCore core(machine);

        QList<DetectedModel> chosen, models = core.scan().models;
        std::copy_if(models.begin(), models.end(), std::back_inserter(chosen), [&](const DetectedModel &m) { return m.displayName == name; });
        const auto unusedBlobs = std::count_if(models.begin(), models.end(), [](const DetectedModel &m) { return m.leftover == LeftoverKind::unreferencedBlob; });
        QCOMPARE(unusedBlobs, 1); // sha256-svc is the service store's; the shared folder is listed once
        if (namedNow)
            service.addModel(u"library/pulled/latest"_s, {{"sha256:svc", 10}, {"sha256:unused", 5000}});
        const QStringList expected = moved.replaceInStrings(QRegularExpression(u"^"_s), home.path() + u'/');

        const FileTreeSnapshot before(home.path());
        const DeletionResult plan = core.planDeletion(chosen);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, {}, TrashService::homeTrashPath()), QStringList());
        const DeletionResult result = core.deleteModels(chosen);
        QCOMPARE(plan.trashedPaths, expected);
        QCOMPARE(result.trashedPaths, expected);
        QCOMPARE(result.informativeText(), alert);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, expected, TrashService::homeTrashPath()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestLeftovers)
#include "tst_Leftovers.moc"
