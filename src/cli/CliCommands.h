#pragma once

#include <QStringList>
#include <QTextStream>

#include "cli/SelectionArguments.h"
#include "cli/DeletionFlags.h"
#include "cli/TrashSelection.h"
#include "core/StashwellCore.h"

struct DeletionResult;

// stashwell-cli: the scan, verification, the Trash and the custom folder list from a
// terminal. Every command is a direct call of the core the window runs too, so both
// behave alike; the preferences file is shared as well.
class CliCommands
{
public:
    CliCommands(QTextStream &out, QTextStream &err, StashwellCore::Machine machine = StashwellCore::Machine::current())
        : m_out(out), m_err(err), m_core(std::move(machine)) {}

    // Exit codes: 0 success, 1 something the user asked for failed (the output could
    // not be written, too), 2 bad usage.
    int run(const QStringList &arguments);

private:
    // What scan and verify print: text or JSON, with files or without, and which entries in which order.
    struct ReportOptions
    {
        bool asJson = false;
        bool withPaths = false;
        SelectionArguments selectors;
        static std::optional<ReportOptions> parse(const QStringList &arguments, QString *error);
    };

    int dispatch(const QStringList &arguments);
    int scan(const ReportOptions &options);
    int verify(const ReportOptions &options);
    // Verifies the groups one after another (a progress line on a terminal) and writes the
    // outcomes into `models`; returns a sentence for each group that did not stay whole.
    QStringList verifyGroups(QList<DetectedModel> &models, const QList<QUuid> &groups);
    void print(const ScanResult &found, const ReportOptions &options, const QDateTime &now);
    int trash(const QStringList &arguments);
    int keepOne(const QStringList &arguments);
    // Bad usage when a command would have to ask and there is no terminal to ask on.
    std::optional<int> refuseWithoutTerminal(const QString &command, const DeletionFlags &flags);
    // Asks (unless flags.assumeYes), moves `chosen` to the Trash or plans it (dryRun), and
    // reports as text or JSON; `everyModel` is the scan they come from, `filters` the
    // selectors that picked them, for the JSON.
    int moveToTrash(const QList<DetectedModel> &chosen, const QList<DetectedModel> &everyModel,
                    const DeletionFlags &flags, const QJsonObject &filters = {});
    int folders(const QStringList &arguments);
    bool confirm(const QString &question);
    int ambiguousNames(const QList<TrashSelection::Ambiguity> &ambiguous);
    void printFailures(const DeletionResult &result);
    // Bad usage the command's help explains: the message and where to read more.
    int syntaxError(const QString &command, const QString &message);
    // Bad usage the message alone explains.
    int usageError(const QString &message);

    QTextStream &m_out;
    QTextStream &m_err;
    StashwellCore m_core;
};
