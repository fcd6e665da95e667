#include "cli/CliCommands.h"

#include "cli/CliHelp.h"
#include "cli/KeepSelection.h"
#include "cli/ScanReport.h"
#include "cli/SourceArgument.h"
#include "cli/TrashSelection.h"
#include "cli/VerifyProgressLine.h"
#include "catalogue/ByteCountFormatter.h"
#include "core/DuplicateCopies.h"
#include "core/ModelSummary.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <cstdio>
#include <unistd.h>

namespace {
constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

bool isHelpOption(const QString &argument)
{
    return argument == QLatin1String("--help") || argument == QLatin1String("-h");
}
} // namespace

// Arguments are read by hand rather than with QCommandLineParser: trash pairs each
// --source with the --name before it, an order QCommandLineParser does not keep, and
// its help and errors would end the process before the output is checked.
int CliCommands::run(const QStringList &arguments)
{
    const int status = dispatch(arguments);
    // Every command's output ends here, so a full disk or a closed file is caught once.
    m_out.flush();
    if (m_out.status() != QTextStream::Ok) {
        m_err << "stashwell-cli: cannot write the output: " << m_out.device()->errorString() << "\n";
        m_err.flush();
        return exitFailure;
    }
    return status;
}

int CliCommands::dispatch(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return syntaxError({}, QStringLiteral("missing command"));
    const QString &first = arguments.first();
    if (isHelpOption(first) || (first == QLatin1String("help") && arguments.size() == 1)) {
        m_out << CliHelp::overview();
        return exitSuccess;
    }
    if (first == QLatin1String("--version")) {
        m_out << CliHelp::version();
        return exitSuccess;
    }
    if (first == QLatin1String("help")) {
        const CliHelp::Command *topic = CliHelp::find(arguments[1]);
        if (!topic || arguments.size() > 2)
            return syntaxError({}, QStringLiteral("help: no command '%1'").arg(ScanReport::printable(arguments.mid(1).join(QLatin1Char(' ')))));
        m_out << CliHelp::help(*topic);
        return exitSuccess;
    }
    const CliHelp::Command *command = CliHelp::find(first);
    if (!command)
        return syntaxError({}, QStringLiteral("unknown %1 '%2'")
                                   .arg(first.startsWith(QLatin1Char('-')) ? QStringLiteral("option") : QStringLiteral("command"),
                                        ScanReport::printable(first)));
    const QStringList rest = arguments.mid(1);
    if (std::any_of(rest.begin(), rest.end(), isHelpOption)) {
        m_out << CliHelp::help(*command);
        return exitSuccess;
    }
    if (first == QLatin1String("trash"))
        return trash(rest);
    if (first == QLatin1String("keep-one"))
        return keepOne(rest);
    if (first == QLatin1String("folders"))
        return folders(rest);
    QString error;
    const std::optional<ReportOptions> options = ReportOptions::parse(rest, &error);
    if (!options)
        return syntaxError(first, error);
    return first == QLatin1String("scan") ? scan(*options) : verify(*options);
}

std::optional<CliCommands::ReportOptions> CliCommands::ReportOptions::parse(const QStringList &arguments, QString *error)
{
    ReportOptions options;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &option = arguments[i];
        if (option == QLatin1String("--json")) {
            options.asJson = true;
        } else if (option == QLatin1String("--paths")) {
            options.withPaths = true;
        } else {
            const SelectionArguments::Read read = options.selectors.read(arguments, &i, error);
            if (read == SelectionArguments::Read::failed)
                return std::nullopt;
            if (read == SelectionArguments::Read::notSelector) {
                *error = QStringLiteral("unknown option '%1'").arg(ScanReport::printable(option));
                return std::nullopt;
            }
        }
    }
    return options;
}

int CliCommands::syntaxError(const QString &command, const QString &message)
{
    const QString prefix = command.isEmpty() ? QString() : command + QStringLiteral(": ");
    const QString helpCommand = command.isEmpty() ? QString() : command + QLatin1Char(' ');
    m_err << "stashwell-cli: " << prefix << message << "\n"
          << "Try 'stashwell-cli " << helpCommand << "--help' for more information.\n";
    m_err.flush();
    return exitUsage;
}

int CliCommands::usageError(const QString &message)
{
    m_err << "stashwell-cli: " << message << "\n";
    m_err.flush();
    return exitUsage;
}

void CliCommands::print(const ScanResult &found, const ReportOptions &options, const QDateTime &now)
{
    const ModelSelection &selection = options.selectors.selection();
    ScanReport report;
    report.unreadableFolders = found.unreadableFolders;
    report.withPaths = options.withPaths;
    report.order = selection.order;
    report.reversed = selection.reversed;
    report.filters = options.selectors.json();
    report.everyModel = found.models;
    report.notComparedByContent = found.notComparedByContent;
    if (selection.isNarrowed())
        report.foundCount = found.models.size();
    for (const qsizetype row : selection.select(found.models, now))
        report.models.append(found.models[row]);
    if (options.asJson)
        m_out << QJsonDocument(report.json()).toJson(QJsonDocument::Indented);
    else
        m_out << report.text();
}

int CliCommands::scan(const ReportOptions &options)
{
    print(m_core.scan(), options, QDateTime::currentDateTimeUtc());
    return exitSuccess;
}

int CliCommands::folders(const QStringList &arguments)
{
    const QString action = arguments.value(0);
    if (action == QLatin1String("list") && arguments.size() == 1) {
        const QStringList folders = m_core.customFolders().folders();
        // The note goes to stderr, so a script reading the list gets no line for it.
        if (folders.isEmpty())
            m_err << "No custom folders. Add one with: stashwell-cli folders add PATH\n";
        for (const QString &folder : folders)
            m_out << ScanReport::printable(folder) << "\n";
        return exitSuccess;
    }
    const bool adding = action == QLatin1String("add");
    if ((adding || action == QLatin1String("remove")) && arguments.size() == 2) {
        const CustomFolderList::Change change =
            adding ? m_core.addCustomFolder(arguments[1]) : m_core.customFolders().remove(arguments[1]);
        if (!change.accepted)
            return usageError(QStringLiteral("folders %1: %2").arg(action, ScanReport::printable(change.error)));
        if (!change.warning.isEmpty())
            m_err << "stashwell-cli: warning: " << ScanReport::printable(change.warning) << "\n";
        m_out << (change.alreadyListed ? "Already in the list: " : adding ? "Added " : "Removed ")
              << ScanReport::printable(change.folder)
              << (adding ? "\n" : " (nothing on disk was touched)\n");
        return exitSuccess;
    }
    return syntaxError(QStringLiteral("folders"), QStringLiteral("expected 'list', 'add PATH' or 'remove PATH'"));
}

int CliCommands::verify(const ReportOptions &options)
{
    ScanResult found = m_core.scan();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // The groups of every model the filters select, whatever the limit; a group is still
    // compared with all its members. The filters are applied again to what verification
    // leaves, so a group it dissolves is no longer among the duplicates.
    QList<QUuid> groups;
    for (const DetectedModel &model : std::as_const(found.models)) {
        if (options.selectors.selection().matches(model, now) && model.duplicateGroup
            && !groups.contains(*model.duplicateGroup))
            groups.append(*model.duplicateGroup);
    }
    const QStringList notes = verifyGroups(found.models, groups);
    print(found, options, now);
    // Groups that dissolved or split, said in words; JSON readers see them in the groups.
    QTextStream &noteStream = options.asJson ? m_err : m_out;
    for (const QString &note : notes)
        noteStream << ScanReport::printable(note) << "\n";
    // A group that could not be verified is something the user asked for that failed.
    const bool anyUnverifiable = std::any_of(found.models.begin(), found.models.end(), [](const DetectedModel &m) {
        return m.duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::unableToVerify;
    });
    return anyUnverifiable ? exitFailure : exitSuccess;
}

QStringList CliCommands::verifyGroups(QList<DetectedModel> &models, const QList<QUuid> &groups)
{
    // Progress only where a person watches: stderr is a terminal.
    std::optional<VerifyProgressLine> progress;
    if (::isatty(STDERR_FILENO))
        progress.emplace(m_err);
    QStringList notes;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        const QUuid &group = groups[i];
        if (progress)
            progress->startGroup(int(i), int(groups.size()));
        const VerificationOutcome outcome = m_core.verifyGroupInBytes(group, models, [&](VerificationProgress done) {
            if (progress)
                progress->update(done);
        });
        const QString members = StashwellCore::describeGroup(models, group);
        const QList<QUuid> newGroups = StashwellCore::applyVerification(models, group, outcome);
        if (outcome.kind == VerificationOutcomeKind::different)
            notes.append(QStringLiteral("Not duplicates (their contents differ): %1").arg(members));
        if (outcome.kind == VerificationOutcomeKind::split) {
            QStringList sets;
            for (const QUuid &newGroup : newGroups)
                sets.append(StashwellCore::describeGroup(models, newGroup));
            notes.append(QStringLiteral("Only some are identical: %1. Split from: %2").arg(sets.join(QStringLiteral("; ")), members));
        }
    }
    if (progress)
        progress->clear();
    return notes;
}

void CliCommands::printFailures(const DeletionResult &result)
{
    // One line per model, as the window's alert lists them; a name cannot add lines.
    for (const DeleteFailure &failure : result.failures)
        m_out << ScanReport::printable(failure.modelName + QStringLiteral(" - ") + failure.reason) << "\n";
}

int CliCommands::ambiguousNames(const QList<TrashSelection::Ambiguity> &ambiguous)
{
    for (const TrashSelection::Ambiguity &name : ambiguous) {
        m_err << "stashwell-cli: trash: " << ScanReport::printable(name.selector) << " matches " << name.matches.size()
              << " models:\n";
        for (const DetectedModel &model : name.matches)
            m_err << "  " << model.sourceTool.key() << "  " << ScanReport::printable(model.filePaths.value(0)) << "\n";
    }
    m_err << "Pick one with --source KIND or --path PATH, or add --all-matching to move them all.\n";
    m_err.flush();
    return exitUsage;
}

bool CliCommands::confirm(const QString &question)
{
    m_out << question << " [y/N] ";
    m_out.flush();
    char answer[16] = {};
    if (!std::fgets(answer, sizeof answer, stdin))
        return false;
    return answer[0] == 'y' || answer[0] == 'Y';
}

int CliCommands::trash(const QStringList &arguments)
{
    QString error;
    const std::optional<TrashSelection> selection = TrashSelection::parse(arguments, &error);
    if (!selection)
        return syntaxError(QStringLiteral("trash"), ScanReport::printable(error));
    if (const std::optional<int> refused =
            refuseWithoutTerminal(QStringLiteral("trash"), {selection->dryRun, selection->assumeYes, selection->asJson}))
        return *refused;

    const QList<DetectedModel> models = m_core.scan().models;
    QStringList unmatched;
    QList<TrashSelection::Ambiguity> ambiguous;
    const QList<DetectedModel> chosen = selection->match(models, QDateTime::currentDateTimeUtc(), &unmatched, &ambiguous);
    if (!unmatched.isEmpty())
        return usageError(QStringLiteral("trash: no model matches %1").arg(ScanReport::printable(unmatched.join(QStringLiteral(", ")))));
    if (chosen.isEmpty())
        return usageError(QStringLiteral("trash: no model matches %1; nothing was moved")
                              .arg(ScanReport::printable(selection->selectors.typed())));
    if (!ambiguous.isEmpty())
        return ambiguousNames(ambiguous);

    return moveToTrash(chosen, models, {selection->dryRun, selection->assumeYes, selection->asJson},
                       selection->selectors.json());
}

std::optional<int> CliCommands::refuseWithoutTerminal(const QString &command, const DeletionFlags &flags)
{
    if (flags.dryRun || flags.assumeYes || ::isatty(STDIN_FILENO))
        return std::nullopt;
    return usageError(QStringLiteral("%1: no terminal to ask for confirmation; add --yes to move without asking").arg(command));
}

int CliCommands::keepOne(const QStringList &arguments)
{
    QString error;
    const std::optional<KeepSelection> selection = KeepSelection::parse(arguments, &error);
    if (!selection)
        return syntaxError(QStringLiteral("keep-one"), ScanReport::printable(error));
    if (const std::optional<int> refused = refuseWithoutTerminal(QStringLiteral("keep-one"), *selection))
        return *refused;

    ScanResult found = m_core.scan();
    QStringList notKept;
    const QList<DetectedModel> kept = selection->kept(found.models, &notKept);
    if (kept.isEmpty() && selection->byPath())
        return usageError(QStringLiteral("keep-one: %1").arg(ScanReport::printable(notKept.join(QStringLiteral("; ")))));

    // Only a verified group's copies move: each kept model's group is checked first.
    QList<QUuid> groups;
    for (const DetectedModel &model : kept)
        groups.append(*model.duplicateGroup);
    const QStringList notes = verifyGroups(found.models, groups);
    const DuplicateCopies copies(found.models);
    QHash<QUuid, qsizetype> position;
    for (qsizetype i = 0; i < found.models.size(); ++i)
        position.insert(found.models.at(i).id, i);
    QSet<QUuid> chosenIds;
    for (const DetectedModel &keptModel : kept) {
        const auto now = found.models.cbegin() + position.value(keptModel.id);
        const QList<DetectedModel> others = copies.copiesBesides(*now);
        for (const DetectedModel &other : others)
            chosenIds.insert(other.id);
        if (others.isEmpty()) {
            const bool unable = now->duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::unableToVerify;
            notKept.append(unable ? QStringLiteral("%1 [%2]: not verified, nothing of its group moves: %3")
                                        .arg(now->displayName, now->sourceTool.description(), now->duplicateVerificationStatus.reason())
                                  : QStringLiteral("%1 [%2]: no identical copy, nothing moves").arg(now->displayName, now->sourceTool.description()));
        }
    }
    for (const QString &line : notes + notKept)
        m_err << "stashwell-cli: keep-one: " << ScanReport::printable(line) << "\n";
    QList<DetectedModel> chosen;
    std::copy_if(found.models.begin(), found.models.end(), std::back_inserter(chosen),
                 [&](const DetectedModel &model) { return chosenIds.contains(model.id); });
    if (chosen.isEmpty()) {
        m_out << "Nothing to move.\n";
        return notKept.isEmpty() ? exitSuccess : exitFailure;
    }
    const int status = moveToTrash(chosen, found.models, *selection);
    return notKept.isEmpty() ? status : exitFailure;
}

int CliCommands::moveToTrash(const QList<DetectedModel> &chosen, const QList<DetectedModel> &everyModel,
                             const DeletionFlags &flags, const QJsonObject &filters)
{
    const bool dryRun = flags.dryRun;
    DeletionResult result;
    if (dryRun) {
        result = m_core.planDeletion(chosen);
    } else {
        QStringList names;
        for (const DetectedModel &model : std::as_const(chosen))
            names << model.displayName + QStringLiteral(" [") + model.sourceTool.description() + QLatin1Char(']');
        QString question = QStringLiteral("Move %1 model%2 (%3) to the Trash: %4? The disk gets back %5.")
                               .arg(chosen.size())
                               .arg(chosen.size() == 1 ? QString() : QStringLiteral("s"))
                               .arg(ByteCountFormatter::format(ModelSummary::totalSize(chosen)),
                                    names.join(QStringLiteral(", ")),
                                    ByteCountFormatter::format(m_core.spaceFreedBy(chosen)));
        // Where the copies that stay are, or that none stays.
        for (const DuplicateCopies::Note &note : DuplicateCopies(everyModel).selectionNotes(chosen))
            question += QLatin1Char(' ') + note.text;
        if (!flags.assumeYes && !confirm(ScanReport::printable(question))) {
            m_out << "Nothing was moved.\n";
            return exitSuccess;
        }
        result = m_core.deleteModels(chosen);
    }

    if (flags.asJson) {
        QJsonArray failures;
        for (const DeleteFailure &failure : result.failures)
            failures.append(QJsonObject{{QStringLiteral("modelName"), failure.modelName}, {QStringLiteral("reason"), failure.reason}});
        const DuplicateCopies copies(everyModel);
        QJsonArray models;
        for (const DetectedModel &model : chosen)
            models.append(ScanReport::modelJson(model, copies));
        // A dry run names what would move, so no script mistakes a plan for a deletion.
        const QJsonObject object{{QStringLiteral("dryRun"), dryRun},
                                 {QStringLiteral("models"), models},
                                 {QStringLiteral("requested"), result.requested},
                                 {dryRun ? QStringLiteral("wouldMove") : QStringLiteral("moved"), result.moved},
                                 {QStringLiteral("failures"), failures},
                                 {dryRun ? QStringLiteral("wouldTrashPaths") : QStringLiteral("trashedPaths"),
                                  QJsonArray::fromStringList(result.trashedPaths)},
                                 {QStringLiteral("message"), result.needsAlert() && !dryRun ? result.messageText() : QJsonValue()},
                                 {QStringLiteral("filters"), filters}};
        m_out << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else if (dryRun) {
        m_out << "Would move to the Trash:\n";
        for (const QString &path : result.trashedPaths)
            m_out << "  " << ScanReport::printable(path) << "\n";
        if (result.needsAlert()) {
            m_out << "Could not be moved:\n";
            printFailures(result);
        }
    } else if (result.needsAlert()) {
        m_out << result.messageText() << "\n";
        printFailures(result);
    } else {
        m_out << result.successText() << "\n";
    }
    return result.needsAlert() ? exitFailure : exitSuccess;
}
