#include "WindowUnderTest.h"

#include "catalogue/ByteCountFormatter.h"
#include "preferences/PersistenceService.h"
#include "support/GgufWriter.h"
#include "support/OllamaFixture.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QQuickItem>
#include <QTest>
#include <QUrl>

namespace {
void installProgram(const TempHome &home, const QString &name)
{
    const QString program = home.writeFile(QStringLiteral("bin/") + name, QByteArray("#!/bin/sh\n"));
    QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeUser);
}

// The on-screen item of list row `i`, scrolled into view.
QQuickItem *rowAt(WindowUnderTest &ui, int i)
{
    QQuickItem *list = ui.item(QStringLiteral("modelList"));
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, i), Q_ARG(int, 2 /* ListView.Contain */));
    QQuickItem *row = nullptr;
    QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, row), Q_ARG(int, i));
    return row ? row->property("item").value<QQuickItem *>() : nullptr;
}

// The titles of the list's rows from top to bottom, as drawn; headers as "# title (count)".
QStringList listRows(WindowUnderTest &ui)
{
    QStringList rows;
    const int count = ui.item(QStringLiteral("modelList"))->property("count").toInt();
    for (int i = 0; i < count; ++i) {
        QQuickItem *shown = rowAt(ui, i);
        if (!shown)
            rows << QStringLiteral("<missing row %1>").arg(i);
        else if (shown->objectName() == QLatin1String("sectionHeader"))
            rows << QStringLiteral("# %1 %2").arg(shown->property("title").toString(), ui.text(QStringLiteral("sectionCount"), shown));
        else
            rows << ui.text(QStringLiteral("modelName"), shown);
    }
    return rows;
}

// The on-screen item of the first row titled `title` (a header or a model).
QQuickItem *rowTitled(WindowUnderTest &ui, const QString &title)
{
    ModelListModel *rows = ui.viewModel.modelList();
    for (int i = 0; i < rows->rowCount(); ++i) {
        if (rows->data(rows->index(i), ModelListModel::TitleRole).toString() == title)
            return rowAt(ui, i);
    }
    return nullptr;
}

void select(WindowUnderTest &ui, const QString &title)
{
    ui.click(ui.item(QStringLiteral("selectBox"), rowTitled(ui, title)));
}

QString badge(WindowUnderTest &ui, const QString &title)
{
    return ui.find(QStringLiteral("duplicateBadge"), rowTitled(ui, title))->property("kind").toString();
}

// Tests of everything but the welcome screen start as someone who has seen it.
void returningUser()
{
    PersistenceService().setHasSeenWelcomeScreen(true);
}

// Opens whatever a file URL asks for, instead of the desktop's handler.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    UrlCatcher() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "open"); }
    ~UrlCatcher() override { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened.append(url); }
};
} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void eachScanStateShowsItsCard()
    {
        TempHome home;
        returningUser();
        home.writeFile(QStringLiteral(".cache/gpt4all/phi.gguf"), 10);
        // Each scan waits until the test ends it, so the test sees it running.
        ControlledScans scans;
        WindowUnderTest ui(home.machine(), &scans);
        QVERIFY(ui.loaded);
        const StashwellCore &core = ui.viewModel.core();
        const auto cardText = [&](const char *card, const char *part) {
            return ui.text(QString::fromLatin1(part), ui.find(QString::fromLatin1(card)));
        };

        QVERIFY(ui.shown(QStringLiteral("idleCard"))); // nothing scanned before the window appears

        // Appearing starts the scan: the card and the capsule show until it finishes.
        ui.appear();
        QVERIFY(ui.shown(QStringLiteral("scanningCard")));
        QCOMPARE(cardText("scanningCard", "cardTitle"), QStringLiteral("Scanning for models..."));
        QVERIFY(ui.shown(QStringLiteral("scanningCapsule")));
        scans.finishReal(0, core);
        QVERIFY(ui.waitForScan());
        QVERIFY(ui.shown(QStringLiteral("modelList")));
        QVERIFY(!ui.shown(QStringLiteral("scanningCapsule")));

        // The models went away: the next scan finds nothing.
        QVERIFY(QFile::remove(home.filePath(QStringLiteral(".cache/gpt4all/phi.gguf"))));
        ui.click(QStringLiteral("rescanButton"));
        scans.finishReal(1, core);
        QVERIFY(ui.waitForScan());
        QVERIFY(ui.shown(QStringLiteral("emptyCard")));
        QCOMPARE(cardText("emptyCard", "cardTitle"), QStringLiteral("No Models Found"));
        QCOMPARE(ui.text(QStringLiteral("countChip")), QStringLiteral("0 models"));
        QVERIFY(!ui.shown(QStringLiteral("reclaimableChip"))); // nothing to reclaim

        // A failed scan shows its message as given; the bar stays usable to try again.
        ui.click(QStringLiteral("rescanButton"));
        scans.fail(2, QStringLiteral("The home folder could not be listed."));
        QVERIFY(ui.waitForScan());
        QVERIFY(ui.shown(QStringLiteral("errorCard")));
        QCOMPARE(cardText("errorCard", "cardTitle"), QStringLiteral("Scan Failed"));
        QCOMPARE(cardText("errorCard", "cardMessage"), QStringLiteral("The home folder could not be listed."));
        QVERIFY(ui.item(QStringLiteral("rescanButton"))->isEnabled());
        QVERIFY(ui.item(QStringLiteral("addFolderButton"))->isEnabled());
    }

    void sectionsAndSummaryShowTheScan()
    {
        TempHome home;
        returningUser();
        home.writeFile(QStringLiteral(".cache/gpt4all/left-behind.gguf"), 10); // GPT4All is gone: an orphan
        installProgram(home, QStringLiteral("ollama"));
        OllamaFixture(home).addModel(QStringLiteral("library/llama3/latest"), {{"sha256:c", 1}, {"sha256:a1", 20}});
        installProgram(home, QStringLiteral("lm-studio"));
        GgufWriter().text("general.architecture", "llama").number("general.file_type", 15).number("llama.context_length", 4096)
            .tensor("w", {64, 2}, GgufWriter::f32).write(home, QStringLiteral(".lmstudio/models/pub/solo/solo.gguf"), 1500);
        home.writeFile(QStringLiteral("Copies/solo.gguf"), 1500); // a likely duplicate worth reclaiming
        PersistenceService().save({home.filePath(QStringLiteral("Copies"))});
        const QString closed = home.makeDir(QStringLiteral("closed/models"));
        ControlledScans scans;
        WindowUnderTest ui(home.machine(), &scans);
        ui.appear();
        ScanResult found = ui.viewModel.core().scan();
        found.unreadableFolders = {closed}; // as a store closed to this user would be reported
        scans.finish(0, found);
        QVERIFY(ui.waitForScan());

        QCOMPARE(listRows(ui), (QStringList{QStringLiteral("# Orphaned Models (1)"), QStringLiteral("left-behind"),
                                            QStringLiteral("# Ollama (1)"), QStringLiteral("llama3:latest"),
                                            QStringLiteral("# LM Studio (1)"), QStringLiteral("solo"),
                                            QStringLiteral("# Copies (1)"), QStringLiteral("solo")}));
        // An orphan names its application; other rows do not.
        QCOMPARE(ui.text(QStringLiteral("sourceLabel"), rowTitled(ui, QStringLiteral("left-behind"))), QStringLiteral("GPT4All"));
        QVERIFY(!ui.shown(QStringLiteral("sourceLabel"), rowTitled(ui, QStringLiteral("solo"))));
        QCOMPARE(ui.text(QStringLiteral("sectionSize"), rowTitled(ui, QStringLiteral("Ollama"))), QStringLiteral("21 bytes"));
        QCOMPARE(badge(ui, QStringLiteral("solo")), QStringLiteral("likely"));
        // What a model is shows under its name when its file says; the confirmation names its quantization.
        QCOMPARE(ui.text(QStringLiteral("detailsLabel"), rowTitled(ui, QStringLiteral("solo"))), QStringLiteral("llama \u00b7 128 \u00b7 Q4_K_M \u00b7 4K context"));
        QVERIFY(!ui.shown(QStringLiteral("detailsLabel"), rowTitled(ui, QStringLiteral("left-behind"))));
        select(ui, QStringLiteral("solo"));
        ui.click(QStringLiteral("deleteButton"));
        QTRY_VERIFY(ui.isOpen(QStringLiteral("deleteConfirmation")));
        QCOMPARE(ui.text(QStringLiteral("deleteRowQuantization")), QStringLiteral("Q4_K_M"));
        ui.key(Qt::Key_Escape, Qt::ControlModifier);
        QTRY_VERIFY(!ui.isOpen(QStringLiteral("deleteConfirmation")));

        QCOMPARE(ui.text(QStringLiteral("countChip")), QStringLiteral("4 models"));
        QCOMPARE(ui.text(QStringLiteral("sizeChip")), QStringLiteral("3 KB"));
        QCOMPARE(ui.text(QStringLiteral("reclaimableChip")), QStringLiteral("2 KB reclaimable"));

        // The scan could not read a known folder: the notice, and help that names it.
        QVERIFY(ui.shown(QStringLiteral("scanLimitedNotice")));
        QCOMPARE(ui.text(QStringLiteral("scanLimitedLabel")), QStringLiteral("Scan limited"));
        ui.click(QStringLiteral("grantAccessButton"));
        QTRY_VERIFY(ui.isOpen(QStringLiteral("accessHelp")));
        QCOMPARE(ui.text(QStringLiteral("folderPath")), closed);
    }

    void selectedModelsMoveToTheTrashAfterConfirmation()
    {
        TempHome home;
        returningUser();
        installProgram(home, QStringLiteral("lm-studio"));
        const QString keep = home.writeFile(QStringLiteral(".lmstudio/models/pub/keep/keep.gguf"), 10);
        const QString first = home.writeFile(QStringLiteral(".lmstudio/models/pub/first/first.gguf"), 20);
        const QString second = home.writeFile(QStringLiteral(".cache/gpt4all/second.gguf"), 30);
        WindowUnderTest ui(home.machine());
        ui.appear();
        QVERIFY(ui.waitForScan());

        QQuickItem *deleteButton = ui.item(QStringLiteral("deleteButton"));
        QVERIFY(!deleteButton->isEnabled());
        const QColor disarmed = deleteButton->property("tint").value<QColor>();
        select(ui, QStringLiteral("first"));
        select(ui, QStringLiteral("second"));
        QCOMPARE(ui.viewModel.selectedCount(), 2);
        QVERIFY(deleteButton->isEnabled());
        QVERIFY(!ui.item(QStringLiteral("verifyButton"))->isEnabled()); // no duplicate selected
        const QColor armed = deleteButton->property("tint").value<QColor>();
        QVERIFY(armed != disarmed);
        QVERIFY2(armed.red() > 2 * armed.green() && armed.red() > 2 * armed.blue(), "an armed delete is red");

        ui.click(deleteButton);
        QTRY_VERIFY(ui.isOpen(QStringLiteral("deleteConfirmation")));
        QCOMPARE(ui.text(QStringLiteral("deleteHeader")), QStringLiteral("Deleting 2 models"));
        QCOMPARE(ui.text(QStringLiteral("deleteTotal")), QStringLiteral("50 bytes"));
        QCOMPARE(ui.item(QStringLiteral("deleteList"))->property("count").toInt(), 2);

        // Cancel is the default button: Return cancels, as Escape and Ctrl+Escape do.
        for (const QKeyCombination cancel : {QKeyCombination(Qt::Key_Return), QKeyCombination(Qt::Key_Escape),
                                             Qt::ControlModifier | Qt::Key_Escape}) {
            ui.key(cancel.key(), cancel.keyboardModifiers());
            QTRY_VERIFY(!ui.isOpen(QStringLiteral("deleteConfirmation")));
            QVERIFY(QFile::exists(first) && QFile::exists(second));
            ui.click(deleteButton);
            QTRY_VERIFY(ui.isOpen(QStringLiteral("deleteConfirmation")));
        }

        // Ctrl+Return moves them to the Trash and the list is scanned afresh; a notice says
        // what moved and the space the confirmation worked out.
        QTRY_COMPARE(ui.viewModel.spaceFreedText(), ByteCountFormatter::format(50));
        ui.key(Qt::Key_Return, Qt::ControlModifier);
        QTRY_COMPARE(ui.text(QStringLiteral("noticeText")),
                     QStringLiteral("2 models moved to Trash. Emptying the Trash gives back %1.").arg(ByteCountFormatter::format(50)));
        QTRY_VERIFY(!ui.isOpen(QStringLiteral("deleteConfirmation")));
        QTRY_VERIFY(!ui.viewModel.isDeleting());
        QVERIFY(ui.waitForScan());
        QVERIFY(!QFile::exists(first) && !QFile::exists(second) && QFile::exists(keep));
        QVERIFY(QDir(home.filePath(QStringLiteral(".local/share/Trash/files"))).exists(QStringLiteral("second.gguf")));
        QCOMPARE(listRows(ui), (QStringList{QStringLiteral("# LM Studio (1)"), QStringLiteral("keep")}));
        QVERIFY(!ui.isOpen(QStringLiteral("deletionAlert"))); // nothing failed
        QVERIFY(!deleteButton->isEnabled());

        // A model that vanished between the scan and the deletion is reported in an alert.
        select(ui, QStringLiteral("keep"));
        QVERIFY(QFile::remove(keep));
        ui.click(deleteButton);
        QTRY_VERIFY(ui.isOpen(QStringLiteral("deleteConfirmation")));
        ui.click(QStringLiteral("moveToTrashButton"));
        QTRY_VERIFY(ui.isOpen(QStringLiteral("deletionAlert")));
        QObject *alert = ui.find(QStringLiteral("deletionAlert"));
        QCOMPARE(ui.text(QStringLiteral("alertTitle"), alert), QStringLiteral("No models were moved to Trash"));
        QVERIFY(ui.text(QStringLiteral("alertMessage"), alert).startsWith(QLatin1String("keep - ")));
        ui.click(ui.item(QStringLiteral("alertConfirm"), alert));
        QTRY_VERIFY(!ui.isOpen(alert));
    }

    void verifyTheSelectedGroupsThenRevealAndRemoveFoldersFromMenus()
    {
        TempHome home;
        returningUser();
        UrlCatcher catcher;
        installProgram(home, QStringLiteral("lm-studio"));
        home.writeFile(QStringLiteral(".lmstudio/models/pub/same/same.gguf"), 4000, 's');
        home.writeFile(QStringLiteral("Copies/same.gguf"), 4000, 's');
        home.writeFile(QStringLiteral(".lmstudio/models/pub/other/other.gguf"), 9000, 'o');
        home.writeFile(QStringLiteral("Copies/other.gguf"), 9000, 'x');
        const QString single = home.writeFile(QStringLiteral("My Models/single one.gguf"), 5);
        PersistenceService().save({home.filePath(QStringLiteral("Copies")), home.filePath(QStringLiteral("My Models"))});
        WindowUnderTest ui(home.machine());
        ui.appear();
        QVERIFY(ui.waitForScan());
        QQuickItem *verify = ui.item(QStringLiteral("verifyButton"));
        QVERIFY(!verify->isEnabled());

        select(ui, QStringLiteral("same"));
        QVERIFY(verify->isEnabled());
        // The moment it starts: the capsule shows and Verify is off until it ends.
        bool capsuleShown = false, verifyOff = false;
        const QMetaObject::Connection watch = connect(&ui.viewModel, &AppViewModel::verifyingChanged, this, [&] {
            capsuleShown |= ui.viewModel.isVerifyingDuplicates() && ui.shown(QStringLiteral("verifyingCapsule"));
            verifyOff |= ui.viewModel.isVerifyingDuplicates() && !verify->isEnabled();
        });
        ui.click(verify);
        disconnect(watch);
        QVERIFY(capsuleShown && verifyOff);
        QTRY_VERIFY(!ui.viewModel.isVerifyingDuplicates());
        QVERIFY(!ui.shown(QStringLiteral("verifyingCapsule")));
        QCOMPARE(badge(ui, QStringLiteral("same")), QStringLiteral("verified"));
        QCOMPARE(badge(ui, QStringLiteral("other")), QStringLiteral("likely")); // not selected

        // Now the other group: its contents differ, so it is no group any more.
        select(ui, QStringLiteral("other"));
        ui.click(verify);
        QTRY_VERIFY(!ui.viewModel.isVerifyingDuplicates());
        QCOMPARE(badge(ui, QStringLiteral("other")), QStringLiteral("none"));

        // A verified copy says where the other is; from the keyboard, its menu keeps it and
        // asks to move the other, saying where the kept one stays.
        QCOMPARE(ui.text(QStringLiteral("alsoInLabel"), rowTitled(ui, QStringLiteral("same"))), QStringLiteral("Also in Copies"));
        ui.click(rowTitled(ui, QStringLiteral("same"))); // the keyboard moves to the row
        QTest::keyClick(ui.window(), Qt::Key_Menu);
        QTRY_VERIFY(ui.isOpen(QStringLiteral("duplicateRowMenu")));
        ui.click(ui.item(QStringLiteral("keepOneItem"), ui.find(QStringLiteral("duplicateRowMenu"))));
        QTRY_VERIFY(ui.isOpen(QStringLiteral("deleteConfirmation")));
        QCOMPARE(ui.viewModel.selectedModels().size(), 1);
        QCOMPARE(ui.viewModel.selectedModels().first().sourceTool, SourceTool::custom(QStringLiteral("Copies")));
        QCOMPARE(ui.text(QStringLiteral("deleteCopiesNote")), QStringLiteral("Left on disk: same in LM Studio."));
        ui.click(QStringLiteral("cancelDeleteButton"));

        // A model without a group: only "Show in File Manager", which opens its folder.
        ui.click(rowTitled(ui, QStringLiteral("single one")), Qt::RightButton);
        QTRY_VERIFY(ui.isOpen(QStringLiteral("rowMenu")));
        ui.click(ui.item(QStringLiteral("showItem"), ui.find(QStringLiteral("rowMenu"))));
        QTRY_COMPARE(catcher.opened, (QList<QUrl>{QUrl::fromLocalFile(home.filePath(QStringLiteral("My Models")))}));

        // The custom folder's header: remove it, after a question that names it.
        for (const char *answer : {"alertCancel", "alertConfirm"}) {
            ui.click(rowTitled(ui, QStringLiteral("My Models")), Qt::RightButton);
            QTRY_VERIFY(ui.isOpen(QStringLiteral("folderHeaderMenu")));
            ui.click(ui.item(QStringLiteral("removeFolderItem"), ui.find(QStringLiteral("folderHeaderMenu"))));
            QTRY_VERIFY(ui.isOpen(QStringLiteral("removeFolderDialog")));
            QObject *dialog = ui.find(QStringLiteral("removeFolderDialog"));
            QCOMPARE(ui.text(QStringLiteral("alertTitle"), dialog), QStringLiteral("Remove \"My Models\"?"));
            ui.click(ui.item(QString::fromLatin1(answer), dialog));
            QTRY_VERIFY(!ui.isOpen(dialog));
        }
        QVERIFY(ui.waitForScan());
        QCOMPARE(ui.viewModel.customFolders(), QStringList{home.filePath(QStringLiteral("Copies"))});
        QVERIFY(QFile::exists(single)); // no file is touched
        QCOMPARE(listRows(ui), (QStringList{QStringLiteral("# LM Studio (2)"), QStringLiteral("other"), QStringLiteral("same"),
                                            QStringLiteral("# Copies (2)"), QStringLiteral("other"), QStringLiteral("same")}));
    }

    // The first start welcomes; the next does not, but the Help menu brings it back, and
    // the other menus open Preferences and About.
    void welcomeShowsAtTheFirstRunAndMenusOpenTheirWindows()
    {
        TempHome home;
        {
            WindowUnderTest ui(home.machine());
            ui.appear();
            QTRY_VERIFY(ui.isOpen(QStringLiteral("welcomeSheet")));
            ui.key(Qt::Key_Return, Qt::ControlModifier);
            QTRY_VERIFY(!ui.isOpen(QStringLiteral("welcomeSheet")));
            QVERIFY(PersistenceService().hasSeenWelcomeScreen());
        }
        WindowUnderTest ui(home.machine());
        ui.appear();
        QVERIFY(ui.waitForScan());
        QVERIFY(!ui.isOpen(QStringLiteral("welcomeSheet")));
        QMetaObject::invokeMethod(ui.find(QStringLiteral("showWelcomeAction")), "trigger");
        QTRY_VERIFY(ui.isOpen(QStringLiteral("welcomeSheet")));
        ui.click(QStringLiteral("getStartedButton"));
        QTRY_VERIFY(!ui.isOpen(QStringLiteral("welcomeSheet")));

        QVERIFY(!ui.preferences()->isVisible());
        ui.key(Qt::Key_Comma, Qt::ControlModifier);
        QTRY_VERIFY(ui.preferences()->isVisible());
        QMetaObject::invokeMethod(ui.find(QStringLiteral("aboutAction")), "trigger");
        QTRY_VERIFY(ui.isOpen(QStringLiteral("aboutDialog")));
        QCOMPARE(ui.text(QStringLiteral("aboutVersion")), QStringLiteral("Version " STASHWELL_VERSION));
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_MainWindow.moc"
