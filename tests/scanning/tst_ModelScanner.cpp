#include "core/StashwellCore.h"
#include "preferences/PersistenceService.h"
#include "support/HomeScan.h"
#include "support/OllamaFixture.h"
#include "support/UnprivilegedRun.h"

#include <QFile>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestModelScanner : public QObject
{
    Q_OBJECT
private slots:
    void orphansAreModelsOfApplicationsThatAreGone()
    {
        TempHome home;
        const StashwellCore core(home.machine());
        OllamaFixture(home).addModel(QStringLiteral("library/m/latest"), {{"sha256:1", 4}, {"sha256:2", 6}}, false);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-1"), 4);
        home.writeFile(QStringLiteral(".cache/gpt4all/a.gguf"), 3);
        // A model no path can name is never offered for reclaiming.
        home.writeRawFile(".cache/gpt4all/b\xff.gguf", "x");
        QList<DetectedModel> models = core.scan().models;
        QCOMPARE(models.size(), 3);
        QVERIFY(models[0].isOrphaned && models[1].isOrphaned);
        QVERIFY(!models[2].isOrphaned && models[2].filePaths.isEmpty());
        QCOMPARE(models[0].sourceTool, SourceTool(SourceTool::Kind::ollama));
        QCOMPARE(models[0].filePaths.size(), 2); // the manifest and the one blob still there

        // With the application present, even a model whose blobs are missing is no orphan.
        const QString program = home.writeFile(QStringLiteral("bin/ollama"), QByteArray("#!/bin/sh\n"));
        QVERIFY(QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeUser));
        // A folder reached through two of LM Studio's folders is scanned and listed once.
        home.writeFile(QStringLiteral(".lmstudio/models/p/m/a.gguf"), 1);
        home.makeDir(QStringLiteral(".cache/lm-studio"));
        QVERIFY(QFile::link(home.filePath(QStringLiteral(".lmstudio/models")), home.filePath(QStringLiteral(".cache/lm-studio/models"))));
        const ScanResult result = core.scan();
        QCOMPARE(result.models.size(), 4);
        QCOMPARE(result.models[1].filePaths, QStringList{home.filePath(QStringLiteral(".lmstudio/models/p/m/a.gguf"))});
        QVERIFY(!result.models[0].isOrphaned);
        QVERIFY(result.models[1].isOrphaned && result.models[2].isOrphaned);

        // Each source in scan order with what this machine has of it.
        QCOMPARE(result.sources.size(), SourceTool::builtInKinds().size());
        const SourceStatus &ollama = result.sources[0], &lmStudio = result.sources[1], &jan = result.sources[3];
        QCOMPARE(ollama.installedAppPath, program);
        QCOMPARE(lmStudio.folders, QStringList{home.filePath(QStringLiteral(".lmstudio/models"))});
        // None of Jan's folders exists: the one it would use stands in.
        QCOMPARE(jan.folders, QStringList{home.filePath(QStringLiteral(".local/share/Jan/data/llamacpp/models"))});

        // A custom folder is never an orphan, even one that repeats GPT4All's folder; the
        // same file found twice is no duplicate of itself.
        PersistenceService().save({home.filePath(QStringLiteral(".cache/gpt4all"))});
        const QList<DetectedModel> twice = core.scan().models;
        QCOMPARE(twice.size(), 6);
        QCOMPARE(twice[4].sourceTool, SourceTool::custom(QStringLiteral("gpt4all")));
        QVERIFY(!twice[4].isOrphaned && twice[2].isOrphaned);
        QVERIFY(!twice[4].duplicateGroup && !twice[2].duplicateGroup);
    }

    // Scanned as a user who may not read everything: what can be read is listed exactly,
    // what cannot is left out without an error, and the stores that cannot be opened at
    // all are named so the window can say the scan was limited.
    void closedFoldersLimitTheScanAndAreNamed()
    {
        TempHome home;
        shareWithUnprivileged(QFile::encodeName(home.path()).constData());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        QVERIFY(runUnprivileged([&] { return scan.scanner().unreadableModelFolders().isEmpty(); })); // nothing there at all

        OllamaFixture(home).addModel(QStringLiteral("library/open/latest"), {{"sha256:1", 4}, {"sha256:2", 10}});
        OllamaFixture(home).addModel(QStringLiteral("library/shut/latest"), {{"sha256:1", 4}});
        home.writeFile(QStringLiteral(".lmstudio/models/pub/open/w.gguf"), 5);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/closed/w.gguf"), 5);
        home.writeFile(QStringLiteral(".cache/gpt4all/locked.gguf"), 6); // its size needs no reading
        home.writeFile(QStringLiteral(".omlx/models/org/m/weights.safetensors"), 4);
        // The service user's home, closed to everyone else, as the Ollama installer makes it.
        OllamaFixture(home, QStringLiteral("system/ollama/.ollama/models")).addModel(QStringLiteral("library/svc/latest"), {{"sha256:1", 4}});
        const QStringList closed{QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/shut"),
                                 QStringLiteral(".lmstudio/models/pub/closed"), QStringLiteral(".cache/gpt4all/locked.gguf"),
                                 QStringLiteral(".omlx/models"), QStringLiteral("system/ollama")};
        for (const QString &path : closed)
            QCOMPARE(::chmod(QFile::encodeName(home.filePath(path)).constData(), 0), 0);

        // One line per model, its files relative to the home and sorted.
        const auto lines = [&] {
            QStringList result;
            for (DetectedModel model : scan.scanner().scanAll()) {
                model.filePaths.replaceInStrings(home.path() + u'/', QString()).sort();
                result << u"%1 [%2] %3: %4"_s.arg(model.sourceTool.description(), model.displayName).arg(model.sizeBytes).arg(model.filePaths.join(u" | "_s));
            }
            return result;
        };
        const QStringList expected{u"Ollama [open:latest] 14: .ollama/models/blobs/sha256-1 | .ollama/models/blobs/sha256-2 | "
                                   ".ollama/models/manifests/registry.ollama.ai/library/open/latest"_s,
                                   u"LM Studio [open] 5: .lmstudio/models/pub/open/w.gguf"_s, u"GPT4All [locked] 6: .cache/gpt4all/locked.gguf"_s};
        const QStringList unreadable{home.filePath(QStringLiteral(".omlx/models")),
                                     home.filePath(QStringLiteral("system/ollama/.ollama/models"))};
        const bool seen = runUnprivileged([&] {
            return HomeScan::same(lines(), expected)
                && HomeScan::same(scan.scanner().unreadableModelFolders(), unreadable);
        });
        for (const QString &path : closed)
            ::chmod(QFile::encodeName(home.filePath(path)).constData(), 0755);
        QVERIFY(seen);
    }
};

QTEST_GUILESS_MAIN(TestModelScanner)
#include "tst_ModelScanner.moc"
