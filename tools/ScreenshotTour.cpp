#include "ScreenshotTour.h"

#include "app/ApplicationShell.h"
#include "state/AppViewModel.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <cstdio>

namespace {
// Long enough for a sheet's opening animation and the icon loads to finish.
constexpr int settleMs = 900;
}

ScreenshotTour::ScreenshotTour(ApplicationShell &shell, const QString &folder)
    : QObject(&shell), m_shell(shell), m_folder(folder)
{
    connect(&shell.viewModel(), &AppViewModel::scanStateChanged, this, [this] {
        if (!m_started && m_shell.viewModel().scanState() == AppViewModel::ScanState::complete) {
            m_started = true;
            start();
        }
    });
}

void ScreenshotTour::attachIfAsked(ApplicationShell &shell)
{
    const QString folder = qEnvironmentVariable("STASHWELL_SCREENSHOT_DIR");
    if (!folder.isEmpty())
        new ScreenshotTour(shell, folder);
}

void ScreenshotTour::start()
{
    m_folder.mkpath(QStringLiteral("."));
    m_shell.viewModel().setShowWelcomeScreen(false);
    QTimer::singleShot(settleMs, this, [this] { step(0); });
}

void ScreenshotTour::step(int index)
{
    AppViewModel &viewModel = m_shell.viewModel();
    QQuickWindow *main = m_shell.mainWindow();
    switch (index) {
    case 0: {
        save(main, QStringLiteral("main-window.png"));
        // A likely duplicate, orphans and a download that may still be going on: the
        // selection a person tidying up makes, and what the confirmation warns of.
        QSet<QUuid> selection;
        bool download = false;
        for (const DetectedModel &model : viewModel.models()) {
            if ((model.duplicateGroup && selection.size() < 1) || (model.isOrphaned && selection.size() < 3))
                selection.insert(model.id);
            if (!download && model.mayStillBeDownloading(QDateTime::currentDateTimeUtc()))
                download = true, selection.insert(model.id);
        }
        viewModel.setSelectedModelIDs(selection);
        viewModel.setShowDeleteConfirmation(true);
        break;
    }
    case 1: {
        save(main, QStringLiteral("delete-confirmation.png"));
        viewModel.setShowDeleteConfirmation(false);
        // The keyboard on the list, two rows below a selected one: the focus mark and
        // the selection side by side.
        viewModel.clearSelection();
        viewModel.toggleCurrentRowSelection();
        viewModel.modelList()->moveCurrentRow(2);
        if (auto *list = main->contentItem()->findChild<QQuickItem *>(QStringLiteral("modelList")))
            list->forceActiveFocus(Qt::TabFocusReason);
        break;
    }
    case 2: {
        save(main, QStringLiteral("keyboard-focus.png"));
        viewModel.clearSelection();
        // "Keep one" on the first group, once its copies are verified identical.
        const auto grouped = std::find_if(viewModel.models().cbegin(), viewModel.models().cend(),
                                          [](const DetectedModel &model) { return model.duplicateGroup.has_value(); });
        if (grouped == viewModel.models().cend()) {
            QMetaObject::invokeMethod(main, "openPreferences");
            QTimer::singleShot(settleMs, this, [this] { step(4); });
            return;
        }
        const QString kept = grouped->id.toString(QUuid::WithoutBraces);
        auto *once = new QMetaObject::Connection;
        *once = connect(&viewModel, &AppViewModel::verifyingChanged, this, [this, &viewModel, kept, once] {
            if (viewModel.isVerifyingDuplicates())
                return;
            disconnect(*once);
            delete once;
            viewModel.keepOnly(kept);
            QTimer::singleShot(settleMs, this, [this] { step(3); });
        });
        viewModel.verifyDuplicateGroup(grouped->duplicateGroup->toString(QUuid::WithoutBraces));
        return;
    }
    case 3:
        save(main, QStringLiteral("keep-one.png"));
        viewModel.setShowDeleteConfirmation(false);
        viewModel.clearSelection();
        QMetaObject::invokeMethod(main, "openPreferences");
        break;
    case 4:
        save(main->findChild<QQuickWindow *>(QStringLiteral("preferencesWindow")), QStringLiteral("preferences.png"));
        QMetaObject::invokeMethod(main, "openPreferencesTab", Q_ARG(QVariant, 1));
        break;
    case 5:
        save(main->findChild<QQuickWindow *>(QStringLiteral("preferencesWindow")), QStringLiteral("preferences-model.png"));
        viewModel.setShowWelcomeScreen(true);
        break;
    case 6:
        save(main, QStringLiteral("welcome.png"));
        viewModel.setShowWelcomeScreen(false);
        QMetaObject::invokeMethod(main->findChild<QObject *>(QStringLiteral("accessHelp")), "open");
        break;
    case 7:
        save(main, QStringLiteral("access-help.png"));
        QMetaObject::invokeMethod(main->findChild<QObject *>(QStringLiteral("accessHelp")), "close");
        QMetaObject::invokeMethod(main->findChild<QObject *>(QStringLiteral("aboutDialog")), "open");
        break;
    case 8:
        save(main, QStringLiteral("about.png"));
        QGuiApplication::quit();
        return;
    }
    QTimer::singleShot(settleMs, this, [this, index] { step(index + 1); });
}

bool ScreenshotTour::save(QObject *window, const QString &name) const
{
    auto *quickWindow = qobject_cast<QQuickWindow *>(window);
    const bool saved = quickWindow && quickWindow->grabWindow().save(m_folder.filePath(name));
    std::printf("%s %s\n", saved ? "saved" : "could not save", qPrintable(m_folder.filePath(name)));
    return saved;
}
