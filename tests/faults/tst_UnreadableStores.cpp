#include "preferences/PersistenceService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QFile>
#include <QJsonObject>
#include <QTest>

#include <sys/stat.h>

namespace {
QByteArray manifest(const QByteArray &configDigest, const QByteArray &layerDigest)
{
    return R"({"config":{"digest":")" + configDigest + R"(","mediaType":"c","size":4},"layers":[{"digest":")"
        + layerDigest + R"(","mediaType":"m","size":10}]})";
}
} // namespace

// Every store with folders and files its user may not read, scanned as that user: what
// can be read is listed exactly, what cannot is left out without an error, the stores
// that cannot be opened at all are named, and nothing on disk changes.
class TestUnreadableStores : public QObject
{
    Q_OBJECT

    QStringList m_closed; // absolute paths made unreadable, opened again at the end

    void close(const TempHome &home, const QString &relative, mode_t mode = 0)
    {
        const QString path = home.filePath(relative);
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
        m_closed << path;
    }

private slots:
    void cleanup()
    {
        for (const QString &path : std::as_const(m_closed))
            ::chmod(QFile::encodeName(path).constData(), 0755);
        m_closed.clear();
    }

    void onlyWhatTheUserMayReadIsListed()
    {
        TempHome home;
        shareWithUnprivileged(QFile::encodeName(home.path()).constData());

        // Ollama: a manifest file and a model folder closed; a closed blob is still there.
        const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/");
        home.writeFile(registry + QStringLiteral("open/latest"), manifest("sha256:1", "sha256:2"));
        home.writeFile(registry + QStringLiteral("closed/latest"), manifest("sha256:1", "sha256:2"));
        home.writeFile(registry + QStringLiteral("shut/latest"), manifest("sha256:1", "sha256:2"));
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-1"), 4);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-2"), 10);
        close(home, registry + QStringLiteral("closed/latest"));
        close(home, registry + QStringLiteral("shut"));
        close(home, QStringLiteral(".ollama/models/blobs/sha256-2"));
        // The service's store: its blobs folder may not be searched, so no blob is seen.
        const QString service = QStringLiteral("system/ollama/.ollama/models/");
        home.writeFile(service + QStringLiteral("manifests/registry.ollama.ai/library/svc/latest"),
                       manifest("sha256:1", "sha256:2"));
        home.writeFile(service + QStringLiteral("blobs/sha256-1"), 4);
        close(home, service + QStringLiteral("blobs"));

        // LM Studio: a closed model folder, a model with a closed subfolder, a closed publisher.
        home.writeFile(QStringLiteral(".lmstudio/models/pub/open/w.gguf"), 5);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/closed/w.gguf"), 5);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/half/a.gguf"), 3);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/half/sub/b.gguf"), 30);
        home.writeFile(QStringLiteral(".lmstudio/models/shut-publisher/m/x.gguf"), 1);
        close(home, QStringLiteral(".lmstudio/models/pub/closed"));
        close(home, QStringLiteral(".lmstudio/models/pub/half/sub"));
        close(home, QStringLiteral(".lmstudio/models/shut-publisher"));

        // oMLX: the whole store closed.
        home.writeFile(QStringLiteral(".omlx/models/org/m/weights.safetensors"), 4);
        close(home, QStringLiteral(".omlx/models"));

        // Jan: a closed file still counts (its size needs no reading); a closed model folder does not.
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/");
        home.writeFile(jan + QStringLiteral("qwen/model.gguf"), 7);
        home.writeFile(jan + QStringLiteral("qwen/locked.yml"), 4);
        home.writeFile(jan + QStringLiteral("shut/model.gguf"), 8);
        close(home, jan + QStringLiteral("qwen/locked.yml"));
        close(home, jan + QStringLiteral("shut"));

        // GPT4All: a closed file is listed; a closed folder hides its files; in a folder that
        // may be listed but not searched, names are seen but sizes and dates cannot be read.
        home.writeFile(QStringLiteral(".cache/gpt4all/g.gguf"), 9);
        home.writeFile(QStringLiteral(".cache/gpt4all/locked.gguf"), 6);
        home.writeFile(QStringLiteral(".cache/gpt4all/closed/x.gguf"), 2);
        home.writeFile(QStringLiteral(".cache/gpt4all/unsearchable/n.gguf"), 12);
        close(home, QStringLiteral(".cache/gpt4all/locked.gguf"));
        close(home, QStringLiteral(".cache/gpt4all/closed"));
        close(home, QStringLiteral(".cache/gpt4all/unsearchable"), 0444);

        // Draw Things: a folder on the way to the store may not be searched.
        home.writeFile(QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models/d.ckpt"), 11);
        close(home, QStringLiteral("Library/Containers/com.liuliu.draw-things/Data"));

        // Custom folders: one open, one closed, one behind a closed folder.
        home.writeFile(QStringLiteral("Models/a.gguf"), 3);
        home.writeFile(QStringLiteral("Closed/b.gguf"), 3);
        home.writeFile(QStringLiteral("Behind/Inner/c.gguf"), 3);
        close(home, QStringLiteral("Closed"));
        close(home, QStringLiteral("Behind"));
        PersistenceService().save({home.filePath(QStringLiteral("Models")), home.filePath(QStringLiteral("Closed")),
                                   home.filePath(QStringLiteral("Behind/Inner"))});

        const QStringList expected{
            QStringLiteral("Ollama [open:latest] 14: .ollama/models/blobs/sha256-1 | .ollama/models/blobs/sha256-2 | ")
                + QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/open/latest"),
            QStringLiteral("LM Studio [open] 5: .lmstudio/models/pub/open/w.gguf"),
            QStringLiteral("LM Studio [half] 3: .lmstudio/models/pub/half/a.gguf"),
            QStringLiteral("Jan [qwen] 11: ") + jan + QStringLiteral("qwen/locked.yml | ") + jan + QStringLiteral("qwen/model.gguf"),
            QStringLiteral("GPT4All [g] 9: .cache/gpt4all/g.gguf"),
            QStringLiteral("GPT4All [locked] 6: .cache/gpt4all/locked.gguf"),
            QStringLiteral("GPT4All [n] 0: .cache/gpt4all/unsearchable/n.gguf"),
            QStringLiteral("Models [a] 3: Models/a.gguf"),
        };
        const QStringList closedStores{home.filePath(QStringLiteral(".omlx/models")),
                                       home.filePath(QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models"))};

        const FileTreeSnapshot before(home.path());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        // Only the scanner built here knows the home's service store; the terminal front end
        // looks for this machine's.
        const QString serviceModel =
            QStringLiteral("Ollama [svc:latest] 14: ") + service + QStringLiteral("manifests/registry.ollama.ai/library/svc/latest");
        QVERIFY(runUnprivileged([&] {
            const ModelScanner scanner = scan.scanner();
            return HomeScan::same(scan.scannerLines(), expected + QStringList{serviceModel})
                && HomeScan::same(scanner.unreadableModelFolders(), closedStores);
        }));

        const QJsonObject report = scan.cliReport(true);
        QVERIFY(HomeScan::same(scan.lines(report), expected));
        QCOMPARE(report.value(QStringLiteral("permissionDenied")).toBool(), true);
        const HomeScan::CliRun text = scan.runCli({QStringLiteral("scan")}, true);
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.out.startsWith("Scan limited: these model folders exist but cannot be read:\n"));
        for (const QString &store : closedStores)
            QVERIFY2(text.out.contains("\n  " + QFile::encodeName(store) + '\n'), qPrintable(store));

        QCOMPARE(FileTreeSnapshot(home.path()).differencesFrom(before), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestUnreadableStores)
#include "tst_UnreadableStores.moc"
