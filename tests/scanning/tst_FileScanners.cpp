#include "scanning/CustomFolderScanner.h"
#include "scanning/DirectoryWalker.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanRoutines.h"
#include "scanning/SourceScanner.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {
QStringList names(const QList<DetectedModel> &models)
{
    QStringList result;
    for (const DetectedModel &model : models)
        result << model.displayName;
    return result;
}

QStringList texts(std::initializer_list<const char *> items)
{
    QStringList result;
    for (const char *item : items)
        result << QString::fromUtf8(item);
    return result;
}
} // namespace

class TestFileScanners : public QObject
{
    Q_OBJECT
private slots:
    // What the walker lists of a custom folder: model extensions in any case, no hidden
    // entry, no link but the named folder itself, no pipe (opening one would hang the
    // scan), and a file whose name is not text listed without a path.
    void customFolderListsOnlyModelFilesItMayAddress()
    {
        TempHome home;
        home.writeFile(QStringLiteral("M/a.GGUF"), 3);
        home.writeFile(QStringLiteral("M/sub/deeper/b.bin"), 4);
        home.writeFile(QStringLiteral("M/c.SafeTensors"), 5);
        home.writeFile(QStringLiteral("M/llama-3-8b.Q4_K_M.gguf"), 1);
        for (const char *ignored : {"M/d.ckpt", "M/e.pt", "M/f", "M/x.gguf.part", "M/.x.gguf", "M/.cache/y.gguf"})
            home.writeFile(QString::fromLatin1(ignored), 1);
        home.writeFile(QStringLiteral("M/Some.app/Contents/w.gguf"), 2); // packages are plain folders here
        home.makeDir(QStringLiteral("M/dir.gguf"));
        home.writeRawFile("M/caf\xe9.gguf", "xyz");
        const QString outside = home.writeFile(QStringLiteral("outside/real.gguf"), 7);
        QVERIFY(QFile::link(outside, home.filePath(QStringLiteral("M/link.gguf"))));
        QVERIFY(QFile::link(home.filePath(QStringLiteral("outside")), home.filePath(QStringLiteral("M/linked-folder"))));
        QVERIFY(QFile::link(home.filePath(QStringLiteral("M")), home.filePath(QStringLiteral("M/loop"))));
        QVERIFY(QFile::link(QStringLiteral("self.gguf"), home.filePath(QStringLiteral("M/self.gguf"))));
        QCOMPARE(::mkfifo(QFile::encodeName(home.filePath(QStringLiteral("M/pipe.gguf"))).constData(), 0600), 0);

        const QString folder = home.filePath(QStringLiteral("M"));
        const auto models = CustomFolderScanner().scan({folder, home.filePath(QStringLiteral("missing"))});
        // A folder's files, then its subfolders, each in byte order.
        QCOMPARE(names(models), texts({"a", "c", "caf\xef\xbf\xbd", "llama-3-8b.Q4_K_M", "w", "b"}));
        QCOMPARE(models[2].filePaths, QStringList());
        QVERIFY(models[2].problem.contains(QStringLiteral("is not valid text")));
        QCOMPARE(models[2].sizeBytes, 3);
        const DetectedModel *b = &models.last();
        QCOMPARE(b->sizeBytes, 4);
        QCOMPARE(b->filePaths, QStringList{folder + QStringLiteral("/sub/deeper/b.bin")});
        QCOMPARE(b->sourceTool, SourceTool::custom(QStringLiteral("M")));
        QVERIFY(!b->isOrphaned && b->problem.isEmpty());
        QVERIFY(CustomFolderScanner().scan({}).isEmpty());
        // Folders of one name are one source; a folder listed twice is scanned twice.
        home.writeFile(QStringLiteral("B/M/y.gguf"), 1);
        const auto twice = CustomFolderScanner().scan({folder + u'/', home.filePath(QStringLiteral("B/M")), folder});
        QCOMPARE(twice.size(), 2 * models.size() + 1);
        QCOMPARE(twice[models.size()].sourceTool, b->sourceTool);
        QVERIFY(twice.first().filePaths == twice[models.size() + 1].filePaths && twice.first().id != twice[models.size() + 1].id);

        // The folder the user named may itself be a link: that one is followed.
        QVERIFY(QFile::link(home.filePath(QStringLiteral("outside")), home.filePath(QStringLiteral("named-link"))));
        QCOMPARE(names(CustomFolderScanner().scan({home.filePath(QStringLiteral("named-link"))})),
                 QStringList{QStringLiteral("real")});
    }

    void modelsComeInByteOrderWhateverOrderTheyWereMadeIn()
    {
        TempHome home;
        // Neither this order nor its reverse is byte order, and readdir gives either on some file system.
        for (const QByteArray name : {"b", "\xc3\xa9", "B", "a", "_", "Z", "10", "9"}) {
            home.writeRawFile("M/" + name + ".gguf", "x");
            home.writeRawFile("tree/" + name + '/' + name + "/w.gguf", "x");
        }
        const QStringList expected = texts({"10", "9", "B", "Z", "_", "a", "b", "\xc3\xa9"});
        QCOMPARE(names(CustomFolderScanner().scan({home.filePath(QStringLiteral("M"))})), expected);
        QCOMPARE(names(ScanRoutines::scanModelTree(home.filePath(QStringLiteral("tree")), SourceTool::Kind::omlx)), expected);
    }

    void walkSurvivesVeryDeepTrees()
    {
        TempHome home;
        // Deeper than any recursion would survive with a small stack, and deeper than
        // PATH_MAX: the part out of reach is skipped, the rest is found.
        QByteArray relative = "deep";
        const int levels = 3000;
        QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("deep"))));
        QVERIFY(::chdir(QFile::encodeName(home.filePath(QStringLiteral("deep"))).constData()) == 0);
        for (int i = 0; i < levels; ++i) {
            QVERIFY(::mkdir("d", 0755) == 0);
            QVERIFY(::chdir("d") == 0);
            if (i == 10)
                QFile(QStringLiteral("shallow.gguf")).open(QIODevice::WriteOnly);
        }
        QFile(QStringLiteral("bottom.gguf")).open(QIODevice::WriteOnly);
        QVERIFY(::chdir("/") == 0);
        int visited = 0;
        QVERIFY(DirectoryWalker::walk(home.filePath(QStringLiteral("deep")), [&](const DirectoryWalker::Entry &) { ++visited; }));
        QVERIFY(visited > 1000);
        QCOMPARE(names(CustomFolderScanner().scan({home.filePath(QStringLiteral("deep"))})),
                 QStringList{QStringLiteral("shallow")});
        // Too deep for QDir to remove; rm works relative to each folder.
        QCOMPARE(QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), home.filePath(QStringLiteral("deep"))}), 0);
    }

    // Each application's folders on every platform, in the definition's order, each
    // walked the way the application lays out its models; XDG_DATA_HOME is moved.
    void everyApplicationIsFoundInItsFoldersWithItsLayout_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("expected"); // name and size; every file holds one byte
        using K = SourceTool::Kind;
        QTest::newRow("LM Studio: publisher/model folders, then the older cache") << int(K::lmStudio)
            << texts({".lmstudio/models/pub/model/a.gguf", ".lmstudio/models/pub/model/sub/b.json",
                      ".lmstudio/models/pub/c.gguf", ".lmstudio/models/d.gguf", ".lmstudio/models/pub/hidden-only/.x",
                      ".cache/lm-studio/models/old/m2/w.safetensors"})
            << texts({"model 2", "m2 1"});
        QTest::newRow("oMLX: every file of a model folder") << int(K::omlx)
            << texts({".omlx/models/mlx-community/Qwen3-4B-4bit/model.safetensors",
                      ".omlx/models/mlx-community/Qwen3-4B-4bit/config.json", ".omlx/models/mlx-community/stray.bin"})
            << texts({"Qwen3-4B-4bit 2"});
        QTest::newRow("Jan: the innermost folder holding files, macOS folders first") << int(K::jan)
            << texts({"Library/Application Support/Jan/data/mlx/models/qwen/w.safetensors",
                      "xdg/Jan/data/llamacpp/models/loose.gguf", "xdg/Jan/data/llamacpp/models/qwen/model.gguf",
                      "xdg/Jan/data/llamacpp/models/qwen/model.yml", "xdg/Jan/data/llamacpp/models/qwen/extra/more.bin",
                      "xdg/Jan/data/llamacpp/models/a/b/c.gguf", ".local/share/Jan/data/mlx/models/stale/w.gguf"})
            << texts({"qwen 1", "b 1", "qwen 2", "extra 1"});
        QTest::newRow("GPT4All: .gguf files of the app (macOS, XDG, Flatpak) and the bindings' cache") << int(K::gpt4All)
            << texts({".cache/gpt4all/Llama.Q4_0.GGUF", ".cache/gpt4all/model.bin", ".cache/gpt4all/.hidden/x.gguf",
                      "Library/Application Support/nomic.ai/GPT4All/first.gguf", "xdg/nomic.ai/GPT4All/xdg.gguf",
                      ".var/app/io.gpt4all.gpt4all/data/nomic.ai/GPT4All/flatpak.gguf"})
            << texts({"first 1", "Llama.Q4_0 1", "xdg 1", "flatpak 1"});
        QTest::newRow("Draw Things: checkpoints and safetensors") << int(K::drawThings)
            << texts({"Library/Containers/com.liuliu.draw-things/Data/Documents/Models/sd_v1.5.ckpt",
                      "Library/Containers/com.liuliu.draw-things/Data/Documents/Models/flux.SAFETENSORS",
                      "Library/Containers/com.liuliu.draw-things/Data/Documents/Models/model.gguf"})
            << texts({"flux 1", "sd_v1.5 1"});
    }

    void everyApplicationIsFoundInItsFoldersWithItsLayout()
    {
        QFETCH(int, kind);
        QFETCH(QStringList, files);
        QFETCH(QStringList, expected);
        TempHome home;
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("xdg"))));
        const OllamaScanner noStores{QList<OllamaStore>()};
        const SourceScanner scanner(*ModelSourceDefinition::find(SourceTool::Kind(kind)), noStores);
        QVERIFY(scanner.scan().isEmpty());
        for (const QString &file : files)
            home.writeFile(file, 1);
        QStringList found;
        for (const DetectedModel &model : scanner.scan()) {
            QCOMPARE(model.sourceTool, SourceTool(SourceTool::Kind(kind)));
            found << model.displayName + QLatin1Char(' ') + QString::number(model.sizeBytes);
        }
        QCOMPARE(found, expected);
    }

    void sizesAndDatesComeFromTheFiles()
    {
        TempHome home;
        const QDateTime older(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC), newer(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC);
        const QString a = home.writeFile(QStringLiteral("tree/pub/model/a.gguf"), 10);
        TempHome::setModified(a, older);
        TempHome::setModified(home.writeFile(QStringLiteral("tree/pub/model/sub/b.json"), 5), newer);
        home.makeDir(QStringLiteral("tree/pub/link-only"));
        QVERIFY(QFile::link(a, home.filePath(QStringLiteral("tree/pub/link-only/a.gguf"))));
        const auto files = CustomFolderScanner().scan({home.filePath(QStringLiteral("tree"))});
        QCOMPARE(names(files), QStringList{QStringLiteral("a")});
        QCOMPARE(files[0].sizeBytes, 10);
        QCOMPARE(files[0].lastModified, older);
        // A folder model is as new as its newest file; a folder holding only a link is none.
        const auto tree = ScanRoutines::scanModelTree(home.filePath(QStringLiteral("tree")), SourceTool::Kind::lmStudio);
        QCOMPARE(names(tree), QStringList{QStringLiteral("model")});
        QCOMPARE(tree[0].lastModified, newer);

        // Grouped by their own folder: a link counts as a file, a subfolder is a model of its own.
        QVERIFY(QFile::link(a, home.filePath(QStringLiteral("tree/pub/model/link"))));
        TempHome::setModified(home.filePath(QStringLiteral("tree/pub/model/link")), older);
        const auto grouped = ScanRoutines::scanFilesGroupedByFolder(home.filePath(QStringLiteral("tree")), SourceTool::Kind::jan);
        QCOMPARE(names(grouped), (QStringList{QStringLiteral("link-only"), QStringLiteral("model"), QStringLiteral("sub")}));
        QCOMPARE(grouped[1].filePaths.size(), 2);
        QCOMPARE(grouped[1].sizeBytes, 10 + QFile::encodeName(a).size()); // the link's own size
        QCOMPARE(grouped[1].lastModified, older);

        const FileAttributes missing = FileAttributes::read(home.filePath(QStringLiteral("nothing")));
        QVERIFY(missing.size == 0 && isDistantPast(missing.modified));
    }
};

QTEST_GUILESS_MAIN(TestFileScanners)
#include "tst_FileScanners.moc"
