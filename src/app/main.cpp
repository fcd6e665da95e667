#include "app/ApplicationShell.h"
#include "state/AppViewModel.h"

#include <QGuiApplication>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    ApplicationShell::configureApplication();

    AppViewModel viewModel;
    ApplicationShell shell(viewModel);
    if (!shell.load())
        return 1;
    shell.show();
    return app.exec();
}
