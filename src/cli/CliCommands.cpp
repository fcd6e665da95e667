#include "cli/CliCommands.h"

#include "cli/ScanReport.h"
#include "cli/TrashSelection.h"
#include "services/ByteCountFormatter.h"
#include "state/AppViewModel.h"
#include "state/ModelSummary.h"
#include "scanning/ModelScanner.h"
#include "services/PersistenceService.h"

#include <QDir>
#include <QFileInfo>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <unistd.h>

namespace {
constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

QString absoluteFolder(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}
} // namespace

QString CliCommands::usage()
{
    return QStringLiteral("usage: stashwell-cli scan [--json]\n"
                          "       stashwell-cli verify [--json]\n"
                          "       stashwell-cli trash [--dry-run] [--yes] [--json] (--name NAME [--source KIND] | --path PATH)...\n"
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
    const ModelScanner scanner;
    print({scanner.scanAll(), scanner.unreadableModelFolders()}, asJson);
    return exitSuccess;
}

int CliCommands::folders(const QStringList &arguments)
{
    const PersistenceService persistence;
    const QString action = arguments.value(0);
    if (action == QLatin1String("list") && arguments.size() == 1) {
        for (const QString &folder : persistence.load())
            m_out << ScanReport::printable(folder) << "\n";
        return exitSuccess;
    }
    if ((action == QLatin1String("add") || action == QLatin1String("remove")) && arguments.size() == 2) {
        const QString folder = absoluteFolder(arguments[1]);
        QStringList stored = persistence.load();
        if (action == QLatin1String("add")) {
            if (!QFileInfo(folder).isDir())
                return usageError(QStringLiteral("folders add: not a folder: %1").arg(arguments[1]));
            if (stored.contains(folder)) {
                m_out << "Already scanned: " << ScanReport::printable(folder) << "\n";
                return exitSuccess;
            }
            stored.append(folder);
            persistence.save(stored);
            m_out << "Added " << ScanReport::printable(folder) << "\n";
            return exitSuccess;
        }
        // Stored entries may carry a trailing slash; compare them as folders.
        const qsizetype before = stored.size();
        stored.removeIf([&](const QString &entry) { return QDir::cleanPath(entry) == folder; });
        if (stored.size() == before)
            return usageError(QStringLiteral("folders remove: not in the list: %1").arg(arguments[1]));
        persistence.save(stored);
        m_out << "Removed " << ScanReport::printable(folder) << " (nothing on disk was touched)\n";
        return exitSuccess;
    }
    return usageError(QStringLiteral("folders: expected 'list', 'add PATH' or 'remove PATH'"));
}

bool CliCommands::scanThrough(AppViewModel &viewModel)
{
    QEventLoop loop;
    QObject::connect(&viewModel, &AppViewModel::scanStateChanged, &loop, [&] {
        if (viewModel.scanState() != AppViewModel::ScanState::scanning)
            loop.quit();
    });
    viewModel.startScan();
    viewModel.refreshPermissionStatus();
    loop.exec();
    if (viewModel.scanState() == AppViewModel::ScanState::error) {
        m_err << "stashwell-cli: the scan failed: " << viewModel.scanErrorMessage() << "\n";
        return false;
    }
    return true;
}

int CliCommands::verify(bool asJson)
{
    AppViewModel viewModel;
    if (!scanThrough(viewModel))
        return exitFailure;
    QList<QUuid> groups;
    for (const DetectedModel &model : viewModel.models()) {
        if (model.duplicateGroup && !groups.contains(*model.duplicateGroup))
            groups.append(*model.duplicateGroup);
    }
    if (!groups.isEmpty()) {
        QEventLoop loop;
        QObject::connect(&viewModel, &AppViewModel::verifyingChanged, &loop, [&] {
            if (!viewModel.isVerifyingDuplicates())
                loop.quit();
        });
        viewModel.verifyDuplicateGroups(groups);
        if (viewModel.isVerifyingDuplicates())
            loop.exec();
    }
    print({viewModel.models(), viewModel.unreadableFolders()}, asJson);
    // A group that could not be verified is something the user asked for that failed.
    const bool anyUnverifiable = std::any_of(viewModel.models().begin(), viewModel.models().end(), [](const DetectedModel &m) {
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

    AppViewModel viewModel;
    if (!scanThrough(viewModel))
        return exitFailure;
    QStringList unmatched;
    const QList<QUuid> ids = selection->match(viewModel.models(), &unmatched);
    if (!unmatched.isEmpty())
        return usageError(QStringLiteral("trash: no model matches %1").arg(unmatched.join(QStringLiteral(", "))));
    viewModel.setSelectedModelIDs(QSet<QUuid>(ids.begin(), ids.end()));
    const QList<DetectedModel> chosen = viewModel.selectedModels();

    DeletionResult result;
    if (selection->dryRun) {
        result = viewModel.planDeletionOfSelection();
    } else {
        const QString question = QStringLiteral("Move %1 model%2 (%3) to the Trash?")
                                     .arg(chosen.size())
                                     .arg(chosen.size() == 1 ? QString() : QStringLiteral("s"))
                                     .arg(ByteCountFormatter::format(ModelSummary::totalSize(chosen)));
        if (!selection->assumeYes && !confirm(question)) {
            m_out << "Nothing was moved.\n";
            return exitSuccess;
        }
        QObject::connect(&viewModel, &AppViewModel::deletionFinished, &viewModel,
                         [&result](const DeletionResult &finished) { result = finished; });
        viewModel.deleteSelectedModels();
    }

    if (selection->asJson) {
        QJsonArray failures;
        for (const DeleteFailure &failure : result.failures)
            failures.append(QJsonObject{{QStringLiteral("modelName"), failure.modelName}, {QStringLiteral("reason"), failure.reason}});
        QJsonArray models;
        for (const DetectedModel &model : chosen)
            models.append(ScanReport::modelJson(model));
        const QJsonObject object{{QStringLiteral("dryRun"), selection->dryRun},
                                 {QStringLiteral("models"), models},
                                 {QStringLiteral("requested"), result.requested},
                                 {QStringLiteral("moved"), result.moved},
                                 {QStringLiteral("failures"), failures},
                                 {QStringLiteral("trashedPaths"), QJsonArray::fromStringList(result.trashedPaths)},
                                 {QStringLiteral("message"), result.needsAlert() ? result.messageText() : QJsonValue()}};
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
        m_out << QStringLiteral("%1 model%2 moved to Trash. You can restore files from Trash if needed.\n")
                     .arg(result.moved)
                     .arg(result.moved == 1 ? QString() : QStringLiteral("s"));
    }
    return result.needsAlert() ? exitFailure : exitSuccess;
}
