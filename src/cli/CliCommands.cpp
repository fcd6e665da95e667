#include "cli/CliCommands.h"

#include "cli/ScanReport.h"
#include "scanning/ModelScanner.h"
#include "services/PersistenceService.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

namespace {
constexpr int exitSuccess = 0;
constexpr int exitUsage = 2;

QString absoluteFolder(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}
} // namespace

QString CliCommands::usage()
{
    return QStringLiteral("usage: stashwell-cli scan [--json]\n"
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
        return usageError(QStringLiteral("missing command (scan, folders); try --help"));
    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") || command == QLatin1String("help")) {
        m_out << usage();
        return exitSuccess;
    }
    if (command == QLatin1String("scan"))
        return scan(rest);
    if (command == QLatin1String("folders"))
        return folders(rest);
    return usageError(QStringLiteral("unknown command '%1'; try --help").arg(command));
}

int CliCommands::scan(const QStringList &options)
{
    bool asJson = false;
    for (const QString &option : options) {
        if (option == QLatin1String("--json"))
            asJson = true;
        else
            return usageError(QStringLiteral("scan: unknown option '%1'").arg(option));
    }
    const ModelScanner scanner;
    ScanReport report{scanner.scanAll(), scanner.unreadableModelFolders()};
    if (asJson)
        m_out << QJsonDocument(report.json()).toJson(QJsonDocument::Indented);
    else
        m_out << report.text();
    return exitSuccess;
}

int CliCommands::folders(const QStringList &arguments)
{
    const PersistenceService persistence;
    const QString action = arguments.value(0);
    if (action == QLatin1String("list") && arguments.size() == 1) {
        for (const QString &folder : persistence.load())
            m_out << folder << "\n";
        return exitSuccess;
    }
    if ((action == QLatin1String("add") || action == QLatin1String("remove")) && arguments.size() == 2) {
        const QString folder = absoluteFolder(arguments[1]);
        QStringList stored = persistence.load();
        if (action == QLatin1String("add")) {
            if (!QFileInfo(folder).isDir())
                return usageError(QStringLiteral("folders add: not a folder: %1").arg(arguments[1]));
            if (stored.contains(folder)) {
                m_out << "Already scanned: " << folder << "\n";
                return exitSuccess;
            }
            stored.append(folder);
            persistence.save(stored);
            m_out << "Added " << folder << "\n";
            return exitSuccess;
        }
        // Stored entries may carry a trailing slash; compare them as folders.
        const qsizetype before = stored.size();
        stored.removeIf([&](const QString &entry) { return QDir::cleanPath(entry) == folder; });
        if (stored.size() == before)
            return usageError(QStringLiteral("folders remove: not in the list: %1").arg(arguments[1]));
        persistence.save(stored);
        m_out << "Removed " << folder << " (nothing on disk was touched)\n";
        return exitSuccess;
    }
    return usageError(QStringLiteral("folders: expected 'list', 'add PATH' or 'remove PATH'"));
}
