#include "preferences/PersistenceService.h"
#include "support/TempHome.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

#include <sys/stat.h>

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
        QVERIFY(QFile::exists(PersistenceService::settingsFilePath()));
        persistence.save({});
        QCOMPARE(QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat).value(QStringLiteral("customFolders")).toByteArray(),
                 QByteArray("[]"));
    }

    void damagedValuesReadAsNothingAndAreLeftAlone()
    {
        TempHome home;
        const PersistenceService persistence;
        const auto store = [&](const QVariant &value) {
            QSettings settings(PersistenceService::settingsFilePath(), QSettings::IniFormat);
            settings.setValue(QStringLiteral("customFolders"), value);
        };
        store(QByteArray(R"({"a":"/x"})"));
        QVERIFY(persistence.load().isEmpty());
        store(QByteArray(R"(["/x", 3])"));
        QVERIFY(persistence.load().isEmpty());
        store(QByteArray("not json"));
        QVERIFY(persistence.load().isEmpty());
        QCOMPARE(QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat).value(QStringLiteral("customFolders")).toByteArray(),
                 QByteArray("not json"));
        // Escaped slashes, as other JSON writers produce them, read the same.
        store(QByteArray(R"(["\/data\/LLM"])"));
        QCOMPARE(persistence.load(), QStringList{QStringLiteral("/data/LLM")});

        // A preferences file that is not a settings file at all.
        home.writeFile(QStringLiteral(".config/Stashwell/Stashwell.conf"), QByteArray("\x00\xff[[[=\n\x01", 9));
        QVERIFY(persistence.load().isEmpty());
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::system);
    }

    void aPipeInPlaceOfTheFileNeverBlocks()
    {
        TempHome home;
        home.makeDir(QStringLiteral(".config/Stashwell"));
        QCOMPARE(::mkfifo(QFile::encodeName(PersistenceService::settingsFilePath()).constData(), 0600), 0);
        const PersistenceService persistence;
        // Opening the pipe would wait for a writer forever; the defaults come back at once.
        QVERIFY(persistence.load().isEmpty());
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        persistence.save({QStringLiteral("/x")});
        persistence.setHasSeenWelcomeScreen(true);
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        QVERIFY(QFileInfo(PersistenceService::settingsFilePath()).isFile() == false);
    }

    void welcomeFlagAndAppearance()
    {
        TempHome home;
        const PersistenceService persistence;
        QVERIFY(!persistence.hasSeenWelcomeScreen());
        persistence.setHasSeenWelcomeScreen(true);
        QVERIFY(persistence.hasSeenWelcomeScreen());
        persistence.setAppearanceMode(AppearanceMode::dark);
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::dark);
        QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat).setValue(QStringLiteral("appearance"), QStringLiteral("Dark"));
        QCOMPARE(persistence.appearanceMode(), AppearanceMode::system);
    }
};

QTEST_GUILESS_MAIN(TestPersistenceService)
#include "tst_PersistenceService.moc"
