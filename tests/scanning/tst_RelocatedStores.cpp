#include "catalogue/ModelSourceDefinition.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/SourceScanner.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
using K = SourceTool::Kind;
const char *const storeVariables[] = {"HF_HOME", "HF_HUB_CACHE", "HUGGINGFACE_HUB_CACHE", "LLAMA_CACHE", "JAN_DATA_FOLDER"};
const QString hub = u".cache/huggingface/hub/"_s;
const QString bloke = hub + u"models--TheBloke--Llama-2-7B-GGUF/"_s;

QStringList rootsOf(K kind, const TempHome &home)
{
    const HomeScan scan(home, {});
    const OllamaScanner ollama(scan.machine().ollamaStores());
    return SourceScanner(*ModelSourceDefinition::find(kind), ollama).roots();
}

// A repository with two revisions sharing a blob, and every kind of bad entry a cache can hold.
void layOutHuggingFace(const TempHome &home)
{
    home.writeFile(bloke + u"blobs/aaa"_s, 3000, 'a');
    home.writeFile(bloke + u"blobs/bbb"_s, 100, 'b');
    TempHome::setModified(home.filePath(bloke + u"blobs/aaa"_s), QDateTime(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC));
    TempHome::setModified(home.filePath(bloke + u"blobs/bbb"_s), QDateTime(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC));
    QVERIFY(::mkfifo(QFile::encodeName(home.filePath(bloke + u"blobs/ccc.incomplete"_s)).constData(), 0600) == 0);
    home.writeFile(bloke + u"refs/main"_s, QByteArray("\xff\0garbage\n", 10));
    const QString outside = home.writeFile(u"elsewhere/big"_s, 5000);
    const QList<std::pair<QString, QString>> links{
        {u"blobs/out"_s, outside}, // a link among the blobs is not a blob
        {u"snapshots/r1/model.gguf"_s, u"../../blobs/aaa"_s},
        {u"snapshots/r1/config.json"_s, u"../../blobs/bbb"_s},
        {u"snapshots/r2/model.gguf"_s, u"../../blobs/aaa"_s},
        {u"snapshots/r2/gone.json"_s, u"../../blobs/missing"_s},
        {u"snapshots/r2/outside"_s, outside}};
    for (const auto &[link, target] : links) {
        home.makeDir(QFileInfo(bloke + link).path());
        QVERIFY(QFile::link(target, home.filePath(bloke + link)));
    }
    home.writeFile(hub + u"models--gpt2/blobs/g"_s, 10);
    home.writeFile(hub + u"datasets--org--data/blobs/d"_s, 10);
}
} // namespace

// The stores a Linux user really has: folders moved through each application's own
// settings, the Hugging Face hub cache and llama.cpp's download cache.
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

    void huggingFaceRepositories()
    {
        TempHome home;
        layOutHuggingFace(home);
        const HomeScan scan(home, {});
        QList<DetectedModel> models;
        for (const DetectedModel &model : scan.scanner().scanAll()) {
            if (model.sourceTool == K::huggingFace)
                models.append(model);
        }
        QCOMPARE(models.size(), 2);
        QCOMPARE(models[0].displayName, u"TheBloke/Llama-2-7B-GGUF"_s);
        QCOMPARE(models[0].sizeBytes, 3100); // each blob once; no link, FIFO or unfinished blob
        QCOMPARE(models[0].filePaths, QStringList{home.filePath(bloke.chopped(1))});
        QCOMPARE(models[0].lastModified, QDateTime(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC));
        QVERIFY(!models[0].isOrphaned);
        QCOMPARE(models[1].displayName, u"gpt2"_s);
        QCOMPARE(models[1].sizeBytes, 10);
        // Verification reads the largest blob, not the folder that moves.
        const auto primaries = DuplicateDetector::primaryFiles(models);
        QCOMPARE(std::get<QStringList>(primaries).first(), home.filePath(bloke + u"blobs/aaa"_s));
    }

    void llamaCppCacheAndItsProgram()
    {
        TempHome home;
        const QString gguf = home.writeFile(u".cache/llama.cpp/org_repo_m-Q4.gguf"_s, 500);
        const QString etag = home.writeFile(u".cache/llama.cpp/org_repo_m-Q4.gguf.etag"_s, 20);
        home.writeFile(u".cache/llama.cpp/org_repo_m-Q4.gguf-x.etag"_s, 7); // names no model file
        home.writeFile(u".cache/llama.cpp/manifest=org=repo=Q4.json"_s, 30);
        const HomeScan scan(home, {});
        for (const bool installed : {false, true}) {
            if (installed)
                QVERIFY(QFile(home.writeFile(u"bin/llama-server"_s, 1)).setPermissions(QFile::ExeOwner | QFile::ReadOwner));
            const QList<DetectedModel> models = scan.scanner().scanAll();
            QCOMPARE(models.size(), 1);
            QCOMPARE(models[0].displayName, u"org_repo_m-Q4"_s);
            QCOMPARE(models[0].filePaths, (QStringList{gguf, etag}));
            QCOMPARE(models[0].sizeBytes, 520);
            QCOMPARE(models[0].isOrphaned, !installed);
        }
    }
};

QTEST_GUILESS_MAIN(TestRelocatedStores)
#include "tst_RelocatedStores.moc"
