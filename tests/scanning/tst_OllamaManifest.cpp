#include "deletion/BlobReferenceManager.h"
#include "scanning/OllamaManifest.h"
#include "scanning/OllamaScanner.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <sys/stat.h>

namespace {
using Blob = std::pair<QString, qint64>;

// A manifest naming the given blobs, the first one as config, with the keys Ollama
// writes beside the ones Stashwell reads.
QByteArray manifest(const QList<Blob> &blobs)
{
    const auto layer = [](const Blob &blob) {
        return QJsonObject{{QStringLiteral("mediaType"), QStringLiteral("application/vnd.ollama.image.model")},
                           {QStringLiteral("digest"), blob.first},
                           {QStringLiteral("size"), blob.second}};
    };
    QJsonArray layers;
    for (qsizetype i = 1; i < blobs.size(); ++i)
        layers.append(layer(blobs[i]));
    return QJsonDocument(QJsonObject{{QStringLiteral("schemaVersion"), 2},
                                     {QStringLiteral("config"), layer(blobs.first())},
                                     {QStringLiteral("layers"), layers}})
        .toJson();
}

QByteArray withSize(const char *sizeLiteral)
{
    return QByteArray(R"({"config":{"digest":"sha256:c","mediaType":"m","size":1},)"
                      R"("layers":[{"digest":"sha256:a","mediaType":"m","size":)")
        + sizeLiteral + "}]}";
}

QString blobName(const char *hash)
{
    return QStringLiteral("sha256-") + QLatin1String(hash);
}

// One Ollama store inside a temporary home.
struct StoreFixture
{
    TempHome home;
    OllamaStore store{home.filePath(QStringLiteral(".ollama/models"))};
    BlobReferenceManager manager{store};

    QString addManifest(const QString &relative, const QByteArray &content) const
    {
        return home.writeFile(QStringLiteral(".ollama/models/manifests/") + relative, content);
    }
    QString addTag(const QString &modelAndTag, const QList<Blob> &blobs) const
    {
        return addManifest(QStringLiteral("registry.ollama.ai/library/") + modelAndTag, manifest(blobs));
    }
    QString addBlob(const char *hash) const
    {
        return home.writeFile(QStringLiteral(".ollama/models/blobs/") + blobName(hash), 8);
    }
    QHash<QString, qint64> counts() const
    {
        QString error;
        const auto counts = manager.referenceCounts(&error);
        if (!counts)
            qWarning("%s", qPrintable(error));
        return counts.value_or(QHash<QString, qint64>{{QStringLiteral("failed"), -1}});
    }
    QStringList freed(const QStringList &manifests) const
    {
        QString error;
        const auto blobs = manager.exclusiveBlobs(manifests, counts(), &error);
        if (!blobs)
            qWarning("%s", qPrintable(error));
        return blobs.value_or(QStringList{QStringLiteral("failed")});
    }
};
} // namespace

class TestOllamaManifest : public QObject
{
    Q_OBJECT
private slots:
    void decodesWhatItReadsAndIgnoresTheRest()
    {
        const auto decoded = OllamaManifest::decode(manifest(
            {{QStringLiteral("sha256:c"), 485}, {QStringLiteral("sha256:m"), 4'000'000'000}, {QStringLiteral("sha256:c"), 7}}));
        QVERIFY(decoded);
        QCOMPARE(decoded->config.mediaType, QStringLiteral("application/vnd.ollama.image.model"));
        QCOMPARE(decoded->allDigests(),
                 (QStringList{QStringLiteral("sha256:c"), QStringLiteral("sha256:m"), QStringLiteral("sha256:c")}));
        QCOMPARE(decoded->manifestSize(), qint64(4'000'000'492));

        const auto bare = OllamaManifest::decode(manifest({{QStringLiteral("sha256:c"), 42}}));
        QVERIFY(bare && bare->layers.isEmpty());
        QCOMPARE(bare->manifestSize(), qint64(42));

        // Sizes are kept exactly, also beyond what a double holds; a fraction in a key
        // nobody reads, or digits inside a string, do not matter.
        const QByteArray exact = R"({"schemaVersion":2.5,"config":{"digest":"sha256:1.00000000000000001",)"
                                 R"("mediaType":"m","size":9007199254740993},"layers":[)"
                                 R"({"digest":"a","mediaType":"m","size":0},)"
                                 R"({"digest":"b","mediaType":"m","size":9223372036854775807}]})";
        const auto big = OllamaManifest::decode(exact);
        QVERIFY(big);
        QCOMPARE(big->config.size, qint64(9007199254740993));
        QCOMPARE(big->layers[0].size, 0);
        QCOMPARE(big->layers[1].size, std::numeric_limits<qint64>::max());
        // Claims past 64 bits in total stop at the largest count instead of stopping Stashwell.
        QCOMPARE(big->manifestSize(), std::numeric_limits<qint64>::max());

        // Written with a fraction or an exponent but exactly whole: accepted.
        QCOMPARE(OllamaManifest::decode(withSize("1e3"))->layers[0].size, qint64(1000));
        QCOMPARE(OllamaManifest::decode(withSize("2.50E1"))->layers[0].size, qint64(25));
    }

    void rejectsWhatIsNotAManifest_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("reason");
        const QByteArray layers = R"("layers":[])";
        const QByteArray config = R"("config":{"digest":"sha256:c","mediaType":"m","size":1})";
        QTest::newRow("not JSON") << QByteArray("sha256:abc") << QStringLiteral("not valid JSON");
        QTest::newRow("empty") << QByteArray() << QStringLiteral("not valid JSON");
        QTest::newRow("array") << QByteArray("[]") << QStringLiteral("JSON object");
        QTest::newRow("no config") << "{" + layers + "}" << QStringLiteral("no \"config\"");
        QTest::newRow("key case") << R"({"Config":{"digest":"d","mediaType":"m","size":1},)" + layers + "}"
                                  << QStringLiteral("no \"config\"");
        QTest::newRow("no layers") << "{" + config + "}" << QStringLiteral("no \"layers\"");
        QTest::newRow("layers object") << "{" + config + R"(,"layers":{}})" << QStringLiteral("not a JSON array");
        QTest::newRow("config array") << R"({"config":[],)" + layers + "}" << QStringLiteral("the config is not");
        QTest::newRow("layer string") << "{" + config + R"(,"layers":["sha256:a"]})" << QStringLiteral("layer 1 is not");
        QTest::newRow("no digest") << R"({"config":{"mediaType":"m","size":1},)" + layers + "}"
                                   << QStringLiteral("the config has no \"digest\"");
        QTest::newRow("digest number") << R"({"config":{"digest":5,"mediaType":"m","size":1},)" + layers + "}"
                                       << QStringLiteral("\"digest\" of the config is not a string");
        QTest::newRow("mediaType null") << R"({"config":{"digest":"d","mediaType":null,"size":1},)" + layers + "}"
                                        << QStringLiteral("\"mediaType\" of the config");
        QTest::newRow("no size") << "{" + config + R"(,"layers":[{"digest":"a","mediaType":"m"}]})"
                                 << QStringLiteral("layer 1 has no \"size\"");
        const QString notWhole = QStringLiteral("\"size\" of layer 1 is not a whole number");
        QTest::newRow("size text") << withSize("\"5\"") << notWhole;
        QTest::newRow("size bool") << withSize("true") << notWhole;
        QTest::newRow("size fraction") << withSize("1.5") << notWhole;
        QTest::newRow("size 2^63") << withSize("9223372036854775808") << notWhole;
        QTest::newRow("size 2^64-1") << withSize("18446744073709551615") << notWhole;
        QTest::newRow("size huge") << withSize("1e300") << notWhole;
        QTest::newRow("size overflow") << withSize("1e400") << QStringLiteral("not valid JSON");
        QTest::newRow("size negative") << withSize("-1") << QStringLiteral("\"size\" of layer 1 is negative");
        QTest::newRow("size -2^63") << withSize("-9223372036854775808") << QStringLiteral("is negative");
        // The JSON reader alone would round these to a whole number in range.
        const QString inexact = QStringLiteral("cannot be read exactly");
        QTest::newRow("size below -2^63") << withSize("-9223372036854775809") << inexact;
        QTest::newRow("size 1 + tiny") << withSize("1.00000000000000001") << inexact;
        QTest::newRow("size 2^53+1 with fraction") << withSize("9007199254740993.0") << inexact;
        QTest::newRow("size 2^53+1/2") << withSize("9007199254740992.5") << inexact;
    }

    void rejectsWhatIsNotAManifest()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, reason);
        QString error;
        QVERIFY(!OllamaManifest::decode(json, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
    }

    void readsOnlySmallRegularFiles()
    {
        TempHome home;
        const QByteArray good = manifest({{QStringLiteral("sha256:c"), 3}});
        const QString plain = home.writeFile(QStringLiteral("m/plain"), good);
        QCOMPARE(OllamaManifest::read(plain)->manifestSize(), qint64(3));

        QString error;
        // Valid JSON once read, but no manifest is this large.
        const QString padded = home.writeFile(QStringLiteral("m/padded"),
                                              good + QByteArray(OllamaManifest::maximumFileSize, ' '));
        QVERIFY(!OllamaManifest::read(padded, &error));
        QCOMPARE(error, QStringLiteral("The Ollama manifest \u201c%1\u201d could not be read: it is larger than "
                                       "16 MiB, far too large for a manifest.").arg(padded));

        const QString link = home.filePath(QStringLiteral("m/link"));
        QVERIFY(QFile::link(plain, link));
        QVERIFY(!OllamaManifest::read(link, &error));
        QVERIFY2(error.contains(QStringLiteral("symbolic link")), qPrintable(error));

        // A pipe must neither block the read nor be taken for a manifest.
        const QString pipe = home.filePath(QStringLiteral("m/pipe"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0644), 0);
        QVERIFY(!OllamaManifest::read(pipe, &error));
        QVERIFY2(error.contains(QStringLiteral("not a regular file")), qPrintable(error));

        QVERIFY(!OllamaManifest::read(home.filePath(QStringLiteral("m/missing")), &error));
        QVERIFY2(error.contains(QStringLiteral("m/missing\u201d could not be read: no such file")), qPrintable(error));
    }

    void blobFileNames_data()
    {
        QTest::addColumn<QString>("digest");
        QTest::addColumn<QString>("name"); // empty: no blob file at all
        QTest::newRow("usual") << QStringLiteral("sha256:ab12") << QStringLiteral("sha256-ab12");
        QTest::newRow("no prefix") << QStringLiteral("ab12") << QStringLiteral("ab12");
        QTest::newRow("every occurrence") << QStringLiteral("sha256:sha256:x") << QStringLiteral("sha256-sha256-x");
        QTest::newRow("case kept") << QStringLiteral("SHA256:x") << QStringLiteral("SHA256:x");
        QTest::newRow("dots inside") << QStringLiteral("sha256:..") << QStringLiteral("sha256-..");
        QTest::newRow("climbing") << QStringLiteral("sha256:../../x") << QString();
        QTest::newRow("parent") << QStringLiteral("..") << QString();
        QTest::newRow("self") << QStringLiteral(".") << QString();
        QTest::newRow("subfolder") << QStringLiteral("a/b") << QString();
        QTest::newRow("absolute") << QStringLiteral("/etc/passwd") << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("bare prefix") << QStringLiteral("sha256:") << QString();
        QTest::newRow("NUL") << QStringLiteral("sha256:a") + QChar(u'\0') + QStringLiteral("b") << QString();
        QTest::newRow("lone surrogate") << QStringLiteral("sha256:") + QChar(0xD800) << QString();
    }

    void blobFileNames()
    {
        QFETCH(QString, digest);
        QFETCH(QString, name);
        QCOMPARE(OllamaManifest::blobFileName(digest).value_or(QString()), name);
    }

    void craftedDigestsNeverReachOutsideTheBlobs()
    {
        StoreFixture fixture;
        const TempHome &home = fixture.home;
        // Targets that the unsafe digests below would name if joined to the blobs folder.
        const QStringList outside{home.writeFile(QStringLiteral(".ollama/models/x"), 1),
                                  home.writeFile(QStringLiteral(".ollama/models/outside"), 1),
                                  home.writeFile(QStringLiteral(".ollama/models/blobs/a/b"), 1),
                                  home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-"), 1)};
        home.makeDir(QStringLiteral(".ollama/models/blobs/sha256-.."));
        const QString safe = fixture.addBlob("safe");
        const QString tag = fixture.addTag(QStringLiteral("evil/latest"),
                                           {{QStringLiteral("sha256:../../../x"), 1},
                                            {QStringLiteral("../outside"), 1},
                                            {QStringLiteral(".."), 1},
                                            {QStringLiteral("."), 1},
                                            {QStringLiteral("a/b"), 1},
                                            {QStringLiteral("sha256:"), 1},
                                            {QStringLiteral("sha256:safe"), 1}});

        const QList<DetectedModel> models = OllamaScanner({fixture.store}).scan();
        QCOMPARE(models.size(), 1);
        QCOMPARE(models[0].filePaths, (QStringList{tag, safe}));

        const QHash<QString, qint64> counts = fixture.counts();
        QCOMPARE(counts, (QHash<QString, qint64>{{blobName("safe"), 1}}));
        QCOMPARE(fixture.freed({tag}), QStringList{safe});
        for (const QString &file : outside)
            QVERIFY(QFileInfo::exists(file));
    }

    void sharedBlobsAreFreedOnlyWithTheirLastReference()
    {
        StoreFixture fixture;
        for (const char *hash : {"cfg", "weights", "license", "own"})
            fixture.addBlob(hash);
        const QString blobs = fixture.store.blobsDir() + QLatin1Char('/');
        // The config digest repeated as a layer: two references from one manifest.
        const QString solo = fixture.addTag(QStringLiteral("solo/latest"),
                                            {{QStringLiteral("sha256:own"), 1}, {QStringLiteral("sha256:own"), 1}});
        const QList<Blob> shared{{QStringLiteral("sha256:cfg"), 1},
                                 {QStringLiteral("sha256:weights"), 1},
                                 {QStringLiteral("sha256:license"), 1},
                                 {QStringLiteral("sha256:gone"), 1}};
        const QString latest = fixture.addTag(QStringLiteral("llama3/latest"), shared);
        const QString eightB = fixture.addTag(QStringLiteral("llama3/8b"), shared);

        QCOMPARE(fixture.counts(), (QHash<QString, qint64>{{blobName("own"), 2},
                                                            {blobName("cfg"), 2},
                                                            {blobName("weights"), 2},
                                                            {blobName("license"), 2},
                                                            {blobName("gone"), 2}}));
        QCOMPARE(fixture.freed({solo}), QStringList{blobs + blobName("own")});
        QCOMPARE(fixture.freed({latest}), QStringList());
        // The same manifest named twice is still one manifest.
        QCOMPARE(fixture.freed({latest, latest + QStringLiteral("/../latest")}), QStringList());
        // Both tags together: every blob that exists, in the order the manifests name them.
        QCOMPARE(fixture.freed({latest, eightB}),
                 (QStringList{blobs + blobName("cfg"), blobs + blobName("weights"), blobs + blobName("license")}));
    }

    void countsCoverEveryRegistryAndSkipHiddenFiles()
    {
        StoreFixture fixture;
        const QString blob = fixture.addBlob("w");
        const QString tag = fixture.addTag(QStringLiteral("m/latest"), {{QStringLiteral("sha256:w"), 1}});
        fixture.addManifest(QStringLiteral("hf.co/user/repo/q4"), manifest({{QStringLiteral("sha256:w"), 1}}));
        fixture.addManifest(QStringLiteral("registry.ollama.ai/library/m/.partial"), "not json");
        fixture.addManifest(QStringLiteral(".cache/leftover"), "not json");
        QVERIFY(QFile::link(tag, fixture.store.manifestsDir() + QStringLiteral("/registry.ollama.ai/library/m/alias")));

        QCOMPARE(fixture.counts(), (QHash<QString, qint64>{{blobName("w"), 2}}));
        QCOMPARE(fixture.freed({tag}), QStringList());
        QCOMPARE(fixture.freed({tag, fixture.store.manifestsDir() + QStringLiteral("/hf.co/user/repo/q4")}),
                 QStringList{blob});
    }

    void oneBadManifestFailsTheCount()
    {
        StoreFixture fixture;
        QCOMPARE(fixture.counts(), (QHash<QString, qint64>{})); // no Ollama folder at all
        const QString tag = fixture.addTag(QStringLiteral("m/latest"), {{QStringLiteral("sha256:w"), 1}});
        const QString stray = fixture.addManifest(QStringLiteral("registry.ollama.ai/library/m/notes"), "remember to prune");

        QString error;
        QVERIFY(!fixture.manager.referenceCounts(&error));
        QVERIFY2(error.startsWith(QStringLiteral("The Ollama manifest \u201c%1\u201d could not be read: it is not "
                                                 "valid JSON").arg(stray)),
                 qPrintable(error));
        // The scanner passes over the stray file and still lists the model.
        QCOMPARE(OllamaScanner({fixture.store}).scan().size(), 1);
        QFile::remove(stray);
        QVERIFY(fixture.manager.referenceCounts());

        // Only manifests of this store, and only ones that decode, can be freed.
        const QHash<QString, qint64> counts = fixture.counts();
        QVERIFY(!fixture.manager.exclusiveBlobs({fixture.home.writeFile(QStringLiteral("elsewhere"), manifest(
                                                    {{QStringLiteral("sha256:w"), 1}}))},
                                                counts, &error));
        QVERIFY2(error.contains(QStringLiteral("is not an Ollama manifest of the store")), qPrintable(error));
        QVERIFY(!fixture.manager.exclusiveBlobs({tag, tag + QStringLiteral("-deleted")}, counts, &error));
        QVERIFY2(error.contains(QStringLiteral("-deleted\u201d could not be read")), qPrintable(error));
    }

    void unreadableManifestFolderFailsTheCount()
    {
        StoreFixture fixture;
        fixture.addTag(QStringLiteral("m/latest"), {{QStringLiteral("sha256:w"), 1}});
        const QString closed = fixture.store.manifestsDir() + QStringLiteral("/registry.ollama.ai/private");
        fixture.addManifest(QStringLiteral("registry.ollama.ai/private/m/latest"), manifest({{QStringLiteral("sha256:w"), 1}}));
        shareWithUnprivileged(QFile::encodeName(fixture.home.path()).constData());
        QCOMPARE(::chmod(QFile::encodeName(closed).constData(), 0), 0);
        const BlobReferenceManager &manager = fixture.manager;
        QVERIFY(runUnprivileged([&] {
            QString error;
            return !manager.referenceCounts(&error)
                && error == QStringLiteral("The Ollama manifests folder \u201c%1\u201d could not be read, so it is "
                                           "unknown which blobs other models still use.").arg(closed);
        }));
        ::chmod(QFile::encodeName(closed).constData(), 0755);
    }

    void tellsWhatLiesInsideTheManifests()
    {
        const BlobReferenceManager manager(QStringLiteral("/s/models/manifests/"), QStringLiteral("/s/models/blobs"));
        for (const char *inside : {"/s/models/manifests", "/s/models/manifests/", "/s/models/manifests/h/l/m/t",
                                   "/s/models//manifests/./h/t", "/s/models/blobs/../manifests/x"})
            QVERIFY2(manager.isInsideManifests(QString::fromLatin1(inside)), inside);
        for (const char *outside : {"/s/models/manifests2/x", "/s/models/manifests/../blobs/x", "/s/models",
                                    "/s/models/manifest", "s/models/manifests/x"})
            QVERIFY2(!manager.isInsideManifests(QString::fromLatin1(outside)), outside);
    }
};

QTEST_GUILESS_MAIN(TestOllamaManifest)
#include "tst_OllamaManifest.moc"
