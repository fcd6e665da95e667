#pragma once

#include <QStringList>
#include <QTextStream>

#include "cli/SelectionArguments.h"
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
    void print(const QList<DetectedModel> &models, const QStringList &unreadableFolders, const ReportOptions &options,
               const QDateTime &now);
    int trash(const QStringList &arguments);
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
