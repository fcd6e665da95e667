#include "preferences/PersistenceService.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

#include <sys/stat.h>

namespace {
QByteArray storedFile()
{
    QFile file(PersistenceService::settingsFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestPersistenceService : public QObject
{
    Q_OBJECT
private slots:
    void foldersRoundTripThroughTheSettingsFile()
    {
        TempHome home;
        const PersistenceService persistence;
        QVERIFY(persistence.load().isEmpty());
        const QStringList folders{QStringLiteral("/data/LLM"), QStringLiteral("/data/LLM"), QStringLiteral("/mnt/ü ñ/models")};
        persistence.save(folders);
        QCOMPARE(persistence.load(), folders); // duplicates stored by hand are kept
        QCOMPARE(PersistenceService::settingsFilePath(), home.filePath(QStringLiteral(".config/Stashwell/Stashwell.conf")));
        persistence.save({});
        QCOMPARE(QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat).value(QStringLiteral("customFolders")).toByteArray(),
                 QByteArray("[]"));

        QVERIFY(!persistence.hasSeenWelcomeScreen());
        persistence.setHasSeenWelcomeScreen(true);
        QVERIFY(persistence.hasSeenWelcomeScreen());
        persistence.setAppearanceMode(AppearanceMode::dark);
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::dark);
        // Values are matched exactly: another spelling is no choice.
        QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat).setValue(QStringLiteral("appearance"), QStringLiteral("Dark"));
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::system);
    }

    // A preferences file Stashwell did not write: the folder list is read only when it is
    // exactly a list of texts, everything else reads as the defaults, and the file is
    // left as it was.
    void damagedFilesReadAsDefaults_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("folders");
        QByteArray noise;
        for (int byte = 0; byte < 256; ++byte)
            noise += char(byte);
        QTest::newRow("binary noise") << noise.repeated(4) << QStringList();
        QTest::newRow("an object, not a list") << QByteArray("[General]\ncustomFolders=\"@ByteArray({\\\"a\\\":\\\"/x\\\"})\"\n") << QStringList();
        QTest::newRow("a number among the folders") << QByteArray("[General]\ncustomFolders=\"@ByteArray([\\\"/x\\\",3])\"\n") << QStringList();
        QTest::newRow("not JSON") << QByteArray("[General]\ncustomFolders=@ByteArray(not json)\n") << QStringList();
        QTest::newRow("a plain list of texts") << QByteArray("[General]\ncustomFolders=/a, /b\n") << QStringList();
        QTest::newRow("a stored value claiming billions of entries")
            << QByteArray("[General]\ncustomFolders=@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)\n") << QStringList();
        QTest::newRow("a type no one knows")
            << QByteArray("[General]\ncustomFolders=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x10NoSuchType\\0\\0\\0\\0)\n") << QStringList();
        QTest::newRow("escaped slashes, as other JSON writers write them")
            << QByteArray("[General]\ncustomFolders=\"@ByteArray([\\\"\\\\/data\\\\/LLM\\\"])\"\n") << QStringList{QStringLiteral("/data/LLM")};
        QTest::newRow("the list among damaged lines")
            << QByteArray("[General]\ncustomFolders=\"@ByteArray([\\\"/m\\\"])\"\n\x01\x02noise\n[[[\nappearance=@Invalid(\n")
            << QStringList{QStringLiteral("/m")};
    }

    void damagedFilesReadAsDefaults()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, folders);
        TempHome home;
        home.writeFile(QStringLiteral(".config/Stashwell/Stashwell.conf"), content);
        const PersistenceService persistence;
        QCOMPARE(persistence.load(), folders);
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::system);
        QCOMPARE(storedFile(), content);
    }

    // Opening a pipe would wait for a writer forever; a folder or a file its user may not
    // read is no settings file either. The defaults come back at once, nothing is written.
    void noSettingsFileToReadGivesTheDefaults()
    {
        TempHome home;
        home.makeDir(QStringLiteral(".config/Stashwell"));
        const QByteArray path = QFile::encodeName(PersistenceService::settingsFilePath());
        QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        const PersistenceService persistence;
        QVERIFY(persistence.load().isEmpty());
        persistence.save({QStringLiteral("/x")});
        persistence.setHasSeenWelcomeScreen(true);
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        QVERIFY(!QFileInfo(PersistenceService::settingsFilePath()).isFile());

        QCOMPARE(::unlink(path.constData()), 0);
        home.makeDir(QStringLiteral(".config/Stashwell/Stashwell.conf/inside"));
        QVERIFY(persistence.load().isEmpty());
        QVERIFY(QDir().rmpath(PersistenceService::settingsFilePath() + QStringLiteral("/inside")));

        shareWithUnprivileged(QFile::encodeName(home.path()).constData());
        home.writeFile(QStringLiteral(".config/Stashwell/Stashwell.conf"), QByteArray("[General]\ncustomFolders=\"@ByteArray([\\\"/m\\\"])\"\n"));
        QCOMPARE(::chmod(path.constData(), 0), 0);
        QVERIFY(runUnprivileged([&] { return persistence.load().isEmpty(); }));
        QCOMPARE(::chmod(path.constData(), 0644), 0);
        QCOMPARE(persistence.load(), QStringList{QStringLiteral("/m")});
    }
};

QTEST_GUILESS_MAIN(TestPersistenceService)
#include "tst_PersistenceService.moc"
