#include "scanning/ModelScanner.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

namespace {
OllamaScanner ollamaIn(const TempHome &home)
{
    OllamaStoreLocator::Inputs inputs;
    inputs.userModelsDir = home.filePath(QStringLiteral(".ollama/models"));
    inputs.serviceModelsDir = home.filePath(QStringLiteral("system/ollama/.ollama/models"));
    return OllamaScanner(OllamaStoreLocator(inputs).stores());
}

void writeOllamaModel(const TempHome &home)
{
    home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-1"), 4);
    home.writeFile(QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/m/latest"),
                   QByteArray(R"({"config":{"digest":"sha256:1","mediaType":"c","size":4},"layers":[)"
                              R"({"digest":"sha256:2","mediaType":"m","size":6}]})"));
}
} // namespace

class TestModelScanner : public QObject
{
    Q_OBJECT
private slots:
    void orphansAreModelsOfApplicationsThatAreGone()
    {
        TempHome home;
        writeOllamaModel(home);
        home.writeFile(QStringLiteral(".cache/gpt4all/a.gguf"), 3);
        const ModelScanner absent(AppDetectionService(home.appSearchLocations()), ollamaIn(home));
        QList<DetectedModel> models = absent.scanAll();
        QCOMPARE(models.size(), 2);
        QVERIFY(models[0].isOrphaned && models[1].isOrphaned);
        QCOMPARE(models[0].sourceTool, SourceTool(SourceTool::Kind::ollama));
        QCOMPARE(models[0].filePaths.size(), 2); // the manifest and the one blob still there

        // With the application present, even a model whose blobs are missing is no orphan.
        const QString program = home.writeFile(QStringLiteral("bin/ollama"), QByteArray("#!/bin/sh\n"));
        QVERIFY(QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeUser));
        // A folder reached through two of LM Studio's folders is scanned and listed once.
        home.writeFile(QStringLiteral(".lmstudio/models/p/m/a.gguf"), 1);
        home.makeDir(QStringLiteral(".cache/lm-studio"));
        QVERIFY(QFile::link(home.filePath(QStringLiteral(".lmstudio/models")), home.filePath(QStringLiteral(".cache/lm-studio/models"))));
        const ScanResult result = ModelScanner(AppDetectionService(home.appSearchLocations()), ollamaIn(home)).scan();
        QCOMPARE(result.models.size(), 3);
        QVERIFY(!result.models[0].isOrphaned);
        QVERIFY(result.models[1].isOrphaned && result.models[2].isOrphaned);

        // Each source in scan order with what this machine has of it.
        QCOMPARE(result.sources.size(), SourceTool::builtInKinds().size());
        const SourceStatus &ollama = result.sources[0], &lmStudio = result.sources[1], &jan = result.sources[3];
        QCOMPARE(ollama.installedAppPath, program);
        QCOMPARE(ollama.folders, QStringList{home.filePath(QStringLiteral(".ollama/models"))});
        QCOMPARE(lmStudio.folders, QStringList{home.filePath(QStringLiteral(".lmstudio/models"))});
        QCOMPARE(lmStudio.modelCount, 1);
        // None of Jan's folders exists: the one it would use stands in.
        QCOMPARE(jan.folders, QStringList{home.filePath(QStringLiteral(".local/share/Jan/data/llamacpp/models"))});
    }

    void customFoldersAreNeverOrphansAndMayRepeatABuiltInFolder()
    {
        TempHome home;
        home.writeFile(QStringLiteral(".cache/gpt4all/phi.gguf"), 3);
        PersistenceService().save({home.filePath(QStringLiteral(".cache/gpt4all"))});
        const QList<DetectedModel> models = ModelScanner(AppDetectionService(home.appSearchLocations()), ollamaIn(home)).scanAll();
        QCOMPARE(models.size(), 2);
        QCOMPARE(models[0].sourceTool, SourceTool(SourceTool::Kind::gpt4All));
        QVERIFY(models[0].isOrphaned);
        QCOMPARE(models[1].sourceTool, SourceTool::custom(QStringLiteral("gpt4all")));
        QVERIFY(!models[1].isOrphaned);
        // The same file found twice is grouped as a likely duplicate of itself.
        QVERIFY(models[0].duplicateGroup && models[0].duplicateGroup == models[1].duplicateGroup);
    }

    void probeReportsKnownFoldersThatCannotBeRead()
    {
        TempHome home;
        shareWithUnprivileged(QFile::encodeName(home.path()).constData());
        const ModelScanner scanner(AppDetectionService(home.appSearchLocations()), ollamaIn(home));
        QVERIFY(scanner.canReadProtectedFolders()); // nothing there at all

        writeOllamaModel(home);
        home.writeFile(QStringLiteral("system/ollama/.ollama/models/blobs/x"), 1);
        // The service user's home, closed to everyone else, as the Ollama installer makes it.
        const QByteArray closed = QFile::encodeName(home.filePath(QStringLiteral("system/ollama")));
        QCOMPARE(::chmod(closed.constData(), 0700), 0);
        for (const QString &folder : {home.path() + QStringLiteral("/.ollama"), home.filePath(QStringLiteral(".ollama/models")),
                                      home.filePath(QStringLiteral(".ollama/models/blobs")),
                                      home.filePath(QStringLiteral(".ollama/models/manifests"))})
            ::chmod(QFile::encodeName(folder).constData(), 0755);

        const QString expected = home.filePath(QStringLiteral("system/ollama/.ollama/models"));
        QVERIFY(runUnprivileged([&] {
            const QStringList unreadable = scanner.unreadableModelFolders();
            return unreadable == QStringList{expected} && !scanner.canReadProtectedFolders();
        }));
        ::chmod(closed.constData(), 0755);
        QVERIFY(runUnprivileged([&] { return scanner.canReadProtectedFolders(); }));
    }
};

QTEST_GUILESS_MAIN(TestModelScanner)
#include "tst_ModelScanner.moc"
