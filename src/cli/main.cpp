#include "cli/CliCommands.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Stashwell"));
    QCoreApplication::setApplicationName(QStringLiteral("Stashwell"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    return CliCommands(out, err).run(QCoreApplication::arguments().mid(1));
}
