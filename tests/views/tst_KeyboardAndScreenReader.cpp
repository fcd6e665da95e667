#include "WindowUnderTest.h"

#include "preferences/PersistenceService.h"
#include "support/TempHome.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

// The windows used with the keyboard alone, as a screen reader is told about them: each
// stop named by its accessible interface, in the order Tab reaches them.
class TestKeyboardAndScreenReader : public QObject
{
    Q_OBJECT

    static QAccessible::State stateOf(QQuickItem *item) { return QAccessible::queryAccessibleInterface(item)->state(); }

    // Presses `keys`, says the stops of the sheet `name` they open, and closes it with
    // Escape; no stops when it does not open or does not close.
    static QStringList sheetStops(WindowUnderTest &ui, std::initializer_list<QKeyCombination> keys, const QString &name)
    {
        for (const QKeyCombination key : keys)
            ui.key(key.key(), key.keyboardModifiers());
        if (!QTest::qWaitFor([&] { return ui.isOpen(name); }))
            return {};
        const QStringList stops = ui.tabStops();
        ui.key(Qt::Key_Escape);
        return QTest::qWaitFor([&] { return !ui.isOpen(name); }) ? stops : QStringList();
    }

private slots:
    void findSelectAskCancelThenMoveWithTheKeyboardAlone()
    {
        TempHome home;
        PersistenceService().setHasSeenWelcomeScreen(true);
        home.writeFile(u".lmstudio/models/pub/alpha/alpha.gguf"_s, 10);
        const QString qwen = home.writeFile(u".lmstudio/models/pub/qwen/qwen.gguf"_s, 20);
        WindowUnderTest ui(home.machine());
        ui.appear();
        QVERIFY(ui.waitForScan());
        const QString alphaRow = u"CheckBox: alpha, LM Studio, 10 bytes, orphaned"_s;
        const QString qwenRow = u"CheckBox: qwen, LM Studio, 20 bytes, orphaned"_s;

        // The list has the keyboard; a row is one check box, its section a heading.
        QTRY_COMPARE(ui.focus(), alphaRow);
        QCOMPARE(QAccessible::queryAccessibleInterface(ui.window()->activeFocusItem())->childCount(), 0);
        QCOMPARE(ui.spoken(ui.item(u"sectionHeader"_s)), u"Heading: Orphaned Models, 2 models, 30 bytes"_s);
        ui.key(Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(ui.viewModel.selectedCount(), 2);
        ui.key(Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(ui.viewModel.selectedCount(), 0);

        // Tab goes round what is on screen, top to bottom (Verify and Delete are off).
        ui.key(Qt::Key_F, Qt::ControlModifier);
        QCOMPARE(ui.tabStops(), (QStringList{u"EditableText: Search models"_s, u"ComboBox: Sort by"_s, alphaRow,
                                             u"Button: Add Folder..."_s, u"Button: Rescan"_s}));

        // Find it, select it, ask, read, cancel: nothing moves.
        ui.key(Qt::Key_F, Qt::ControlModifier);
        for (const char letter : {'q', 'w', 'e', 'n'})
            QTest::keyClick(ui.window(), letter);
        ui.key(Qt::Key_Down);
        QCOMPARE(ui.focus(), qwenRow);
        ui.key(Qt::Key_Space);
        QVERIFY(stateOf(ui.window()->activeFocusItem()).checked);
        ui.key(Qt::Key_Delete);
        QTRY_VERIFY(ui.isOpen(u"deleteConfirmation"_s));
        QCOMPARE(ui.tabStops(), (QStringList{u"Button: Cancel"_s, u"Button: Move to Trash"_s,
                                             u"ListItem: qwen, LM Studio, 20 bytes, orphaned"_s}));
        ui.key(Qt::Key_Escape);
        QTRY_VERIFY(!ui.isOpen(u"deleteConfirmation"_s));
        QCOMPARE(ui.focus(), qwenRow);
        QVERIFY(QFile::exists(qwen));

        // The row's menu opens on the keyboard's row and gives it back when closed.
        ui.key(Qt::Key_Menu);
        QTRY_VERIFY(ui.isOpen(u"rowMenu"_s));
        ui.key(Qt::Key_Escape);
        QTRY_COMPARE(ui.focus(), qwenRow);

        // Moving takes its own key. The notice that follows is a notification, and the
        // list made anew by the rescan has the keyboard again.
        ui.key(Qt::Key_Delete);
        QTRY_VERIFY(ui.isOpen(u"deleteConfirmation"_s));
        ui.key(Qt::Key_M, Qt::AltModifier);
        QTRY_VERIFY(!QFile::exists(qwen));
        QTRY_VERIFY(ui.shown(u"noticeToast"_s));
        QVERIFY(ui.spoken(ui.item(u"noticeToast"_s)).startsWith(u"Notification: 1 model moved to Trash."_s));
        QVERIFY(ui.waitForScan());
        ui.key(Qt::Key_Escape);
        QTRY_COMPARE(ui.focus(), alphaRow);
        QStringList states;
        connect(&ui.viewModel, &AppViewModel::scanStateChanged, this, [&] { states << ui.viewModel.scanStateName(); });
        for (const QKeyCombination rescan : {QKeyCombination(Qt::Key_F5), Qt::ControlModifier | Qt::Key_R}) {
            states.clear();
            ui.key(rescan.key(), rescan.keyboardModifiers());
            QTRY_COMPARE(states, (QStringList{u"scanning"_s, u"complete"_s}));
            QTRY_COMPARE(ui.focus(), alphaRow);
        }
    }

    // Each sheet and the preferences start on a safe default and name every stop.
    void sheetsAndPreferencesWithTheKeyboardAlone()
    {
        TempHome home;
        home.writeFile(u"Mine/a.gguf"_s, 10);
        PersistenceService().save({home.filePath(u"Mine"_s)});
        WindowUnderTest ui(home.machine());
        ui.appear();
        QTRY_VERIFY(ui.isOpen(u"welcomeSheet"_s));
        QTRY_COMPARE(ui.tabStops(), (QStringList{u"Button: Get Started"_s,
                                                 u"Button: Read about folder access if a scan looks incomplete"_s}));
        QCOMPARE(sheetStops(ui, {Qt::Key_Tab, Qt::Key_Return}, u"accessHelp"_s),
                 (QStringList{u"Button: Close"_s, u"EditableText: Command that joins the ollama group"_s}));
        ui.key(Qt::Key_Escape); // the welcome ends as "Get Started" ends it
        QTRY_VERIFY(!ui.isOpen(u"welcomeSheet"_s));
        QVERIFY(PersistenceService().hasSeenWelcomeScreen());
        // About, from the menu bar.
        QCOMPARE(sheetStops(ui, {Qt::AltModifier | Qt::Key_S, Qt::Key_Down, Qt::Key_Return}, u"aboutDialog"_s),
                 (QStringList{u"Button: Close"_s, u"Button: stashwell.app"_s}));

        // The preferences: a question starts on Cancel; the pages change with Ctrl+Page Down.
        ui.key(Qt::Key_Comma, Qt::ControlModifier);
        QVERIFY(QTest::qWaitForWindowActive(ui.preferences()));
        ui.key(Qt::Key_Tab, Qt::NoModifier, ui.preferences());
        QCOMPARE(ui.tabStops(ui.preferences()),
                 (QStringList{u"PageTab: General"_s, u"PageTab: Model"_s, u"RadioButton: System"_s, u"RadioButton: Light"_s,
                              u"RadioButton: Dark"_s, u"Button: Show Welcome Screen"_s, u"Button: Restore to Defaults"_s}));
        ui.key(Qt::Key_Backtab, Qt::NoModifier, ui.preferences());
        ui.key(Qt::Key_Return, Qt::NoModifier, ui.preferences());
        QTRY_COMPARE(ui.focus(ui.preferences()), u"Button: Cancel"_s);
        ui.key(Qt::Key_Return, Qt::NoModifier, ui.preferences());
        QTRY_VERIFY(!ui.isOpen(ui.find(u"resetConfirmation"_s, ui.preferences())));
        QCOMPARE(ui.viewModel.customFolders().size(), 1);
        ui.key(Qt::Key_PageDown, Qt::ControlModifier, ui.preferences());
        ui.key(Qt::Key_Tab, Qt::NoModifier, ui.preferences());
        QVERIFY(ui.tabStops(ui.preferences()).contains(u"Button: Remove the folder Mine"_s));
    }
};

QTEST_MAIN(TestKeyboardAndScreenReader)
#include "tst_KeyboardAndScreenReader.moc"
