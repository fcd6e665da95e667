#include "app/ApplicationShell.h"
#include "app/FirstFrameReporter.h"
#include "app/ScreenshotTour.h"
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
