#include "scanning/OllamaManifest.h"
#include "support/OllamaFixture.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>

namespace {
QByteArray withSize(const char *sizeLiteral)
{
    return QByteArray(R"({"config":{"digest":"sha256:c","mediaType":"m","size":1},)"
                      R"("layers":[{"digest":"sha256:a","mediaType":"m","size":)")
        + sizeLiteral + "}]}";
}
} // namespace

class TestOllamaManifest : public QObject
{
    Q_OBJECT
private slots:
    void decodesWhatItReadsAndIgnoresTheRest()
    {
        const auto decoded = OllamaManifest::decode(OllamaFixture::manifest({{"sha256:c", 485}, {"sha256:m", 4'000'000'000}, {"sha256:c", 7}}));
        QVERIFY(decoded);
        QCOMPARE(decoded->config.mediaType, QStringLiteral("application/vnd.ollama.image.model"));
        QCOMPARE(decoded->allDigests(),
                 (QStringList{QStringLiteral("sha256:c"), QStringLiteral("sha256:m"), QStringLiteral("sha256:c")}));
        QCOMPARE(decoded->manifestSize(), qint64(4'000'000'492));

        const auto bare = OllamaManifest::decode(OllamaFixture::manifest({{"sha256:c", 42}}));
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
        // Written with an exponent but exactly whole: accepted.
        QCOMPARE(OllamaManifest::decode(withSize("2.50E1"))->layers[0].size, qint64(25));
    }

    void rejectsWhatIsNotAManifest_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("reason");
        const QByteArray layers = R"("layers":[])";
        const QByteArray config = R"("config":{"digest":"sha256:c","mediaType":"m","size":1})";
        QTest::newRow("not JSON") << QByteArray("sha256:abc") << QStringLiteral("not valid JSON");
        QTest::newRow("no config") << "{" + layers + "}" << QStringLiteral("no \"config\"");
        QTest::newRow("no layers") << "{" + config + "}" << QStringLiteral("no \"layers\"");
        QTest::newRow("layer string") << "{" + config + R"(,"layers":["sha256:a"]})" << QStringLiteral("layer 1 is not");
        QTest::newRow("no digest") << R"({"config":{"mediaType":"m","size":1},)" + layers + "}"
                                   << QStringLiteral("the config has no \"digest\"");
        QTest::newRow("no size") << "{" + config + R"(,"layers":[{"digest":"a","mediaType":"m"}]})"
                                 << QStringLiteral("layer 1 has no \"size\"");
        const QString notWhole = QStringLiteral("\"size\" of layer 1 is not a whole number");
        QTest::newRow("size text") << withSize("\"5\"") << notWhole;
        QTest::newRow("size fraction") << withSize("1.5") << notWhole;
        QTest::newRow("size 2^63") << withSize("9223372036854775808") << notWhole;
        QTest::newRow("size overflow") << withSize("1e400") << QStringLiteral("not valid JSON");
        QTest::newRow("size negative") << withSize("-1") << QStringLiteral("\"size\" of layer 1 is negative");
        // The JSON reader alone would round these to a whole number in range.
        const QString inexact = QStringLiteral("cannot be read exactly");
        QTest::newRow("size below -2^63") << withSize("-9223372036854775809") << inexact;
        QTest::newRow("size 1 + tiny") << withSize("1.00000000000000001") << inexact;
        QTest::newRow("size 2^53+1 with fraction") << withSize("9007199254740993.0") << inexact;
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
        const QByteArray good = OllamaFixture::manifest({{"sha256:c", 3}});
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
};

QTEST_GUILESS_MAIN(TestOllamaManifest)
#include "tst_OllamaManifest.moc"
