#pragma once

#include "core/StashwellCore.h"

#include "scanning/ModelScanner.h"
#include "support/TempHome.h"

#include <QByteArray>
#include <QStringList>

// Scans a temporary home the two ways a person can: through ModelScanner over the
// home's machine (TempHome::machine), and through the real stashwell-cli started with the
// home as its environment.
class HomeScan
{
public:
    explicit HomeScan(const TempHome &home, const QString &cliProgram = QStringLiteral(STASHWELL_CLI_PATH))
        : m_home(home), m_cliProgram(cliProgram)
    {
    }

    StashwellCore::Machine machine() const { return m_home.machine(); }
    ModelScanner scanner() const;

    struct CliRun
    {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };
    // HOME and the XDG folders inside the home, PATH only the home's "bin". Gives up after a minute.
    CliRun runCli(const QStringList &arguments) const;

    // Equal once sorted, or false after printing both (also from a forked child).
    static bool same(const QStringList &seen, const QStringList &expected);

private:
    const TempHome &m_home;
    QString m_cliProgram;
};
