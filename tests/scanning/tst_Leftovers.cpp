#include "core/StashwellCore.h"
#include "deletion/TrashService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/OllamaFixture.h"
#include "support/TempHome.h"

#include <QDir>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
const QString store = u".ollama/models"_s;
const QString serviceStore = u"service/models"_s; // its blobs folder is a link to the user's
const QString blobs = store + u"/blobs/"_s;
const QString repo = u".cache/huggingface/hub/models--org--repo"_s;
const QString fresh = u".cache/huggingface/hub/models--org--fresh"_s;
const QString jan = u".local/share/Jan/data/llamacpp/models/"_s;
const QString gpt4All = u".local/share/nomic.ai/GPT4All/"_s;

// The space files take on disk, as du counts it.
qint64 onDisk(const QStringList &paths)
{
    qint64 total = 0;
    for (const QString &path : paths) {
        struct stat info {};
        if (::lstat(QFile::encodeName(path).constData(), &info) == 0)
            total += qint64(info.st_blocks) * 512;
    }
    return total;
}

// `size` bytes on paper, only the first `written` of them on disk.
QString writeSparse(const TempHome &home, const QString &relative, qint64 size, qint64 written)
{
    const QString path = home.writeFile(relative, written);
    QFile::resize(path, size);
    return path;
}

// A model, every kind of leftover beside it, and the look-alikes that are none.
void layOutHome(const TempHome &home)
{
    OllamaFixture(home).addModel(u"library/kept/latest"_s, {{"sha256:cfg", 10}, {"sha256:weights", 5000}});
    writeSparse(home, blobs + u"sha256-dl-partial"_s, 300 << 20, 64 << 10);
    home.writeFile(blobs + u"sha256-dl-partial-0"_s, "{\"N\":0}");
    home.writeFile(blobs + u"sha256-unused"_s, 5000);
    home.writeFile(blobs + u"sha256-other-partial-x"_s, 10); // neither a part nor a blob anyone wrote

    home.writeFile(repo + u"/blobs/done"_s, 3000);
    writeSparse(home, repo + u"/blobs/next.incomplete"_s, qint64(1) << 30, 4096);
    QVERIFY(::mkfifo(QFile::encodeName(home.filePath(repo + u"/blobs/pipe.incomplete"_s)).constData(), 0600) == 0);
    home.writeFile(fresh + u"/blobs/first.incomplete"_s, 10); // a repository with nothing finished yet

    home.writeFile(gpt4All + u"incomplete-mistral.gguf"_s, 6000);
    home.writeFile(jan + u"phi/model.gguf.tmp"_s, 7000);
    home.writeFile(jan + u"phi/model.gguf.url"_s, "https://example.org/model.gguf");
    home.writeFile(jan + u"qwen/model.gguf"_s, 100);
    home.writeFile(jan + u"qwen/mmproj.gguf.tmp"_s, 100);
    home.writeFile(jan + u"lone/model.gguf.url"_s, "left after a finished download");
    // Only the Ollama download was written to within the hour.
    for (const QString &file : {repo + u"/blobs/next.incomplete"_s, fresh + u"/blobs/first.incomplete"_s, gpt4All + u"incomplete-mistral.gguf"_s, jan + u"phi/model.gguf.tmp"_s,
                                jan + u"phi/model.gguf.url"_s, jan + u"qwen/mmproj.gguf.tmp"_s})
        TempHome::setModified(home.filePath(file), QDateTime::currentDateTimeUtc().addSecs(-7200));
    // A model named as the "phi" leftover is, of its size: still no duplicate of it.
    home.writeFile(gpt4All + u"phi.gguf"_s,
                   onDisk({home.filePath(jan + u"phi/model.gguf.tmp"_s), home.filePath(jan + u"phi/model.gguf.url"_s)}));
}

QList<DetectedModel> named(const QList<DetectedModel> &models, const QString &name)
{
    QList<DetectedModel> chosen;
    std::copy_if(models.begin(), models.end(), std::back_inserter(chosen), [&](const DetectedModel &m) { return m.displayName == name; });
    return chosen;
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
        const QJsonObject report = scan.cliReport();
        const QString root = home.path() + u'/';

        QStringList seen;
        qint64 total = 0, reclaimable = 0;
        for (const QJsonValue &value : report[u"models"_s].toArray()) {
            const QJsonObject model = value.toObject();
            QStringList files;
            for (const QJsonValue &file : model[u"filePaths"_s].toArray())
                files << file.toString().remove(0, root.size());
            const QString kind = model[u"leftover"_s].isNull() ? u"model"_s : model[u"leftover"_s].toString();
            seen << u"%1 %2 [%3] %4"_s.arg(kind, model[u"sourceKind"_s].toString(), model[u"displayName"_s].toString(), files.join(u" | "_s));
            const qint64 size = model[u"sizeBytes"_s].toInteger();
            total += size;
            if (kind != u"model"_s) {
                QCOMPARE(size, onDisk(model[u"filePaths"_s].toVariant().toStringList()));
                QVERIFY(!model[u"isOrphaned"_s].toBool());
                QVERIFY(model[u"duplicateGroup"_s].isNull());
            }
            if (kind != u"model"_s || model[u"isOrphaned"_s].toBool())
                reclaimable += size;
        }
        const QString hubBlobs = repo + u"/blobs/"_s;
        QVERIFY(HomeScan::same(seen, {
            u"model ollama [kept:latest] "_s + store + u"/manifests/registry.ollama.ai/library/kept/latest | "_s + blobs
                + u"sha256-cfg | "_s + blobs + u"sha256-weights"_s,
            u"partialDownload ollama [sha256-dl-partial] "_s + blobs + u"sha256-dl-partial | "_s + blobs + u"sha256-dl-partial-0"_s,
            u"unreferencedBlob ollama [sha256-unused] "_s + blobs + u"sha256-unused"_s,
            u"model huggingFace [org/repo] "_s + repo,
            u"partialDownload huggingFace [org/repo] "_s + hubBlobs + u"next.incomplete"_s,
            u"partialDownload huggingFace [org/fresh] "_s + fresh + u"/blobs/first.incomplete"_s,
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
        QStringList titles;
        for (const QString &line : text.split(u'\n')) {
            if (line.contains(u"  ") && !line.startsWith(u' ') && !line.startsWith(u"Total"))
                titles << line.section(u" ("_s, 0, 0);
            if (line.contains(u"may still be downloading"_s))
                titles << u"  still: "_s + line.trimmed().section(u' ', 0, 0);
        }
        QCOMPARE(titles, (QStringList{u"Orphaned Models"_s, u"Leftovers"_s, u"  still: sha256-dl-partial"_s, u"Hugging Face"_s}));
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
            << QStringList{repo + u"/blobs/next.incomplete"_s, repo} << QString();
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
        QDir().mkpath(home.filePath(serviceStore));
        QVERIFY(QFile::link(home.filePath(blobs), home.filePath(serviceStore + u"/blobs"_s)));
        const OllamaFixture service(home, serviceStore);
        service.addModel(u"library/svc/latest"_s, {{"sha256:svc", 10}});
        StashwellCore::Machine machine = home.machine();
        machine.ollamaStores = [&home] { return QList<OllamaStore>{{home.filePath(store)}, {home.filePath(serviceStore)}}; };
        const StashwellCore core(machine);

        const QList<DetectedModel> models = core.scan().models;
        const auto unusedBlobs = std::count_if(models.begin(), models.end(),
                                               [](const DetectedModel &m) { return m.leftover == LeftoverKind::unreferencedBlob; });
        QCOMPARE(unusedBlobs, 1); // sha256-svc is the service store's; the shared folder is listed once
        if (namedNow)
            service.addModel(u"library/pulled/latest"_s, {{"sha256:svc", 10}, {"sha256:unused", 5000}});
        const QList<DetectedModel> chosen = named(models, name);
        QVERIFY(!chosen.isEmpty());
        const QStringList expected = moved.replaceInStrings(QRegularExpression(u"^"_s), home.path() + u'/');

        const FileTreeSnapshot before(home.path());
        const DeletionResult plan = core.planDeletion(chosen);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, {}, TrashService::homeTrashPath()), QStringList());
        const DeletionResult result = core.deleteModels(chosen);
        QCOMPARE(plan.trashedPaths, expected);
        QCOMPARE(result.trashedPaths, expected);
        QCOMPARE(result.informativeText(), alert);
        const QStringList problems = FileTreeSnapshot(home.path()).problemsAfterTrashing(before, expected, TrashService::homeTrashPath());
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(TestLeftovers)
#include "tst_Leftovers.moc"
