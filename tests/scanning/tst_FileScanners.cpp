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

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
QStringList inOrder(const QList<DetectedModel> &models)
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

QStringList names(const QList<DetectedModel> &models)
{
    QStringList result = inOrder(models);
    result.sort();
    return result;
}

const DetectedModel *named(const QList<DetectedModel> &models, const QString &name)
{
    for (const DetectedModel &model : models) {
        if (model.displayName == name)
            return &model;
    }
    return nullptr;
}

void makeSymlink(const QString &target, const QString &link)
{
    QVERIFY(QFile::link(target, link));
}
} // namespace

class TestFileScanners : public QObject
{
    Q_OBJECT
private slots:
    void customFolderAcceptsModelExtensionsOnly()
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

        const QString folder = home.filePath(QStringLiteral("M"));
        const auto models = CustomFolderScanner().scan({folder, home.filePath(QStringLiteral("missing"))});
        QCOMPARE(names(models), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"),
                                             QStringLiteral("llama-3-8b.Q4_K_M"), QStringLiteral("w")}));
        const DetectedModel *b = named(models, QStringLiteral("b"));
        QCOMPARE(b->sizeBytes, 4);
        QCOMPARE(b->filePaths, QStringList{folder + QStringLiteral("/sub/deeper/b.bin")});
        QCOMPARE(b->sourceTool, SourceTool::custom(QStringLiteral("M")));
        QVERIFY(!b->isOrphaned);
        QVERIFY(CustomFolderScanner().scan({}).isEmpty());
    }

    void customFolderNeverFollowsLinksOrOpensSpecialFiles()
    {
        TempHome home;
        const QString outside = home.writeFile(QStringLiteral("outside/real.gguf"), 7);
        home.makeDir(QStringLiteral("M"));
        makeSymlink(outside, home.filePath(QStringLiteral("M/link.gguf")));
        makeSymlink(home.filePath(QStringLiteral("outside")), home.filePath(QStringLiteral("M/linked-folder")));
        makeSymlink(home.filePath(QStringLiteral("M")), home.filePath(QStringLiteral("M/loop")));
        QCOMPARE(::mkfifo(QFile::encodeName(home.filePath(QStringLiteral("M/pipe.gguf"))).constData(), 0600), 0);
        const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray socketPath = QFile::encodeName(home.filePath(QStringLiteral("M/sock.bin")));
        qstrncpy(address.sun_path, socketPath.constData(), sizeof(address.sun_path));
        QCOMPARE(::bind(sock, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        home.writeFile(QStringLiteral("M/real.bin"), 2);

        const auto models = CustomFolderScanner().scan({home.filePath(QStringLiteral("M"))});
        QCOMPARE(names(models), QStringList{QStringLiteral("real")});
        ::close(sock);

        // The folder the user named may itself be a link: that one is followed.
        makeSymlink(home.filePath(QStringLiteral("outside")), home.filePath(QStringLiteral("named-link")));
        QCOMPARE(names(CustomFolderScanner().scan({home.filePath(QStringLiteral("named-link"))})),
                 QStringList{QStringLiteral("real")});
    }

    void sameNamedFoldersAreOneSourceAndRepeatsAreKept()
    {
        TempHome home;
        home.writeFile(QStringLiteral("A/Models/x.gguf"), 1);
        home.writeFile(QStringLiteral("B/Models/y.gguf"), 1);
        const QString a = home.filePath(QStringLiteral("A/Models/"));
        const auto models = CustomFolderScanner().scan({a, home.filePath(QStringLiteral("B/Models")), a});
        QCOMPARE(models.size(), 3);
        QCOMPARE(models[0].sourceTool, models[1].sourceTool);
        QCOMPARE(models[0].sourceTool.description(), QStringLiteral("Models"));
        QCOMPARE(models[0].filePaths, models[2].filePaths);
        QVERIFY(models[0].id != models[2].id);
    }

    void sizeAndDateComeFromTheFile()
    {
        TempHome home;
        const QString path = home.writeFile(QStringLiteral("M/a.gguf"), 1234);
        const QDateTime when(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
        TempHome::setModified(path, when);
        const auto models = CustomFolderScanner().scan({home.filePath(QStringLiteral("M"))});
        QCOMPARE(models.size(), 1);
        QCOMPARE(models[0].sizeBytes, 1234);
        QCOMPARE(models[0].lastModified, when);
        const FileAttributes missing = FileAttributes::read(home.filePath(QStringLiteral("nothing")));
        QCOMPARE(missing.size, 0);
        QVERIFY(isDistantPast(missing.modified));
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
        QCOMPARE(inOrder(CustomFolderScanner().scan({home.filePath(QStringLiteral("M"))})), expected);
        QCOMPARE(inOrder(ScanRoutines::scanModelTree(home.filePath(QStringLiteral("tree")), SourceTool::Kind::omlx)), expected);
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
    // walked the way the application lays out its models.
    void everyApplicationIsFoundInItsFoldersWithItsLayout_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("dataHome"); // XDG_DATA_HOME inside the home
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("expected");
        using K = SourceTool::Kind;
        const QString xdg = QStringLiteral(".local/share");
        QTest::newRow("LM Studio: publisher/model folders, then the older cache")
            << int(K::lmStudio) << xdg
            << texts({".lmstudio/models/pub/model/a.gguf", ".lmstudio/models/pub/model/sub/b.json",
                      ".lmstudio/models/pub/c.gguf", ".lmstudio/models/d.gguf", ".lmstudio/models/pub/hidden-only/.x",
                      ".cache/lm-studio/models/old/m2/w.safetensors"})
            << texts({"model", "m2"});
        QTest::newRow("oMLX: every file of a model folder")
            << int(K::omlx) << xdg
            << texts({".omlx/models/mlx-community/Qwen3-4B-4bit/model.safetensors",
                      ".omlx/models/mlx-community/Qwen3-4B-4bit/config.json", ".omlx/models/mlx-community/stray.bin"})
            << texts({"Qwen3-4B-4bit"});
        QTest::newRow("Jan: the innermost folder holding files, macOS folders first")
            << int(K::jan) << xdg
            << texts({"Library/Application Support/Jan/data/mlx/models/qwen/w.safetensors",
                      ".local/share/Jan/data/llamacpp/models/loose.gguf", ".local/share/Jan/data/llamacpp/models/qwen/model.gguf",
                      ".local/share/Jan/data/llamacpp/models/qwen/model.yml",
                      ".local/share/Jan/data/llamacpp/models/qwen/extra/more.bin",
                      ".local/share/Jan/data/llamacpp/models/a/b/c.gguf"})
            << texts({"qwen", "b", "qwen", "extra"});
        QTest::newRow("Jan: the data folder follows XDG_DATA_HOME")
            << int(K::jan) << QStringLiteral("xdg")
            << texts({"xdg/Jan/data/mlx/models/m/w.gguf", ".local/share/Jan/data/mlx/models/stale/w.gguf"})
            << texts({"m"});
        QTest::newRow("GPT4All: .gguf files of the app (macOS, XDG, Flatpak) and the bindings' cache")
            << int(K::gpt4All) << xdg
            << texts({".cache/gpt4all/Llama.Q4_0.GGUF", ".cache/gpt4all/model.bin", ".cache/gpt4all/.hidden/x.gguf",
                      "Library/Application Support/nomic.ai/GPT4All/first.gguf", ".local/share/nomic.ai/GPT4All/xdg.gguf",
                      ".var/app/io.gpt4all.gpt4all/data/nomic.ai/GPT4All/flatpak.gguf"})
            << texts({"first", "Llama.Q4_0", "xdg", "flatpak"});
        QTest::newRow("Draw Things: checkpoints and safetensors")
            << int(K::drawThings) << xdg
            << texts({"Library/Containers/com.liuliu.draw-things/Data/Documents/Models/sd_v1.5.ckpt",
                      "Library/Containers/com.liuliu.draw-things/Data/Documents/Models/flux.SAFETENSORS",
                      "Library/Containers/com.liuliu.draw-things/Data/Documents/Models/model.gguf"})
            << texts({"flux", "sd_v1.5"});
    }

    void everyApplicationIsFoundInItsFoldersWithItsLayout()
    {
        QFETCH(int, kind);
        QFETCH(QString, dataHome);
        QFETCH(QStringList, files);
        QFETCH(QStringList, expected);
        TempHome home;
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(dataHome)));
        const OllamaScanner noStores{QList<OllamaStore>()};
        const SourceScanner scanner(*ModelSourceDefinition::find(SourceTool::Kind(kind)), noStores);
        QVERIFY(scanner.scan().isEmpty());
        for (const QString &file : files)
            home.writeFile(file, 1);
        const QList<DetectedModel> models = scanner.scan();
        QCOMPARE(inOrder(models), expected);
        for (const DetectedModel &model : models)
            QCOMPARE(model.sourceTool, SourceTool(SourceTool::Kind(kind)));
    }

    void folderModelsSumTheirFilesAndTakeTheLatestDate()
    {
        TempHome home;
        const QDateTime older(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
        const QDateTime newer(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC);
        TempHome::setModified(home.writeFile(QStringLiteral("tree/pub/model/a.gguf"), 10), older);
        TempHome::setModified(home.writeFile(QStringLiteral("tree/pub/model/sub/b.json"), 5), newer);
        home.makeDir(QStringLiteral("tree/pub/link-only"));
        makeSymlink(home.filePath(QStringLiteral("tree/pub/model/a.gguf")), home.filePath(QStringLiteral("tree/pub/link-only/a.gguf")));
        const auto tree = ScanRoutines::scanModelTree(home.filePath(QStringLiteral("tree")), SourceTool::Kind::lmStudio);
        QCOMPARE(inOrder(tree), QStringList{QStringLiteral("model")});
        QCOMPARE(tree[0].sizeBytes, 15);
        QCOMPARE(tree[0].filePaths.size(), 2);
        QCOMPARE(tree[0].lastModified, newer);

        // Grouped by their own folder: a link counts as a file, a subfolder is a model of its own.
        const QString target = home.filePath(QStringLiteral("tree/pub/model/a.gguf"));
        makeSymlink(target, home.filePath(QStringLiteral("tree/pub/model/link")));
        TempHome::setModified(home.filePath(QStringLiteral("tree/pub/model/link")), older);
        const auto grouped = ScanRoutines::scanFilesGroupedByFolder(home.filePath(QStringLiteral("tree")), SourceTool::Kind::jan);
        QCOMPARE(inOrder(grouped), (QStringList{QStringLiteral("link-only"), QStringLiteral("model"), QStringLiteral("sub")}));
        QCOMPARE(grouped[1].filePaths.size(), 2);
        QCOMPARE(grouped[1].sizeBytes, 10 + QFile::encodeName(target).size()); // the link's own size
        QCOMPARE(grouped[1].lastModified, older);
    }

    void aFolderReachedTwiceIsWalkedOnce()
    {
        TempHome home;
        home.writeFile(QStringLiteral(".lmstudio/models/p/m/a.gguf"), 1);
        home.makeDir(QStringLiteral(".cache/lm-studio"));
        makeSymlink(home.filePath(QStringLiteral(".lmstudio/models")), home.filePath(QStringLiteral(".cache/lm-studio/models")));
        const OllamaScanner noStores{QList<OllamaStore>()};
        QCOMPARE(SourceScanner(*ModelSourceDefinition::find(SourceTool::Kind::lmStudio), noStores).scan().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestFileScanners)
#include "tst_FileScanners.moc"
