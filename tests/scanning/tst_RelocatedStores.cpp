#include "catalogue/ModelSourceDefinition.h"
#include "scanning/FileAttributes.h"
#include "scanning/SourceScanner.h"
#include "support/HomeScan.h"
#include "support/OllamaFixture.h"
#include "support/TempHome.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
using K = SourceTool::Kind;
const char *const storeVariables[] = {"HF_HOME", "HF_HUB_CACHE", "HUGGINGFACE_HUB_CACHE", "LLAMA_CACHE", "JAN_DATA_FOLDER"};

// The space a file takes on disk, as a leftover counts it.
qint64 onDisk(const QString &relative, const TempHome &home)
{
    return FileAttributes::read(home.filePath(relative)).allocated;
}

QStringList rootsOf(K kind, const TempHome &home)
{
    const HomeScan scan(home, {});
    const OllamaScanner ollama(scan.machine().ollamaStores());
    return SourceScanner(*ModelSourceDefinition::find(kind), ollama).roots();
}
} // namespace

// The stores a Linux user really has: folders moved through each application's own
// settings, llama.cpp's download cache and AnythingLLM's own Ollama.
class TestRelocatedStores : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        for (const char *name : storeVariables)
            qunsetenv(name);
    }
    void cleanup() { init(); }

    // Each row writes files (u"@"_s stands for the home) and maybe a variable, then names
    // the folder, relative to the home, that the source must look in, or none.
    void relocatedFolders_data()
    {
        QTest::addColumn<K>("kind");
        QTest::addColumn<QStringList>("files"); // path, content, path, content, ...
        QTest::addColumn<QByteArray>("variable");
        QTest::addColumn<QString>("expected");
        const QString lmsJson = QString::fromUtf8(R"({"downloadsFolder": "@/Moved"})");
        const QString big = QString::fromUtf8(R"({"downloadsFolder": "@/Moved", "pad": ")") + QString(1100000, u'x') + u"\"}"_s;
        QTest::newRow("LM Studio settings") << K::lmStudio << QStringList{u".lmstudio/settings.json"_s, lmsJson} << QByteArray() << u"Moved"_s;
        QTest::newRow("LM Studio home pointer") << K::lmStudio
            << QStringList{u".lmstudio-home-pointer"_s, u" @/LMS\n"_s, u"LMS/settings.json"_s, lmsJson} << QByteArray() << u"Moved"_s;
        QTest::newRow("LM Studio home pointer, default models") << K::lmStudio
            << QStringList{u".lmstudio-home-pointer"_s, u"@/LMS"_s, u"LMS/models/keep"_s, u""_s} << QByteArray() << u"LMS/models"_s;
        QTest::newRow("pointer naming a file") << K::lmStudio
            << QStringList{u".lmstudio-home-pointer"_s, u"@/Moved/hub/file"_s, u"Moved/hub/file"_s, u""_s} << QByteArray() << u""_s;
        QTest::newRow("damaged JSON") << K::lmStudio << QStringList{u".lmstudio/settings.json"_s, lmsJson.chopped(2)} << QByteArray() << u""_s;
        QTest::newRow("JSON relative path") << K::lmStudio << QStringList{u".lmstudio/settings.json"_s, QString::fromUtf8(R"({"downloadsFolder": "."})")} << QByteArray() << u""_s;
        QTest::newRow("huge JSON") << K::lmStudio << QStringList{u".lmstudio/settings.json"_s, big} << QByteArray() << u""_s;
        QTest::newRow("Jan settings") << K::jan << QStringList{u".local/share/Jan/settings.json"_s, QString::fromUtf8(R"({"data_folder": "@/Moved"})")}
            << QByteArray() << u"Moved/mlx/models"_s;
        QTest::newRow("Jan variable") << K::jan << QStringList{} << QByteArray("JAN_DATA_FOLDER") << u"Moved/llamacpp/models"_s;
        QTest::newRow("GPT4All Flatpak INI under General") << K::gpt4All
            << QStringList{u".var/app/io.gpt4all.gpt4all/config/nomic.ai/GPT4All.ini"_s, u"[General]\nmodelPath=@/Moved\n"_s} << QByteArray() << u"Moved"_s;
        QTest::newRow("INI list, not a path") << K::gpt4All << QStringList{u".config/nomic.ai/GPT4All.ini"_s, u"modelPath=@/Moved, @/Moved\n"_s}
            << QByteArray() << u""_s;
        QTest::newRow("HF_HUB_CACHE") << K::huggingFace << QStringList{} << QByteArray("HF_HUB_CACHE") << u"Moved"_s;
        QTest::newRow("HF_HOME") << K::huggingFace << QStringList{} << QByteArray("HF_HOME") << u"Moved/hub"_s;
        QTest::newRow("LLAMA_CACHE") << K::llamaCpp << QStringList{} << QByteArray("LLAMA_CACHE") << u"Moved"_s;
    }

    void relocatedFolders()
    {
        QFETCH(K, kind);
        QFETCH(QStringList, files);
        QFETCH(QByteArray, variable);
        QFETCH(QString, expected);
        TempHome home;
        for (const QString &folder : {u"Moved/hub"_s, u"Moved/llamacpp/models"_s, u"Moved/mlx/models"_s})
            home.makeDir(folder);
        const QStringList defaults = rootsOf(kind, home);
        for (qsizetype i = 0; i + 1 < files.size(); i += 2)
            home.writeFile(files[i], QString(files[i + 1]).replace(QLatin1Char('@'), home.path()).toUtf8());
        if (!variable.isEmpty())
            qputenv(variable.constData(), QFile::encodeName(home.filePath(u"Moved"_s)));

        const QStringList roots = rootsOf(kind, home);
        if (expected.isEmpty())
            QCOMPARE(roots, defaults);
        else
            QVERIFY2(roots.contains(home.filePath(expected)), qPrintable(roots.join(u'\n')));
    }

    // A moved folder that is the home itself, with a link back into it: each folder once.
    void relocationLoopingIntoTheHome()
    {
        TempHome home;
        home.writeFile(u".lmstudio/settings.json"_s, QString::fromUtf8(R"({"downloadsFolder": "@"})").replace(u'@', home.path()).toUtf8());
        home.writeFile(u"pub/model/w.gguf"_s, 10);
        QVERIFY(QFile::link(home.path(), home.filePath(u"pub/model/loop"_s)));
        QVERIFY(QFile::link(home.path(), home.filePath(u"pub/loop"_s)));
        const QList<DetectedModel> models = SourceScanner(*ModelSourceDefinition::find(K::lmStudio), OllamaScanner(QList<OllamaStore>{})).scan();
        QCOMPARE(models.size(), 1);
        QCOMPARE(models[0].filePaths, QStringList{home.filePath(u"pub/model/w.gguf"_s)});
    }

    void lmStudioInstallRecord()
    {
        TempHome home;
        const QString app = home.writeFile(u"Apps/LM-Studio.AppImage"_s, 1);
        const QString record = u".lmstudio/.internal/app-install-location.json"_s;
        const HomeScan scan(home, {});
        const AppDetectionService detection(scan.machine().appLocations);
        const ModelSourceDefinition &lmStudio = *ModelSourceDefinition::find(K::lmStudio);
        home.writeFile(record, QString::fromUtf8(R"({"path": "@/Apps/gone"})").replace(u'@', home.path()).toUtf8());
        QVERIFY(!detection.installedAppPath(lmStudio));
        home.writeFile(record, QString::fromUtf8(R"({"path": "@"})").replace(u'@', app).toUtf8());
        QCOMPARE(detection.installedAppPath(lmStudio).value_or(QString()), app);
    }

    // llama.cpp's flat files beside the repositories it writes in the Hugging Face layout
    // (LLAMA_CACHE holds both), split files joined, each kind of unfinished download.
    void llamaCppCacheAndItsProgram()
    {
        TempHome home;
        qputenv("LLAMA_CACHE", QFile::encodeName(home.filePath(u"lc"_s)));
        const QString gemma = u"lc/models--ggml-org--gemma"_s;
        for (const auto &[file, size] : QList<std::pair<QString, int>>{
                 {u".cache/llama.cpp/org_repo_m-Q4.gguf"_s, 500}, {u".cache/llama.cpp/org_repo_m-Q4.gguf.etag"_s, 20},
                 {u".cache/llama.cpp/org_repo_m-Q4.gguf-x.etag"_s, 7}, {u".cache/llama.cpp/manifest=org=repo=Q4.json"_s, 30},
                 {u"lc/big-00001-of-00003.gguf"_s, 100}, {u"lc/big-00001-of-00003.gguf.etag"_s, 5}, {u"lc/big-00003-of-00003.gguf"_s, 100},
                 {u"lc/odd-00004-of-00003.gguf"_s, 10}, {u"lc/new.gguf.downloadInProgress"_s, 9}, {gemma + u"/blobs/0a"_s, 800},
                 {gemma + u"/blobs/0b.downloadInProgress"_s, 8}, {gemma + u"/snapshots/c1/mmproj.gguf"_s, 60}}) // held: no links here
            home.writeFile(file, size);
        home.writeFile(gemma + u"/refs/main"_s, "c1");
        QVERIFY(QFile::link(u"../../blobs/0a"_s, home.filePath(gemma + u"/snapshots/c1/gemma.gguf"_s)));
        const HomeScan scan(home, {});
        for (const bool installed : {false, true}) {
            if (installed)
                QVERIFY(QFile(home.writeFile(u"bin/llama-server"_s, 1)).setPermissions(QFile::ExeOwner | QFile::ReadOwner));
            QStringList seen;
            for (const DetectedModel &m : scan.scanner().scanAll()) {
                QVERIFY(m.sourceTool == K::llamaCpp && m.isOrphaned == (!installed && !m.isLeftover()));
                seen << u"%1 [%2] %3 %4: %5"_s.arg(m.leftoverKey(), m.displayName, m.missingPartsText()).arg(m.sizeBytes)
                            .arg(QStringList(m.filePaths).replaceInStrings(home.path() + u'/', QString()).join(u" | "_s));
            }
            QCOMPARE(seen, (QStringList{u" [big] Part 2 of 3 is missing 205: lc/big-00001-of-00003.gguf | lc/big-00001-of-00003.gguf.etag | lc/big-00003-of-00003.gguf"_s,
                                        u" [odd-00004-of-00003]  10: lc/odd-00004-of-00003.gguf"_s,
                                        u"partialDownload [new.gguf.downloadInProgress]  %1: lc/new.gguf.downloadInProgress"_s.arg(onDisk(u"lc/new.gguf.downloadInProgress"_s, home)),
                                        u" [ggml-org/gemma]  860: "_s + gemma,
                                        u"partialDownload [ggml-org/gemma]  %1: "_s.arg(onDisk(gemma + u"/blobs/0b.downloadInProgress"_s, home)) + gemma + u"/blobs/0b.downloadInProgress"_s,
                                        u" [org_repo_m-Q4]  520: .cache/llama.cpp/org_repo_m-Q4.gguf | .cache/llama.cpp/org_repo_m-Q4.gguf.etag"_s}));
        }
    }

    // AnythingLLM's own Ollama: its models and unused blobs are AnythingLLM's, orphaned
    // until its installer's folder is there.
    void anythingLLMKeepsAnOllamaStoreOfItsOwn()
    {
        TempHome home;
        const QString store = u".config/anythingllm-desktop/storage/models/ollama"_s;
        OllamaFixture(home, store).addModel(u"library/llama3.2/latest"_s, {{"sha256:cfg", 10}, {"sha256:w", 300}});
        home.writeFile(store + u"/blobs/sha256-unused"_s, 7);
        const StashwellCore core(HomeScan(home, {}).machine());
        for (const bool installed : {false, true}) {
            if (installed) {
                QVERIFY(QFile(home.writeFile(u"AnythingLLMDesktop/anythingllm-desktop/AppRun"_s, 1)).setPermissions(QFile::ExeOwner | QFile::ReadOwner));
                QVERIFY(QFile::link(u"anythingllm-desktop/AppRun"_s, home.filePath(u"AnythingLLMDesktop/start"_s)));
            }
            QStringList seen;
            for (const DetectedModel &m : core.scan().models)
                seen << u"%1 %2 [%3] %4 %5"_s.arg(m.leftoverKey(), m.sourceTool.key(), m.displayName).arg(m.sizeBytes).arg(m.isOrphaned);
            QCOMPARE(seen, (QStringList{u" anythingLLM [llama3.2:latest] 310 %1"_s.arg(!installed),
                                        u"unreferencedBlob anythingLLM [sha256-unused] %1 0"_s.arg(onDisk(store + u"/blobs/sha256-unused"_s, home))}));
        }
    }
};

QTEST_GUILESS_MAIN(TestRelocatedStores)
#include "tst_RelocatedStores.moc"
