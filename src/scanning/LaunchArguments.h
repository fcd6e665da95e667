#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// The command-line arguments an installation is started with, read from the files its
// launch script takes them from, never by running anything. Quoting follows the POSIX
// shell for the simple cases (single and double quotes, backslashes, $NAME and ${NAME}
// from the environment); anything that would need the shell itself (an open quote, a
// command substitution) gives nothing rather than a guess.
//
// Qt's QProcess::splitCommand is not used: it knows double quotes only, while these
// files quote folder names with single quotes inside double quotes
// (COMMANDLINE_ARGS="--ckpt-dir '/data/my models'").
namespace LaunchArguments {

// The words of an argument list as Python's shlex.split reads it (the web UIs call it):
// blanks separate words, quotes and backslashes are removed, nothing is expanded.
std::optional<QStringList> splitWords(QStringView text);

// The arguments a shell script assigns to `variable` (optionally after "export"): its
// value as the shell would give it, then split into words. The last assignment counts;
// nothing when there is none or it cannot be read without running the shell.
std::optional<QStringList> assignedInScript(QStringView script, const QString &variable);

// The arguments of a flags file: every line not starting with "#", a trailing backslash
// dropped, joined by blanks and split into words.
std::optional<QStringList> inFlagsFile(QStringView content);

// The value given to `option`, as "--option value" or "--option=value"; the last one
// counts, as the argument parser of the applications has it.
std::optional<QString> optionValue(const QStringList &arguments, const QString &option);

} // namespace LaunchArguments
