#include "preferences/PersistenceService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QFile>
#include <QJsonObject>
#include <QTest>

#include <sys/stat.h>

namespace {
const QString ollamaStore = QStringLiteral(".ollama/models/");
const QString registry = ollamaStore + QStringLiteral("manifests/registry.ollama.ai/");

void makeSpecial(const TempHome &home, const QString &relative, mode_t type)
{
    home.makeDir(relative.section(QLatin1Char('/'), 0, -2));
    const QByteArray path = QFile::encodeName(home.filePath(relative));
    if (::mknod(path.constData(), type | 0644, 0) != 0)
        qFatal("cannot make %s", path.constData());
}
void makePipe(const TempHome &home, const QString &relative) { makeSpecial(home, relative, S_IFIFO); }
void makeSocket(const TempHome &home, const QString &relative) { makeSpecial(home, relative, S_IFSOCK); }

QByteArray manifest(const QList<QByteArray> &layerDigests)
{
    QByteArray layers;
    for (const QByteArray &digest : layerDigests)
        layers += QByteArray(layers.isEmpty() ? "" : ",") + "{\"digest\":\"" + digest + "\",\"mediaType\":\"m\",\"size\":10}";
    return R"({"config":{"digest":"sha256:1","mediaType":"c","size":4},"layers":[)" + layers + "]}";
}
} // namespace

// Named pipes and sockets wherever a scanner or installed-app detection looks. Opening a
// pipe for reading waits for a writer, so one opened by mistake hangs the scan for good;
// each must be passed over or, where a store counts every entry as a model file, listed
// without being opened.
class TestPipesAndSocketsInStores : public QObject
{
    Q_OBJECT
private slots:
    void pipesAndSocketsAreNeverOpened()
    {
        TempHome home;
        // Ollama: a pipe and a socket as manifests and as blobs, a pipe as another registry's manifest.
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:2", "sha256:3", "sha256:4"}));
        makePipe(home, registry + QStringLiteral("library/m/pipe"));
        makeSocket(home, registry + QStringLiteral("library/m/socket"));
        makePipe(home, ollamaStore + QStringLiteral("manifests/hf.co/org/repo/latest"));
        home.writeFile(ollamaStore + QStringLiteral("blobs/sha256-1"), 4);
        makePipe(home, ollamaStore + QStringLiteral("blobs/sha256-2"));
        makeSocket(home, ollamaStore + QStringLiteral("blobs/sha256-3"));
        // The system service's store is a pipe where its models folder should be.
        makePipe(home, QStringLiteral("system/ollama/.ollama/models"));

        // LM Studio and oMLX: pipes and sockets at each level of the publisher/model tree.
        home.writeFile(QStringLiteral(".lmstudio/models/pub/model/w.gguf"), 5);
        makePipe(home, QStringLiteral(".lmstudio/models/pub/model/pipe.gguf"));
        makeSocket(home, QStringLiteral(".lmstudio/models/pub/model/sub/socket.gguf"));
        makePipe(home, QStringLiteral(".lmstudio/models/pub/only-a-pipe/pipe.gguf"));
        makePipe(home, QStringLiteral(".lmstudio/models/pipe-publisher"));
        makeSocket(home, QStringLiteral(".lmstudio/models/pub/socket-model"));
        home.writeFile(QStringLiteral(".omlx/models/org/m/weights.safetensors"), 4);
        makePipe(home, QStringLiteral(".omlx/models/org/m/pipe"));
        makeSocket(home, QStringLiteral(".omlx/models/org/m/socket"));
        // The old LM Studio folder is itself a pipe.
        makePipe(home, QStringLiteral(".cache/lm-studio/models"));

        // Jan counts every entry that is not a folder as a file of its model.
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/");
        home.writeFile(jan + QStringLiteral("qwen/model.gguf"), 7);
        makePipe(home, jan + QStringLiteral("qwen/pipe"));
        makeSocket(home, jan + QStringLiteral("qwen/socket"));
        makePipe(home, QStringLiteral(".local/share/Jan/data/mlx/models"));

        // GPT4All, Draw Things and a custom folder: pipes and sockets named like model files.
        home.writeFile(QStringLiteral(".cache/gpt4all/g.gguf"), 9);
        makePipe(home, QStringLiteral(".cache/gpt4all/pipe.gguf"));
        makeSocket(home, QStringLiteral(".cache/gpt4all/deeper/socket.gguf"));
        const QString drawThings = QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models/");
        home.writeFile(drawThings + QStringLiteral("d.ckpt"), 11);
        makePipe(home, drawThings + QStringLiteral("pipe.ckpt"));
        makeSocket(home, drawThings + QStringLiteral("socket.safetensors"));
        home.writeFile(QStringLiteral("Models/a.gguf"), 3);
        makePipe(home, QStringLiteral("Models/pipe.gguf"));
        makeSocket(home, QStringLiteral("Models/socket.bin"));
        makePipe(home, QStringLiteral("Models/sub/pipe.safetensors"));
        makePipe(home, QStringLiteral("PipeFolder"));
        makeSocket(home, QStringLiteral("SocketFolder"));
        PersistenceService().save({home.filePath(QStringLiteral("Models")), home.filePath(QStringLiteral("PipeFolder")),
                                   home.filePath(QStringLiteral("SocketFolder"))});

        // Installed-app detection: pipes as a desktop entry, a program and an AppImage.
        makePipe(home, QStringLiteral(".local/share/applications/jan.desktop"));
        makePipe(home, QStringLiteral(".local/share/applications/GPT4All.desktop"));
        makePipe(home, QStringLiteral("bin/ollama"));
        makePipe(home, QStringLiteral("Applications/LM-Studio-0.3.5-x64.AppImage"));

        const QStringList expected{
            QStringLiteral("Ollama [m:latest] 34: .ollama/models/blobs/sha256-1 | .ollama/models/blobs/sha256-2 | .ollama/models/blobs/sha256-3 | ")
                + QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/m/latest"),
            QStringLiteral("LM Studio [model] 5: .lmstudio/models/pub/model/w.gguf"),
            QStringLiteral("oMLX [m] 4: .omlx/models/org/m/weights.safetensors"),
            QStringLiteral("Jan [qwen] 7: ") + jan + QStringLiteral("qwen/model.gguf | ") + jan + QStringLiteral("qwen/pipe | ")
                + jan + QStringLiteral("qwen/socket"),
            QStringLiteral("GPT4All [g] 9: .cache/gpt4all/g.gguf"),
            QStringLiteral("Draw Things [d] 11: ") + drawThings + QStringLiteral("d.ckpt"),
            QStringLiteral("Models [a] 3: Models/a.gguf"),
        };
        const FileTreeSnapshot before(home.path());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        QVERIFY(HomeScan::same(scan.scannerLines(), expected));
        const QJsonObject report = scan.cliReport();
        QVERIFY(HomeScan::same(scan.lines(report), expected));
        QCOMPARE(FileTreeSnapshot(home.path()).differencesFrom(before), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestPipesAndSocketsInStores)
#include "tst_PipesAndSocketsInStores.moc"
