#include "cli/CliCommands.h"

#include "cli/ScanReport.h"
#include "cli/TrashSelection.h"
#include "cli/VerifyProgressLine.h"
#include "catalogue/ByteCountFormatter.h"
#include "core/ModelSummary.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <unistd.h>

namespace {
constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;
} // namespace

QString CliCommands::usage()
{
    return QStringLiteral("usage: stashwell-cli scan [--json]\n"
                          "       stashwell-cli verify [--json]\n"
                          "       stashwell-cli trash [--dry-run] [--yes] [--json] [--all-matching] (--name NAME [--source KIND] | --path PATH)...\n"
                          "       stashwell-cli folders list | add PATH | remove PATH\n");
}

int CliCommands::usageError(const QString &message)
{
    m_err << "stashwell-cli: " << message << "\n";
    m_err.flush();
    return exitUsage;
}

int CliCommands::run(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return usageError(QStringLiteral("missing command (scan, verify, trash, folders); try --help"));
    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") || command == QLatin1String("help")) {
        m_out << usage();
        return exitSuccess;
    }
    if (command == QLatin1String("scan") || command == QLatin1String("verify")) {
        bool asJson = false;
        for (const QString &option : rest) {
            if (option != QLatin1String("--json"))
                return usageError(QStringLiteral("%1: unknown option '%2'").arg(command, option));
            asJson = true;
        }
        return command == QLatin1String("scan") ? scan(asJson) : verify(asJson);
    }
    if (command == QLatin1String("trash"))
        return trash(rest);
    if (command == QLatin1String("folders"))
        return folders(rest);
    return usageError(QStringLiteral("unknown command '%1'; try --help").arg(command));
}

void CliCommands::print(const ScanReport &report, bool asJson)
{
    if (asJson)
        m_out << QJsonDocument(report.json()).toJson(QJsonDocument::Indented);
    else
        m_out << report.text();
}

int CliCommands::scan(bool asJson)
{
    const ScanResult found = m_core.scan();
    print({found.models, found.unreadableFolders}, asJson);
    return exitSuccess;
}

int CliCommands::folders(const QStringList &arguments)
{
    const QString action = arguments.value(0);
    if (action == QLatin1String("list") && arguments.size() == 1) {
        for (const QString &folder : m_core.customFolders().folders())
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
    return usageError(QStringLiteral("folders: expected 'list', 'add PATH' or 'remove PATH'"));
}

int CliCommands::verify(bool asJson)
{
    ScanResult found = m_core.scan();
    QList<QUuid> groups;
    for (const DetectedModel &model : std::as_const(found.models)) {
        if (model.duplicateGroup && !groups.contains(*model.duplicateGroup))
            groups.append(*model.duplicateGroup);
    }
    // Progress only where a person watches: stderr is a terminal.
    std::optional<VerifyProgressLine> progress;
    if (::isatty(STDERR_FILENO))
        progress.emplace(m_err);
    QStringList notDuplicates;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        const QUuid &group = groups[i];
        if (progress)
            progress->startGroup(int(i), int(groups.size()));
        const VerificationOutcome outcome = m_core.verifyGroupInBytes(group, found.models, [&](VerificationProgress done) {
            if (progress)
                progress->update(done);
        });
        if (outcome.kind == VerificationOutcomeKind::different)
            notDuplicates.append(StashwellCore::describeGroup(found.models, group));
        StashwellCore::applyVerification(found.models, group, outcome);
    }
    if (progress)
        progress->clear();
    print({found.models, found.unreadableFolders}, asJson);
    // Groups that dissolved, said in words; JSON readers see them as models in no group.
    QTextStream &notes = asJson ? m_err : m_out;
    for (const QString &names : std::as_const(notDuplicates))
        notes << "Not duplicates (their contents differ): " << ScanReport::printable(names) << "\n";
    // A group that could not be verified is something the user asked for that failed.
    const bool anyUnverifiable = std::any_of(found.models.begin(), found.models.end(), [](const DetectedModel &m) {
        return m.duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::unableToVerify;
    });
    return anyUnverifiable ? exitFailure : exitSuccess;
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
        return usageError(error);
    if (!selection->dryRun && !selection->assumeYes && !::isatty(STDIN_FILENO))
        return usageError(QStringLiteral("trash: no terminal to ask for confirmation; add --yes to move without asking"));

    const QList<DetectedModel> models = m_core.scan().models;
    QStringList unmatched;
    QList<TrashSelection::Ambiguity> ambiguous;
    const QList<QUuid> ids = selection->match(models, &unmatched, &ambiguous);
    if (!unmatched.isEmpty())
        return usageError(QStringLiteral("trash: no model matches %1").arg(unmatched.join(QStringLiteral(", "))));
    if (!ambiguous.isEmpty())
        return ambiguousNames(ambiguous);
    QList<DetectedModel> chosen;
    std::copy_if(models.begin(), models.end(), std::back_inserter(chosen),
                 [&](const DetectedModel &model) { return ids.contains(model.id); });

    DeletionResult result;
    if (selection->dryRun) {
        result = m_core.planDeletion(chosen);
    } else {
        QStringList names;
        for (const DetectedModel &model : std::as_const(chosen))
            names << model.displayName + QStringLiteral(" [") + model.sourceTool.description() + QLatin1Char(']');
        const QString question = QStringLiteral("Move %1 model%2 (%3) to the Trash: %4? The disk gets back %5.")
                                     .arg(chosen.size())
                                     .arg(chosen.size() == 1 ? QString() : QStringLiteral("s"))
                                     .arg(ByteCountFormatter::format(ModelSummary::totalSize(chosen)),
                                          ScanReport::printable(names.join(QStringLiteral(", "))),
                                          ByteCountFormatter::format(m_core.spaceFreedBy(chosen)));
        if (!selection->assumeYes && !confirm(question)) {
            m_out << "Nothing was moved.\n";
            return exitSuccess;
        }
        result = m_core.deleteModels(chosen);
    }

    if (selection->asJson) {
        QJsonArray failures;
        for (const DeleteFailure &failure : result.failures)
            failures.append(QJsonObject{{QStringLiteral("modelName"), failure.modelName}, {QStringLiteral("reason"), failure.reason}});
        QJsonArray models;
        for (const DetectedModel &model : chosen)
            models.append(ScanReport::modelJson(model));
        // A dry run names what would move, so no script mistakes a plan for a deletion.
        const bool dryRun = selection->dryRun;
        const QJsonObject object{{QStringLiteral("dryRun"), dryRun},
                                 {QStringLiteral("models"), models},
                                 {QStringLiteral("requested"), result.requested},
                                 {dryRun ? QStringLiteral("wouldMove") : QStringLiteral("moved"), result.moved},
                                 {QStringLiteral("failures"), failures},
                                 {dryRun ? QStringLiteral("wouldTrashPaths") : QStringLiteral("trashedPaths"),
                                  QJsonArray::fromStringList(result.trashedPaths)},
                                 {QStringLiteral("message"), result.needsAlert() && !dryRun ? result.messageText() : QJsonValue()}};
        m_out << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else if (selection->dryRun) {
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
