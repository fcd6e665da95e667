#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

// The environment a systemd service unit gives its process through the Environment=
// lines of its [Service] section, read the way systemd reads them: assignments split at
// blanks, quotes and backslash escapes resolved, several assignments on one line, later
// assignments win, and an empty Environment= drops everything set before it.
// EnvironmentFile= is not followed. Only reads; never asks systemd itself.
class ServiceUnitEnvironment
{
public:
    // The unit file, then every "*.conf" drop-in in dropInDir in name order, each on top
    // of the ones before. Missing or unreadable files add nothing.
    static QHash<QString, QString> read(const QString &unitFile, const QString &dropInDir);

    // Applies one unit file's Environment= lines on top of environment.
    static void apply(const QByteArray &unitText, QHash<QString, QString> &environment);

private:
    // The words of one Environment= value, unquoted and unescaped; a word whose quote is
    // never closed ends the list, as systemd ignores the rest of such a line.
    static QStringList words(const QString &value);
};
