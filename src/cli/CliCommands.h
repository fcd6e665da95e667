#pragma once

#include <QStringList>
#include <QTextStream>

class AppViewModel;
struct ScanReport;
struct DeletionResult;

// stashwell-cli: the scan, verification, the Trash and the custom folder list from a
// terminal. Verification and the Trash go through the same application state as the
// window, so both behave alike; the preferences file is shared too.
class CliCommands
{
public:
    CliCommands(QTextStream &out, QTextStream &err) : m_out(out), m_err(err) {}

    // Exit codes: 0 success, 1 something the user asked for failed, 2 bad usage.
    int run(const QStringList &arguments);

    static QString usage();

private:
    int scan(bool asJson);
    int verify(bool asJson);
    void print(const ScanReport &report, bool asJson);
    int trash(const QStringList &arguments);
    int folders(const QStringList &arguments);
    // Scans through the application state and waits for the result.
    bool scanThrough(AppViewModel &viewModel);
    bool confirm(const QString &question);
    void printFailures(const DeletionResult &result);
    int usageError(const QString &message);

    QTextStream &m_out;
    QTextStream &m_err;
};
