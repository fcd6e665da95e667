#pragma once

#include <QList>
#include <QString>

// What stashwell-cli says about itself: one table of commands (what each does, its
// options and what its exit status 1 means), rendered as the tool's --help, each
// command's --help and --version. Texts are wrapped by hand to fit 80 columns.
class CliHelp
{
public:
    struct Option
    {
        const char *name;  // "--source KIND"
        const char *text;  // may span lines, "\n" between them
    };
    struct Command
    {
        const char *name;
        const char *usage;       // what follows "stashwell-cli NAME"
        const char *summary;     // the command's line in the tool's help
        const char *description; // the paragraph under the command's usage
        QList<Option> options;
        const char *failure;     // what exit status 1 means besides an unwritable output
    };

    static const QList<Command> &commands();
    static const Command *find(const QString &name);
    static bool takesOption(const Command &command, const char *name);

    static QString overview();
    static QString help(const Command &command);
    static QString version();
};
