// The real window with the benchmark's and the README's instruments attached: the
// first-frame timer (STASHWELL_REPORT_FIRST_FRAME) and the screenshot tour
// (STASHWELL_SCREENSHOT_DIR). Built only for those jobs; the shipped program has neither.
#include "FirstFrameReporter.h"
#include "ScreenshotTour.h"
#include "app/ApplicationShell.h"
#include "state/AppViewModel.h"

#include <QElapsedTimer>
#include <QGuiApplication>

int main(int argc, char *argv[])
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QGuiApplication app(argc, argv);
    ApplicationShell::configureApplication();

    AppViewModel viewModel;
    ApplicationShell shell(viewModel);
    if (!shell.load())
        return 1;
    FirstFrameReporter::attachIfAsked(shell.mainWindow(), viewModel, sinceStart);
    ScreenshotTour::attachIfAsked(shell);
    shell.show();
    return app.exec();
}
