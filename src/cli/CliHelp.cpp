#include "cli/CliHelp.h"

#include "cli/SourceArgument.h"

namespace {
const char *const sourceOption = "--source KIND";
const char *const sortOption = "--sort KEY";

// The options that pick and order entries, the same for scan, verify and trash.
const QList<CliHelp::Option> selectorOptions{
    {sortOption, "order by size (largest first), name, date (newest\n"
                 "first), source or parameters (most first), as one list,\n"
                 "instead of the window's sections"},
    {"--reverse", "the order backwards"},
    {"--limit N", "only the first N entries, after ordering"},
    {"--only TYPE", "only orphans, leftovers, duplicates or models (every entry\n"
                    "that is not a leftover); may be given again"},
    {"--larger-than SIZE", "only entries larger than SIZE"},
    {"--smaller-than SIZE", "only entries smaller than SIZE"},
    {"--older-than AGE", "only entries last modified more than AGE ago"},
    {"--newer-than AGE", "only entries last modified less than AGE ago"},
};

QString optionLines(const QList<CliHelp::Option> &options)
{
    constexpr int column = 19; // wide enough for most options and their value
    QString lines;
    for (const CliHelp::Option &option : options) {
        QStringList text = QString::fromUtf8(option.text).split(QLatin1Char('\n'));
        // A longer option has its text on the lines below it.
        if (qstrlen(option.name) > column - 4) {
            lines += QStringLiteral("  %1\n").arg(QLatin1String(option.name));
        } else {
            lines += QStringLiteral("  %1%2\n").arg(QLatin1String(option.name), -(column - 2)).arg(text.takeFirst());
        }
        for (const QString &more : std::as_const(text))
            lines += QString(column, QLatin1Char(' ')) + more + QLatin1Char('\n');
    }
    return lines;
}

QString selectorsSection()
{
    return QStringLiteral(
        "Every filter given must hold; --only and --source match any of theirs. Ties\n"
        "keep the window's order. The totals count only the entries shown.\n"
        "SIZE is bytes, or a number and a unit in any case: KB, MB, GB, TB (or K, M, G,\n"
        "T) are powers of 1000, as the report shows sizes; KiB, MiB, GiB, TiB powers of\n"
        "1024. For example 4096, 500MB, 2GB, 1.5GiB.\n"
        "AGE is a number and s, m (minutes), h, d or w, in lower case, counted back\n"
        "from now to the entry's date. For example 45s, 12h, 90d, 2w. An entry whose\n"
        "date cannot be read is neither older nor newer than any AGE.\n");
}

QString sourcesSection()
{
    return QStringLiteral("Sources for --source (the kind, or the name the report shows, in any case):\n")
        + SourceArgument::table();
}

QString exitSection(const char *failure)
{
    return QStringLiteral("Exit status:\n"
                          "  0  success\n"
                          "  1  %1\n"
                          "  2  bad usage (a message on standard error says what)\n")
        .arg(QLatin1String(failure));
}
} // namespace

const QList<CliHelp::Command> &CliHelp::commands()
{
    static const QList<Command> table{
        {"scan", "[--json] [--paths] [--source KIND]... [FILTER]...",
         "list every model with its size, date and duplicate mark",
         "Lists every model in the window's order: orphaned models first (their\n"
         "application is gone), then leftovers, then each application's, then your\n"
         "own folders'. Each line shows the size, the date and any duplicate mark, and\n"
         "the line under it what the model is (architecture, parameters, quantization,\n"
         "context) when its files say; the total and the space you can reclaim follow.\n"
         "The options below narrow and order the list, for example:\n"
         "scan --sort size --limit 10.",
         QList<Option>{{"--json", "print one JSON object instead of text (see stashwell-cli(1))"},
                       {"--paths", "list each model's files under its line"},
                       {sourceOption, "only models from this source; may be given again"}}
             + selectorOptions + QList<Option>{{"-h, --help", "show this help"}},
         "the output could not be written"},
        {"verify", "[--json] [--paths] [--source KIND]... [FILTER]...",
         "scan, then check each group of likely duplicates by content",
         "Scans as scan does, then compares the contents (SHA-256) of every group of\n"
         "likely duplicates, and prints the list as scan does. Groups whose contents\n"
         "differ are named on a line of their own. Digests are cached, so an unchanged\n"
         "file is not read again. Only the groups of the entries the filters pick are\n"
         "checked (whatever --limit says); the filters then apply to the result, so a\n"
         "group whose contents differ is no longer among --only duplicates.",
         QList<Option>{{"--json", "print one JSON object instead of text"},
                       {"--paths", "list each model's files under its line"},
                       {sourceOption, "only models from this source, and only the groups they\n"
                                      "belong to; may be given again"}}
             + selectorOptions + QList<Option>{{"-h, --help", "show this help"}},
         "a group could not be verified, or the output could not be written"},
        {"trash", "[OPTION]... MODEL... | [OPTION]... FILTER...",
         "move models to the Trash, as the window's \"Move to Trash\" does",
         "Moves the models you name or pick to the Trash in one deletion: for Ollama,\n"
         "the manifests and only the blobs no other manifest needs. Each MODEL is\n"
         "--name NAME [--source KIND] or --path PATH; the filters scan takes pick\n"
         "models too, and narrow any names (trash --only leftovers --older-than 7d).\n"
         "A selection that matches nothing moves nothing and exits with status 2.\n"
         "Without --yes it asks first, naming the models and the space the disk gets\n"
         "back, and refuses when there is no terminal to ask on. Nothing is deleted\n"
         "outright.",
         QList<Option>{{"--name NAME", "the model called NAME, as scan shows it"},
                       {sourceOption, "right after a --name: only that NAME from this source;\n"
                                      "elsewhere: only models from this source"},
                       {"--path PATH", "the model whose first file or folder is PATH"},
                       {"--all-matching", "move every model a --name matches; without it, a name\n"
                                          "that matches several of the models picked is refused"}}
             + selectorOptions
             + QList<Option>{{"--dry-run", "list every file that would move, and move nothing"},
                             {"--yes", "move without asking"},
                             {"--json", "print one JSON object (see stashwell-cli(1))"},
                             {"-h, --help", "show this help"}},
         "a model could not be moved, or the output could not be written"},
        {"keep-one", "[OPTION]... (--path PATH | --source KIND)",
         "keep one copy of duplicates, move the identical others to the Trash",
         "Keeps the copy you name and moves the other copies of its group of\n"
         "duplicates to the Trash, as \"Move to Trash\" does. Each group is checked by\n"
         "content (SHA-256) first, and only the copies verified identical to the kept\n"
         "one move. --path keeps the model at PATH; --source keeps, in every group\n"
         "with exactly one copy there, the copy in that source. Without --yes it asks\n"
         "first, naming what moves and where the kept copy stays.",
         {{"--path PATH", "keep the model whose first file or folder is PATH"},
          {sourceOption, "keep the copy in this source, in every group that has\n"
                         "exactly one there"},
          {"--dry-run", "list every file that would move, and move nothing"},
          {"--yes", "move without asking"},
          {"--json", "print one JSON object, as trash does"},
          {"-h, --help", "show this help"}},
         "a group could not be verified or held no identical copy, a model could not\n"
         "     be moved, or the output could not be written"},
        {"folders", "list | add PATH | remove PATH",
         "list, add or remove the folders you want scanned too",
         "Your own folders, scanned besides the applications' folders and shared with\n"
         "the window's preferences; every .gguf, .bin and .safetensors file in them\n"
         "counts, at any depth.\n"
         "\n"
         "  list          print the folders, one a line\n"
         "  add PATH      add a folder (relative, or with a trailing /, is fine)\n"
         "  remove PATH   take a folder off the list; nothing on disk is touched",
         {{"-h, --help", "show this help"}},
         "the output could not be written"},
    };
    return table;
}

const CliHelp::Command *CliHelp::find(const QString &name)
{
    for (const Command &command : commands()) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

bool CliHelp::takesOption(const Command &command, const char *name)
{
    return std::any_of(command.options.begin(), command.options.end(),
                       [&](const Option &option) { return qstrcmp(option.name, name) == 0; });
}

QString CliHelp::overview()
{
    QString text = QStringLiteral(
        "Usage: stashwell-cli COMMAND [OPTION]...\n"
        "Finds the AI model files that local model applications keep, shows the space\n"
        "they take, marks duplicates and models whose application is gone, and moves\n"
        "the models you name to the Trash. It never deletes a file outright.\n"
        "\n"
        "Commands:\n");
    for (const Command &command : commands())
        text += QStringLiteral("  %1%2\n").arg(QLatin1String(command.name), -10).arg(QLatin1String(command.summary));
    text += QStringLiteral("  %1%2\n").arg(QStringLiteral("help"), -10).arg(QStringLiteral("show this help, or a command's (help COMMAND)"));
    text += QStringLiteral("\nOptions:\n")
        + optionLines({{"-h, --help", "show this help, or a command's after the command"},
                       {"--version", "show the version"}});
    text += QLatin1Char('\n') + sourcesSection();
    text += QLatin1Char('\n')
        + exitSection("something you asked for failed: a group could not be verified,\n"
                      "     a model could not be moved, or the output could not be written");
    text += QStringLiteral("\nRun 'stashwell-cli COMMAND --help' for a command's options, and\n"
                           "'man stashwell-cli' for the JSON output and the files it uses.\n");
    return text;
}

QString CliHelp::help(const Command &command)
{
    QString text = QStringLiteral("Usage: stashwell-cli %1 %2\n%3\n\nOptions:\n")
                       .arg(QLatin1String(command.name), QLatin1String(command.usage), QLatin1String(command.description));
    text += optionLines(command.options);
    if (takesOption(command, sortOption))
        text += QLatin1Char('\n') + selectorsSection();
    if (takesOption(command, sourceOption))
        text += QLatin1Char('\n') + sourcesSection();
    text += QLatin1Char('\n') + exitSection(command.failure);
    return text;
}

QString CliHelp::version()
{
    return QStringLiteral("stashwell-cli " STASHWELL_VERSION "\n");
}
