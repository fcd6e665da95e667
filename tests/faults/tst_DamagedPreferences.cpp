#include "preferences/PersistenceService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QFile>
#include <QTest>

#include <sys/stat.h>

namespace {
const QString gpt4AllModel = HomeScan::line(QStringLiteral("GPT4All"), QStringLiteral("g"), 9, {QStringLiteral(".cache/gpt4all/g.gguf")});
const QString customModel = HomeScan::line(QStringLiteral("Models"), QStringLiteral("a"), 3, {QStringLiteral("Models/a.gguf")});

// A model of a known application and one in the folder the preferences name, if they can be read.
void layOut(const TempHome &home)
{
    home.writeFile(QStringLiteral(".cache/gpt4all/g.gguf"), 9);
    home.writeFile(QStringLiteral("Models/a.gguf"), 3);
}

QByteArray storedList(const TempHome &home)
{
    return "customFolders=\"@ByteArray([\\\"" + QFile::encodeName(home.filePath(QStringLiteral("Models"))) + "\\\"])\"\n";
}
} // namespace

// A preferences file that Stashwell did not write: damaged, of another encoding, of the
// wrong kind, unreadable. A scan still lists every application's models, scans the custom
// folders only when their list can be read exactly, and leaves the file as it was.
class TestDamagedPreferences : public QObject
{
    Q_OBJECT

    void expectScan(const TempHome &home, const QStringList &expected, const QByteArray &listed, bool unprivileged = false)
    {
        const FileTreeSnapshot before(home.path());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        if (unprivileged)
            QVERIFY(runUnprivileged([&] { return HomeScan::same(scan.scannerLines(), expected); }));
        else
            QVERIFY(HomeScan::same(scan.scannerLines(), expected));
        QVERIFY(HomeScan::same(scan.lines(scan.cliReport(unprivileged)), expected));
        const HomeScan::CliRun list = scan.runCli({QStringLiteral("folders"), QStringLiteral("list")}, unprivileged);
        QCOMPARE(list.exitCode, 0);
        QCOMPARE(list.out, listed);
        QCOMPARE(FileTreeSnapshot(home.path()).differencesFrom(before), QStringList());
    }

private slots:
    void damagedContent_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("listReadable");
        QByteArray noise;
        for (int byte = 0; byte < 256; ++byte)
            noise += char(byte);
        QTest::newRow("binary noise") << noise.repeated(4) << false;
        QTest::newRow("an object, not a list") << QByteArray("[General]\ncustomFolders=\"@ByteArray({\\\"a\\\":\\\"/x\\\"})\"\n") << false;
        QTest::newRow("a number among the folders") << QByteArray("[General]\ncustomFolders=\"@ByteArray([\\\"/x\\\",3])\"\n") << false;
        QTest::newRow("not JSON") << QByteArray("[General]\ncustomFolders=@ByteArray(not json)\n") << false;
        QTest::newRow("a plain list of texts") << QByteArray("[General]\ncustomFolders=/a, /b\n") << false;
        QTest::newRow("a stored value claiming billions of entries")
            << QByteArray("[General]\ncustomFolders=@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)\n") << false;
        QTest::newRow("a type no one knows")
            << QByteArray("[General]\ncustomFolders=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x10NoSuchType\\0\\0\\0\\0)\n") << false;
        QTest::newRow("UTF-16") << QByteArray("\xff\xfe[\0G\0e\0n\0e\0r\0a\0l\0]\0\n\0", 22) << false;
        QTest::newRow("the list among damaged lines") << QByteArray("[General]\n\x01\x02noise\n[[[\nappearance=@Invalid(\n") << true;
    }

    void damagedContent()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, listReadable);
        TempHome home;
        layOut(home);
        if (listReadable)
            content.insert(content.indexOf('\n') + 1, storedList(home));
        home.writeFile(QStringLiteral(".config/Stashwell/Stashwell.conf"), content);
        if (listReadable)
            expectScan(home, {gpt4AllModel, customModel}, QFile::encodeName(home.filePath(QStringLiteral("Models"))) + '\n');
        else
            expectScan(home, {gpt4AllModel}, {});
    }

    void aFolderInPlaceOfTheFile()
    {
        TempHome home;
        layOut(home);
        home.makeDir(QStringLiteral(".config/Stashwell/Stashwell.conf/inside"));
        expectScan(home, {gpt4AllModel}, {});
    }

    void aFileItsUserMayNotRead()
    {
        TempHome home;
        shareWithUnprivileged(QFile::encodeName(home.path()).constData());
        layOut(home);
        const QString file = home.writeFile(QStringLiteral(".config/Stashwell/Stashwell.conf"), "[General]\n" + storedList(home));
        QCOMPARE(::chmod(QFile::encodeName(file).constData(), 0), 0);
        expectScan(home, {gpt4AllModel}, {}, true);
        ::chmod(QFile::encodeName(file).constData(), 0644);
    }
};

QTEST_GUILESS_MAIN(TestDamagedPreferences)
#include "tst_DamagedPreferences.moc"
