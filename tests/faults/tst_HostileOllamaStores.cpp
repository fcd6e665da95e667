#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {
const QString store = QStringLiteral(".ollama/models/");
const QString registry = store + QStringLiteral("manifests/registry.ollama.ai/");

QByteArray layer(const QByteArray &digest, qint64 size, const QByteArray &mediaType = "application/vnd.ollama.image.model")
{
    return R"({"mediaType":")" + mediaType + R"(","digest":")" + digest + R"(","size":)" + QByteArray::number(size) + "}";
}

QByteArray manifest(const QByteArray &config, const QList<QByteArray> &layers)
{
    return R"({"schemaVersion":2,"config":)" + config + R"(,"layers":[)" + layers.join(',') + "]}";
}

QString blob(const char *name)
{
    return store + QStringLiteral("blobs/") + QLatin1String(name);
}
} // namespace

// Ollama stores holding what no Ollama writes: files that are not manifests, a manifest
// with hundreds of thousands of layers, digests crafted to name files outside the blobs
// folder. The scanner lists the real models exactly, passes over the rest, never names a
// file outside the store's blobs folder, and changes nothing.
class TestHostileOllamaStores : public QObject
{
    Q_OBJECT

    void expectScan(const TempHome &home, const QStringList &expected)
    {
        const FileTreeSnapshot before(home.path());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        QVERIFY(HomeScan::same(scan.scannerLines(), expected));
        QVERIFY(HomeScan::same(scan.lines(scan.cliReport()), expected));
        QCOMPARE(FileTreeSnapshot(home.path()).differencesFrom(before), QStringList());
    }

private slots:
    void filesThatAreNotManifestsArePassedOver()
    {
        TempHome home;
        home.writeFile(blob("sha256-c"), 5);
        home.writeFile(blob("sha256-a"), 50);
        const QByteArray good = manifest(layer("sha256:c", 5), {layer("sha256:a", 50)});
        home.writeFile(registry + QStringLiteral("library/good/latest"), good);
        // Beside it, in the same folders: text, binary noise, JSON of the wrong shape,
        // a truncated manifest, an empty file, one far larger than any manifest.
        home.writeFile(registry + QStringLiteral("library/good/README"), QByteArray("These are my models. Do not delete!\n"));
        home.writeFile(registry + QStringLiteral("library/good/noise"), QByteArray("\x00\xff\xfe{\x01[", 6));
        home.writeFile(registry + QStringLiteral("library/good/array"), QByteArray("[1,2,3]"));
        home.writeFile(registry + QStringLiteral("library/good/wrong-types"),
                       QByteArray(R"({"config":{"digest":1,"mediaType":"c","size":"5"},"layers":{}})"));
        home.writeFile(registry + QStringLiteral("library/good/fractional"), manifest(layer("sha256:c", 5), {}).replace("5}", "5.5}"));
        home.writeFile(registry + QStringLiteral("library/good/truncated"), good.left(good.size() / 2));
        home.writeFile(registry + QStringLiteral("library/good/empty"), QByteArray());
        QFile huge(home.writeFile(registry + QStringLiteral("library/good/huge"), good));
        QVERIFY(huge.resize(64 * 1024 * 1024)); // sparse: no disk space, but too large to be a manifest
        home.writeFile(registry + QStringLiteral("library/good/.hidden"), good);
        home.writeFile(registry + QStringLiteral("stray.txt"), QByteArray("not a manifest"));
        // A manifest linked from elsewhere is not read through the link.
        home.writeFile(QStringLiteral("elsewhere/latest"), good);
        home.makeDir(registry + QStringLiteral("library/linked"));
        QVERIFY(QFile::link(home.filePath(QStringLiteral("elsewhere/latest")), home.filePath(registry + QStringLiteral("library/linked/latest"))));

        expectScan(home, {HomeScan::line(QStringLiteral("Ollama"), QStringLiteral("good:latest"), 55,
                                         {registry + QStringLiteral("library/good/latest"), blob("sha256-c"), blob("sha256-a")})});
    }

    void hundredsOfThousandsOfLayers()
    {
        TempHome home;
        home.writeFile(blob("sha256-c"), 5);
        home.writeFile(blob("sha256-a"), 7);
        // Written as tersely as JSON allows, to stay within the size a manifest may have.
        constexpr int layerCount = 300'000;
        constexpr qint64 layerSize = 1'000'003;
        const QByteArray one = layer("sha256:a", layerSize, "m");
        QByteArray layers;
        layers.reserve((one.size() + 1) * layerCount);
        for (int i = 0; i < layerCount; ++i)
            layers += (i ? "," : "") + one;
        const QByteArray big = R"({"config":)" + layer("sha256:c", 5) + R"(,"layers":[)" + layers + "]}";
        QVERIFY(big.size() < 16 * 1024 * 1024);
        home.writeFile(registry + QStringLiteral("library/big/latest"), big);

        // A blob named again and again is listed again and again; the size is the sum as stated.
        QStringList files{registry + QStringLiteral("library/big/latest"), blob("sha256-c")};
        for (int i = 0; i < layerCount; ++i)
            files << blob("sha256-a");
        expectScan(home, {HomeScan::line(QStringLiteral("Ollama"), QStringLiteral("big:latest"), 5 + layerCount * layerSize, files)});
    }

    void digestsNeverNameFilesOutsideTheBlobsFolder()
    {
        TempHome home;
        // Files a crafted digest aims at, each of which exists.
        home.writeFile(store + QStringLiteral("secret"), 1);
        home.writeFile(QStringLiteral("outside"), 1);
        home.writeFile(QStringLiteral("Models/x.gguf"), 1);
        home.writeFile(blob("sha256-a"), 7);
        home.writeFile(blob("sha256-"), 1); // what a bare "sha256:" would name
        home.makeDir(blob("sha256-dir"));
        // A blob that is a link to a file elsewhere is listed as the link, never as its target.
        QVERIFY(QFile::link(home.filePath(QStringLiteral("outside")), home.filePath(blob("sha256-linked"))));
        const QByteArray absolute = QFile::encodeName(home.filePath(QStringLiteral("Models/x.gguf")));
        const QList<QByteArray> crafted{"../secret", "sha256:../secret", "sha256:../../../outside", absolute, "sha256:" + absolute,
                                        "..", ".", "", "sha256:", "sha256:a/../a", "sha256:\\u0000a", "sha256:..",
                                        "sha256:a\\/..\\/..\\/secret", "sha256:\\u002e\\u002e", "sha256:\\ud800"};
        QList<QByteArray> layers;
        for (const QByteArray &digest : crafted)
            layers << layer(digest, 1);
        layers << layer("sha256:a", 7) << layer("sha256:linked", 1) << layer("sha256:dir", 1);
        home.writeFile(registry + QStringLiteral("library/crafted/latest"), manifest(layer("sha256:a", 7), layers));

        expectScan(home, {HomeScan::line(QStringLiteral("Ollama"), QStringLiteral("crafted:latest"), 7 + crafted.size() + 7 + 1 + 1,
                                         {registry + QStringLiteral("library/crafted/latest"), blob("sha256-a"), blob("sha256-a"),
                                          blob("sha256-linked"), blob("sha256-dir")})});
    }
};

QTEST_GUILESS_MAIN(TestHostileOllamaStores)
#include "tst_HostileOllamaStores.moc"
