#include "scanning/ModelScanner.h"
#include "state/AppViewModel.h"
#include "support/ControlledScans.h"
#include "preferences/PersistenceService.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

namespace {
DetectedModel model(const QString &name, qint64 size, const QStringList &files = {})
{
    return DetectedModel::create(name, SourceTool::Kind::jan, files, size, distantPast());
}

} // namespace

class TestAppViewModel : public QObject
{
    Q_OBJECT

    // The real core over the temporary home: its Ollama store, no application installed.
    static std::shared_ptr<StashwellCore> coreIn(const TempHome &home)
    {
        return std::make_shared<StashwellCore>(home.machine());
    }

    // Starts a controlled scan and ends it at once with these models.
    static void publish(AppViewModel &viewModel, ControlledScans &scans, const QList<DetectedModel> &models)
    {
        viewModel.startScan();
        scans.finish(scans.started() - 1, models);
        QTRY_VERIFY(viewModel.scanState() == AppViewModel::ScanState::complete);
    }

private slots:
    void onlyTheNewestScanPublishes()
    {
        TempHome home;
        ControlledScans scans;
        AppViewModel viewModel(coreIn(home));
        scans.attach(viewModel);
        QCOMPARE(viewModel.scanStateName(), QStringLiteral("idle"));
        viewModel.startScan();
        viewModel.startScan();
        scans.finish(1, {model(QStringLiteral("fresh"), 2)});
        QTRY_COMPARE(viewModel.scanState(), AppViewModel::ScanState::complete);
        QCOMPARE(viewModel.models().first().displayName, QStringLiteral("fresh"));

        // The first scan finishes last: its list is dropped and the state stays.
        QSignalSpy stateChanges(&viewModel, &AppViewModel::scanStateChanged);
        scans.finish(0, {model(QStringLiteral("stale"), 1)});
        QTest::qWait(50);
        QCOMPARE(viewModel.models().first().displayName, QStringLiteral("fresh"));
        QCOMPARE(stateChanges.count(), 0);

        // A result arriving after the state is gone finds no one to publish to.
        auto gone = std::make_unique<AppViewModel>(coreIn(home));
        scans.attach(*gone);
        gone->startScan();
        gone.reset();
        scans.finish(2, {model(QStringLiteral("late"), 1)});
        QTest::qWait(50);
    }

    void verificationOutcomesChangeTheBadgesUntilTheNextScan()
    {
        TempHome home;
        const QString same1 = home.writeFile(QStringLiteral("a/x.gguf"), 4096, 'a');
        const QString same2 = home.writeFile(QStringLiteral("b/x.gguf"), 4096, 'a');
        const QString other = home.writeFile(QStringLiteral("c/x.gguf"), 4096, 'c');
        const QString same3 = home.writeFile(QStringLiteral("d/x.gguf"), 4096, 'a');
        const QUuid identical = QUuid::createUuid(), different = QUuid::createUuid(), failing = QUuid::createUuid();
        QList<DetectedModel> models{model(QStringLiteral("m1"), 4096, {same1}), model(QStringLiteral("m2"), 4096, {same2}),
                                    model(QStringLiteral("m3"), 4096, {same1}), model(QStringLiteral("m4"), 4096, {other}),
                                    model(QStringLiteral("m5"), 4096, {same3}), model(QStringLiteral("m6"), 4096, {home.filePath(QStringLiteral("gone.gguf"))})};
        models[0].duplicateGroup = models[1].duplicateGroup = identical;
        models[2].duplicateGroup = models[3].duplicateGroup = different;
        models[4].duplicateGroup = models[5].duplicateGroup = failing;
        ControlledScans scans;
        AppViewModel viewModel(coreIn(home));
        scans.attach(viewModel);
        publish(viewModel, scans, models);
        const qint64 before = viewModel.reclaimableSize();
        QCOMPARE(before, 3 * 4096); // all but the largest of each group
        QCOMPARE(viewModel.totalSize(), 6 * 4096);
        viewModel.setSelected(models[0].id.toString(), true);
        QCOMPARE(viewModel.selectedDuplicateGroupIDs(), QList<QUuid>{identical});
        QVERIFY(viewModel.canVerify());

        viewModel.verifyDuplicateGroups({identical, different, failing});
        QVERIFY(viewModel.isVerifyingDuplicates());
        QVERIFY(!viewModel.canVerify());
        QTRY_VERIFY(!viewModel.isVerifyingDuplicates());
        const QList<DetectedModel> &after = viewModel.models();
        QCOMPARE(after[0].duplicateVerificationStatus, DuplicateVerificationStatus::verified());
        QVERIFY(!after[2].duplicateGroup && !after[3].duplicateGroup);
        QCOMPARE(after[3].duplicateVerificationStatus, DuplicateVerificationStatus::unverified());
        QCOMPARE(after[5].duplicateVerificationStatus.state(), DuplicateVerificationStatus::State::unableToVerify);
        QVERIFY(after[5].duplicateVerificationStatus.reason().startsWith(QStringLiteral("gone.gguf: ")));
        QCOMPARE(viewModel.reclaimableSize(), before - 4096);
        QCOMPARE(viewModel.verifyProgress(), 1.0);
        const QModelIndex firstRow = viewModel.modelList()->index(1);
        QCOMPARE(firstRow.data(ModelListModel::BadgeRole).toString(), QStringLiteral("verified"));

        // A new scan clears the selection and what verification found.
        publish(viewModel, scans, {});
        QVERIFY(viewModel.selectedModelIDs().isEmpty());
        QVERIFY(!viewModel.canVerify());
        QCOMPARE(viewModel.totalSize(), 0);
        QCOMPARE(viewModel.reclaimableSize(), 0);
    }

    void aScanDuringVerificationDropsItsOutcome()
    {
        TempHome home;
        // Large enough that hashing is still running when the scan starts.
        const QString a = home.writeFile(QStringLiteral("a.gguf"), 64 << 20, 'a');
        const QString b = home.writeFile(QStringLiteral("b.gguf"), 64 << 20, 'a');
        QList<DetectedModel> models{model(QStringLiteral("a"), 1, {a}), model(QStringLiteral("b"), 1, {b})};
        const QUuid group = QUuid::createUuid();
        models[0].duplicateGroup = models[1].duplicateGroup = group;
        ControlledScans scans;
        AppViewModel viewModel(coreIn(home));
        scans.attach(viewModel);
        publish(viewModel, scans, models);
        viewModel.verifyDuplicateGroups({group});
        QVERIFY(viewModel.isVerifyingDuplicates());
        viewModel.startScan();
        QVERIFY(!viewModel.isVerifyingDuplicates());
        QCOMPARE(viewModel.verifyProgress(), 0.0);
        scans.finish(1, models);
        QTRY_VERIFY(viewModel.scanState() == AppViewModel::ScanState::complete);
        QTest::qWait(200);
        for (const DetectedModel &m : viewModel.models())
            QCOMPARE(m.duplicateVerificationStatus, DuplicateVerificationStatus::unverified());
        QVERIFY(!viewModel.isVerifyingDuplicates());
    }

    // Space, Ctrl+A and Delete act on the row that has the keyboard and the rows shown,
    // and on nothing while a scan runs.
    void keyboardSelectsRowsAndAsksBeforeTheTrash()
    {
        TempHome home;
        ControlledScans scans;
        AppViewModel viewModel(coreIn(home));
        scans.attach(viewModel);
        const QList<DetectedModel> models{model(QStringLiteral("alpha"), 1), model(QStringLiteral("beta"), 2),
                                          model(QStringLiteral("gamma"), 3)};
        publish(viewModel, scans, models);
        ModelListModel &rows = *viewModel.modelList();

        // Delete with nothing selected asks about the row that has the keyboard alone.
        rows.moveCurrentRow(1);
        viewModel.askToMoveToTrash();
        QCOMPARE(viewModel.selectedModelIDs(), QSet<QUuid>{models[1].id});
        QVERIFY(viewModel.showDeleteConfirmation());
        viewModel.setShowDeleteConfirmation(false);
        viewModel.toggleCurrentRowSelection();
        QVERIFY(viewModel.selectedModelIDs().isEmpty());

        // Ctrl+A picks exactly what a search shows.
        viewModel.setSelected(models[2].id.toString(), true);
        rows.setFilterText(QStringLiteral("ph"));
        viewModel.selectAllShown();
        QCOMPARE(viewModel.selectedModelIDs(), QSet<QUuid>{models[0].id});

        // A search that shows nothing, or a scan that runs, leaves nothing to select or ask about.
        viewModel.clearSelection();
        rows.setFilterText(QStringLiteral("zzz"));
        viewModel.askToMoveToTrash();
        rows.setFilterText(QString());
        viewModel.startScan();
        viewModel.selectAllShown();
        viewModel.toggleCurrentRowSelection();
        viewModel.askToMoveToTrash();
        QVERIFY(viewModel.selectedModelIDs().isEmpty());
        QVERIFY(!viewModel.showDeleteConfirmation());
    }

    void foldersWelcomeAndReset()
    {
        TempHome home;
        ControlledScans scans;
        AppViewModel viewModel(coreIn(home));
        scans.attach(viewModel);
        publish(viewModel, scans, {model(QStringLiteral("kept"), 1)});

        // The window follows the core's rule: existing folders only, each once, and a
        // word when one holds a folder Stashwell scans already.
        const QString llm = home.makeDir(QStringLiteral("data/LLM")), other = home.makeDir(QStringLiteral("data/Other"));
        home.makeDir(QStringLiteral(".ollama/models"));
        QSignalSpy notices(&viewModel, &AppViewModel::customFolderNotice);
        viewModel.addCustomFolder(llm);
        viewModel.addCustomFolder(llm + QStringLiteral("/"));
        viewModel.addCustomFolder(home.filePath(QStringLiteral("data/missing")));
        viewModel.addCustomFolder(other);
        QCOMPARE(notices.count(), 1); // the missing folder; the second "LLM/" changes nothing
        viewModel.addCustomFolder(home.path());
        QCOMPARE(notices.count(), 2);
        QVERIFY(notices.last().at(1).toString().contains(QStringLiteral("listed twice")));
        QCOMPARE(viewModel.customFolders(), (QStringList{llm, other, home.path()}));
        viewModel.removeCustomFolder(llm + QStringLiteral("/"));
        QCOMPARE(PersistenceService().load(), (QStringList{other, home.path()}));

        viewModel.resetToDefaults();
        QVERIFY(viewModel.customFolders().isEmpty());
        QVERIFY(viewModel.showWelcomeScreen());
        QVERIFY(!PersistenceService().hasSeenWelcomeScreen());
        QCOMPARE(viewModel.modelCount(), 1); // the list stays until the next scan
        QCOMPARE(scans.started(), 1);
    }
};

QTEST_GUILESS_MAIN(TestAppViewModel)
#include "tst_AppViewModel.moc"
