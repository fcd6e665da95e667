#pragma once

#include <QStringList>
#include <QTextStream>

// stashwell-cli: the scan, the custom folder list and (later) verification and the
// Trash, from a terminal, over the same core and preferences as the window.
class CliCommands
{
public:
    CliCommands(QTextStream &out, QTextStream &err) : m_out(out), m_err(err) {}

    // Exit codes: 0 success, 1 something the user asked for failed, 2 bad usage.
    int run(const QStringList &arguments);

    static QString usage();

private:
    int scan(const QStringList &options);
    int folders(const QStringList &arguments);
    int usageError(const QString &message);

    QTextStream &m_out;
    QTextStream &m_err;
};
