#include "cli/CliHelp.h"

#include "cli/SourceArgument.h"

namespace {
const char *const sourceOption = "--source KIND";

QString optionLines(const QList<CliHelp::Option> &options)
{
    constexpr int column = 19; // wide enough for the longest option and its value
    QString lines;
    for (const CliHelp::Option &option : options) {
        const QStringList text = QString::fromUtf8(option.text).split(QLatin1Char('\n'));
        lines += QStringLiteral("  %1%2\n").arg(QLatin1String(option.name), -(column - 2)).arg(text.first());
        for (const QString &more : text.mid(1))
            lines += QString(column, QLatin1Char(' ')) + more + QLatin1Char('\n');
    }
    return lines;
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
        {"scan", "[--json] [--paths] [--source KIND]...",
         "list every model with its size, date and duplicate mark",
         "Lists every model in the window's order: orphaned models first (their\n"
         "application is gone), then each application's, then your own folders'.\n"
         "Each line shows the size, the date and any duplicate mark, and the line\n"
         "under it what the model is (architecture, parameters, quantization,\n"
         "context) when its files say; the total and the space you can reclaim follow.",
         {{"--json", "print one JSON object instead of text (see stashwell-cli(1))"},
          {"--paths", "list each model's files under its line"},
          {sourceOption, "only models from this source, the totals counting only\n"
                         "them; may be given again"},
          {"-h, --help", "show this help"}},
         "the output could not be written"},
        {"verify", "[--json] [--paths] [--source KIND]...",
         "scan, then check each group of likely duplicates by content",
         "Scans as scan does, then compares the contents (SHA-256) of every group of\n"
         "likely duplicates, and prints the list as scan does. Groups whose contents\n"
         "differ are named on a line of their own. Digests are cached, so an unchanged\n"
         "file is not read again.",
         {{"--json", "print one JSON object instead of text"},
          {"--paths", "list each model's files under its line"},
          {sourceOption, "only models from this source, and only the groups they\n"
                         "belong to; may be given again"},
          {"-h, --help", "show this help"}},
         "a group could not be verified, or the output could not be written"},
        {"trash", "[OPTION]... MODEL...",
         "move models to the Trash, as the window's \"Move to Trash\" does",
         "Moves the models you name to the Trash in one deletion: for Ollama, the\n"
         "manifests and only the blobs no other manifest needs. Each MODEL is\n"
         "--name NAME [--source KIND] or --path PATH. Without --yes it asks first,\n"
         "naming the models and the space the disk gets back, and refuses when there\n"
         "is no terminal to ask on. Nothing is deleted outright.",
         {{"--name NAME", "the model called NAME, as scan shows it"},
          {sourceOption, "only the NAME from this source (after its --name)"},
          {"--path PATH", "the model whose first file or folder is PATH"},
          {"--all-matching", "move every model a --name matches; without it, a name\n"
                             "that matches several models is refused"},
          {"--dry-run", "list every file that would move, and move nothing"},
          {"--yes", "move without asking"},
          {"--json", "print one JSON object (see stashwell-cli(1))"},
          {"-h, --help", "show this help"}},
         "a model could not be moved, or the output could not be written"},
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

bool CliHelp::takesSource(const Command &command)
{
    return std::any_of(command.options.begin(), command.options.end(),
                       [](const Option &option) { return qstrcmp(option.name, sourceOption) == 0; });
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
    if (takesSource(command))
        text += QLatin1Char('\n') + sourcesSection();
    text += QLatin1Char('\n') + exitSection(command.failure);
    return text;
}

QString CliHelp::version()
{
    return QStringLiteral("stashwell-cli " STASHWELL_VERSION "\n");
}
