#include "scanning/CustomFolderScanner.h"
#include "scanning/DirectoryWalker.h"
#include "scanning/DrawThingsScanner.h"
#include "scanning/GPT4AllScanner.h"
#include "scanning/JanScanner.h"
#include "scanning/LMStudioScanner.h"
#include "scanning/OMLXScanner.h"
#include "scanning/ScanRoutines.h"
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
        QStringList expected;
        for (const char *name : {"10", "9", "B", "Z", "_", "a", "b", "\xc3\xa9"})
            expected << QString::fromUtf8(name);
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

    void lmStudioAndOmlxTakeModelFoldersTwoLevelsDown()
    {
        TempHome home;
        QVERIFY(LMStudioScanner().scan().isEmpty());
        home.makeDir(QStringLiteral(".lmstudio/models"));
        QVERIFY(LMStudioScanner().scan().isEmpty());

        home.writeFile(QStringLiteral(".lmstudio/models/pub/model/a.gguf"), 10);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/model/sub/b.json"), 5);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/c.gguf"), 1);
        home.writeFile(QStringLiteral(".lmstudio/models/d.gguf"), 1);
        home.makeDir(QStringLiteral(".lmstudio/models/pub/empty"));
        home.writeFile(QStringLiteral(".lmstudio/models/pub/hidden-only/.x"), 1);
        home.makeDir(QStringLiteral(".lmstudio/models/pub/link-only"));
        makeSymlink(home.filePath(QStringLiteral(".lmstudio/models/pub/model/a.gguf")),
                    home.filePath(QStringLiteral(".lmstudio/models/pub/link-only/a.gguf")));
        const QDateTime older(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
        const QDateTime newer(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC);
        TempHome::setModified(home.filePath(QStringLiteral(".lmstudio/models/pub/model/a.gguf")), older);
        TempHome::setModified(home.filePath(QStringLiteral(".lmstudio/models/pub/model/sub/b.json")), newer);
        // Older LM Studio releases on Linux kept models here.
        home.writeFile(QStringLiteral(".cache/lm-studio/models/old/m2/w.safetensors"), 3);

        const auto models = LMStudioScanner().scan();
        QCOMPARE(names(models), (QStringList{QStringLiteral("m2"), QStringLiteral("model")}));
        const DetectedModel *model = named(models, QStringLiteral("model"));
        QCOMPARE(model->sizeBytes, 15);
        QCOMPARE(model->filePaths.size(), 2);
        QCOMPARE(model->lastModified, newer);
        QCOMPARE(model->sourceTool, SourceTool(SourceTool::Kind::lmStudio));

        home.writeFile(QStringLiteral(".omlx/models/mlx-community/Qwen3-4B-4bit/model.safetensors"), 8);
        home.writeFile(QStringLiteral(".omlx/models/mlx-community/Qwen3-4B-4bit/config.json"), 2);
        home.writeFile(QStringLiteral(".omlx/models/mlx-community/stray.bin"), 2);
        const auto omlx = OMLXScanner().scan();
        QCOMPARE(names(omlx), QStringList{QStringLiteral("Qwen3-4B-4bit")});
        QCOMPARE(omlx[0].sizeBytes, 10);
    }

    void janGroupsFilesByTheirOwnFolder()
    {
        TempHome home;
        QVERIFY(JanScanner().scan().isEmpty());
        const QString root = QStringLiteral(".local/share/Jan/data/llamacpp/models/");
        home.writeFile(root + QStringLiteral("loose.gguf"), 1);
        home.writeFile(root + QStringLiteral("qwen/model.gguf"), 10);
        home.writeFile(root + QStringLiteral("qwen/model.yml"), 2);
        home.writeFile(root + QStringLiteral("qwen/extra/more.bin"), 4);
        const QDateTime when(QDate(2031, 2, 2), QTime(2, 2), Qt::UTC);
        TempHome::setModified(home.writeFile(root + QStringLiteral("a/b/c.gguf"), 3), when);
        makeSymlink(home.filePath(root + QStringLiteral("qwen/model.gguf")), home.filePath(root + QStringLiteral("a/b/link")));
        home.makeDir(root + QStringLiteral("only-folders/inner"));
        // The same folder name under the other store gives a model of its own.
        home.writeFile(QStringLiteral("Library/Application Support/Jan/data/mlx/models/qwen/w.safetensors"), 6);

        const auto models = JanScanner().scan();
        QCOMPARE(names(models), (QStringList{QStringLiteral("b"), QStringLiteral("extra"), QStringLiteral("qwen"),
                                             QStringLiteral("qwen")}));
        QCOMPARE(models.first().filePaths.first().contains(QStringLiteral("Library/Application Support")), true);
        const DetectedModel *b = named(models, QStringLiteral("b"));
        QCOMPARE(b->filePaths.size(), 2); // the link counts as a file here
        QCOMPARE(b->lastModified, when);
        for (const DetectedModel &model : models) {
            if (model.displayName == QLatin1String("qwen") && model.filePaths.size() == 2)
                QCOMPARE(model.sizeBytes, 12); // extra/ is not added
        }
    }

    void gpt4AllAndDrawThingsAcceptTheirOwnExtensions()
    {
        TempHome home;
        QVERIFY(GPT4AllScanner().scan().isEmpty());
        home.writeFile(QStringLiteral(".cache/gpt4all/Llama.Q4_0.GGUF"), 2);
        home.writeFile(QStringLiteral(".cache/gpt4all/model.bin"), 2);
        home.writeFile(QStringLiteral(".cache/gpt4all/.hidden/x.gguf"), 2);
        QCOMPARE(names(GPT4AllScanner().scan()), QStringList{QStringLiteral("Llama.Q4_0")});

        home.writeFile(QStringLiteral("Library/Application Support/nomic.ai/GPT4All/first.gguf"), 2);
        home.writeFile(QStringLiteral(".local/share/nomic.ai/GPT4All/xdg.gguf"), 2);
        home.writeFile(QStringLiteral(".var/app/io.gpt4all.gpt4all/data/nomic.ai/GPT4All/flatpak.gguf"), 2);
        const auto gpt4All = GPT4AllScanner().scan();
        QCOMPARE(gpt4All.size(), 4);
        QCOMPARE(gpt4All.first().displayName, QStringLiteral("first"));

        const QString models = QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models/");
        home.writeFile(models + QStringLiteral("sd_v1.5.ckpt"), 1);
        home.writeFile(models + QStringLiteral("flux.SAFETENSORS"), 1);
        home.writeFile(models + QStringLiteral("model.gguf"), 1);
        QCOMPARE(names(DrawThingsScanner().scan()), (QStringList{QStringLiteral("flux"), QStringLiteral("sd_v1.5")}));
    }

    void aStoreReachedTwiceIsWalkedOnce()
    {
        TempHome home;
        home.writeFile(QStringLiteral(".lmstudio/models/p/m/a.gguf"), 1);
        home.makeDir(QStringLiteral(".cache/lm-studio"));
        makeSymlink(home.filePath(QStringLiteral(".lmstudio/models")), home.filePath(QStringLiteral(".cache/lm-studio/models")));
        QCOMPARE(LMStudioScanner().scan().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestFileScanners)
#include "tst_FileScanners.moc"
