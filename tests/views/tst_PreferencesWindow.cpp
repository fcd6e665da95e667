#include "WindowUnderTest.h"

#include "app/AppearanceSettings.h"
#include "preferences/PersistenceService.h"
#include "support/TempHome.h"

#include <QFile>
#include <QQuickItem>
#include <QSettings>
#include <QTest>
#include <QUrl>

namespace {
QString storedAppearance()
{
    return QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat)
        .value(QStringLiteral("appearance")).toString();
}

// One row of the Model tab as text: "name | status | count".
QString sourceRow(WindowUnderTest &ui, const QString &key)
{
    QObject *row = ui.find(QStringLiteral("sourceRow_") + key, ui.preferences());
    if (!row)
        return QStringLiteral("<no row %1>").arg(key);
    return ui.text(QStringLiteral("sourceName"), row) + QStringLiteral(" | ") + ui.text(QStringLiteral("installStatus"), row)
        + QStringLiteral(" | ") + ui.text(QStringLiteral("modelCount"), row);
}
// A returning user's window, scanned, with the preferences open at `tab`.
void openPreferences(WindowUnderTest &ui, int tab = 0)
{
    ui.appear();
    QVERIFY(ui.waitForScan());
    QMetaObject::invokeMethod(ui.window(), "openPreferencesTab", Q_ARG(QVariant, tab));
    QVERIFY(QTest::qWaitForWindowExposed(ui.preferences()));
}
} // namespace

class TestPreferencesWindow : public QObject
{
    Q_OBJECT
private slots:
    // Appearance changes every open window at once and is stored; Restore to Defaults
    // asks, then resets it with everything else.
    void appearanceAndRestoreToDefaults()
    {
        TempHome home;
        PersistenceService().setHasSeenWelcomeScreen(true);
        home.writeFile(QStringLiteral("Mine/a.gguf"), 10);
        PersistenceService().save({home.filePath(QStringLiteral("Mine"))});
        WindowUnderTest ui(home.machine());
        openPreferences(ui);

        // The desktop has no opinion here (no portal) and a light palette.
        QCOMPARE(ui.shell.appearance().modeKey(), QStringLiteral("system"));
        QVERIFY(ui.find(QStringLiteral("appearance_system"), ui.preferences())->property("checked").toBool());
        const QColor lightMain = ui.window()->color();
        const QColor lightPreferences = ui.preferences()->color();

        ui.click(QStringLiteral("appearance_dark"), Qt::LeftButton, ui.preferences());
        QCOMPARE(storedAppearance(), QStringLiteral("dark"));
        QVERIFY(ui.shell.appearance().isDark());
        QVERIFY(ui.window()->color().lightness() < lightMain.lightness());
        QVERIFY(ui.preferences()->color().lightness() < lightPreferences.lightness());
        QCOMPARE(ui.window()->color(), ui.preferences()->color());
        QVERIFY(ui.find(QStringLiteral("appearance_dark"), ui.preferences())->property("checked").toBool());

        ui.click(QStringLiteral("appearance_light"), Qt::LeftButton, ui.preferences());
        QCOMPARE(storedAppearance(), QStringLiteral("light"));
        QCOMPARE(ui.window()->color(), lightMain);
        QCOMPARE(ui.preferences()->color(), lightPreferences);

        // The next start reads the stored mode.
        ui.click(QStringLiteral("appearance_dark"), Qt::LeftButton, ui.preferences());
        QCOMPARE(WindowUnderTest(home.machine()).shell.appearance().modeKey(), QStringLiteral("dark"));

        // Cancel changes nothing.
        QObject *confirmation = ui.find(QStringLiteral("resetConfirmation"), ui.preferences());
        ui.click(QStringLiteral("restoreDefaultsButton"), Qt::LeftButton, ui.preferences());
        QTRY_VERIFY(ui.isOpen(confirmation));
        QCOMPARE(ui.text(QStringLiteral("alertTitle"), confirmation), QStringLiteral("Restore to Defaults"));
        ui.click(QStringLiteral("alertCancel"), Qt::LeftButton, confirmation);
        QTRY_VERIFY(!ui.isOpen(confirmation));
        QCOMPARE(storedAppearance(), QStringLiteral("dark"));
        QCOMPARE(ui.viewModel.customFolders().size(), 1);

        // Restore: System at once, no folders, the welcome again; the list stays until a scan.
        ui.click(QStringLiteral("restoreDefaultsButton"), Qt::LeftButton, ui.preferences());
        QTRY_VERIFY(ui.isOpen(confirmation));
        ui.click(QStringLiteral("alertConfirm"), Qt::LeftButton, confirmation);
        QTRY_VERIFY(!ui.isOpen(confirmation));
        QCOMPARE(storedAppearance(), QStringLiteral("system"));
        QVERIFY(ui.find(QStringLiteral("appearance_system"), ui.preferences())->property("checked").toBool());
        QVERIFY(!ui.shell.appearance().isDark());
        QVERIFY(ui.viewModel.customFolders().isEmpty());
        QVERIFY(PersistenceService().load().isEmpty());
        QTRY_VERIFY(ui.isOpen(QStringLiteral("welcomeSheet")));
        QCOMPARE(ui.viewModel.modelCount(), 1);
        QVERIFY(QFile::exists(home.filePath(QStringLiteral("Mine/a.gguf"))));

        // The button that shows the welcome screen again.
        ui.click(QStringLiteral("getStartedButton"));
        QTRY_VERIFY(!ui.isOpen(QStringLiteral("welcomeSheet")));
        ui.click(QStringLiteral("showWelcomeButton"), Qt::LeftButton, ui.preferences());
        QTRY_VERIFY(ui.isOpen(QStringLiteral("welcomeSheet")));
    }

    void modelTabCountsEachSourceAndAddsFolders()
    {
        TempHome home;
        PersistenceService().setHasSeenWelcomeScreen(true);
        home.writeFile(QStringLiteral(".cache/gpt4all/one.gguf"), 10);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/a/a.gguf"), 10);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/b/b.gguf"), 10);
        home.writeFile(QStringLiteral("LLMs/c.gguf"), 10);
        for (const char *marker : {"ComfyUI/main.py", "ComfyUI/comfy/x.py", "ComfyUI/models/vae/v.safetensors"})
            home.writeFile(QString::fromLatin1(marker), 10);
        WindowUnderTest ui(home.machine());
        openPreferences(ui, 1);

        // Applications this machine does not have still count the models they left.
        QCOMPARE(sourceRow(ui, QStringLiteral("gpt4All")), QStringLiteral("GPT4All | App not found | 1 model"));
        QCOMPARE(sourceRow(ui, QStringLiteral("lmStudio")), QStringLiteral("LM Studio | App not found | 2 models"));
        QCOMPARE(sourceRow(ui, QStringLiteral("omlx")), QStringLiteral("oMLX | App not found | Empty"));
        // Each row names the folders the scan looked in on this machine.
        QCOMPARE(ui.text(QStringLiteral("sourceFolder"), ui.find(QStringLiteral("sourceRow_gpt4All"), ui.preferences())),
                 home.filePath(QStringLiteral(".cache/gpt4all")));
        // An application run from a folder of its own lists each installation with its folders.
        QObject *comfy = ui.find(QStringLiteral("sourceRow_comfyUI"), ui.preferences());
        QCOMPARE(sourceRow(ui, QStringLiteral("comfyUI")), QStringLiteral("ComfyUI | App installed | 1 model"));
        QCOMPARE(ui.text(QStringLiteral("installationPath"), comfy), QStringLiteral("Installation in ") + home.filePath(QStringLiteral("ComfyUI")));
        QCOMPARE(ui.text(QStringLiteral("sourceFolder"), comfy), home.filePath(QStringLiteral("ComfyUI/models")));
        QVERIFY(ui.shown(QStringLiteral("noCustomFolders"), ui.preferences()));

        // The folder dialog's answer is stored, scanned and listed.
        QObject *page = ui.find(QStringLiteral("modelSourcesSettings"), ui.preferences());
        QMetaObject::invokeMethod(page, "folderChosen",
                                  Q_ARG(QVariant, QUrl::fromLocalFile(home.filePath(QStringLiteral("LLMs")))));
        QCOMPARE(ui.viewModel.customFolders(), QStringList{home.filePath(QStringLiteral("LLMs"))});
        QVERIFY(ui.shown(QStringLiteral("preferencesScanning"), ui.preferences()));
        QVERIFY(ui.waitForScan());
        QCOMPARE(ui.viewModel.modelCount(), 5);
        QTRY_VERIFY(!ui.shown(QStringLiteral("noCustomFolders"), ui.preferences()));
        QCOMPARE(ui.text(QStringLiteral("folderName"), ui.preferences()), QStringLiteral("LLMs"));
    }
};

QTEST_MAIN(TestPreferencesWindow)
#include "tst_PreferencesWindow.moc"
