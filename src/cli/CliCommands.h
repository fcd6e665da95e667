#pragma once

#include <QStringList>
#include <QTextStream>

#include "cli/TrashSelection.h"
#include "core/StashwellCore.h"

struct ScanReport;
struct DeletionResult;

// stashwell-cli: the scan, verification, the Trash and the custom folder list from a
// terminal. Every command is a direct call of the core the window runs too, so both
// behave alike; the preferences file is shared as well.
class CliCommands
{
public:
    CliCommands(QTextStream &out, QTextStream &err, StashwellCore::Machine machine = StashwellCore::Machine::current())
        : m_out(out), m_err(err), m_core(std::move(machine)) {}

    // Exit codes: 0 success, 1 something the user asked for failed, 2 bad usage.
    int run(const QStringList &arguments);

    static QString usage();

private:
    int scan(bool asJson);
    int verify(bool asJson);
    void print(const ScanReport &report, bool asJson);
    int trash(const QStringList &arguments);
    int folders(const QStringList &arguments);
    bool confirm(const QString &question);
    int ambiguousNames(const QList<TrashSelection::Ambiguity> &ambiguous);
    void printFailures(const DeletionResult &result);
    int usageError(const QString &message);

    QTextStream &m_out;
    QTextStream &m_err;
    StashwellCore m_core;
};
