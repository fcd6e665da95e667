#include "support/HomeScan.h"

#include <QFile>
#include <QJsonArray>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr uid_t nobodyId = 65534;
}

StashwellCore::Machine HomeScan::machine() const
{
    AppSearchLocations locations;
    locations.home = m_home.path();
    locations.applicationFolders = {m_home.filePath(QStringLiteral("Applications"))};
    locations.executableFolders = {m_home.filePath(QStringLiteral("bin"))};
    locations.appImageFolders = {m_home.filePath(QStringLiteral("Applications"))};
    locations.desktopEntryFolders = {m_home.filePath(QStringLiteral(".local/share/applications"))};
    locations.otherRoots = {m_home.filePath(QStringLiteral("Desktop")), m_home.filePath(QStringLiteral("Downloads"))};

    OllamaStoreLocator::Inputs stores;
    stores.userModelsDir = m_home.filePath(QStringLiteral(".ollama/models"));
    stores.serviceModelsDir = m_home.filePath(QStringLiteral("system/ollama/.ollama/models"));
    return {locations, [stores] { return OllamaStoreLocator(stores).stores(); }};
}

ModelScanner HomeScan::scanner() const
{
    const StashwellCore::Machine home = machine();
    return ModelScanner(AppDetectionService(home.appLocations), OllamaScanner(home.ollamaStores()));
}

QStringList HomeScan::scannerLines() const
{
    QStringList result;
    for (const DetectedModel &model : scanner().scanAll())
        result << homeLine(model.sourceTool.description(), model.displayName, model.sizeBytes, model.filePaths);
    return result;
}

namespace {
// The build folder may lie where the unprivileged user cannot reach (a private clone
// in /tmp, /root): run a copy of the program from a folder open to everyone.
QString reachableCopyOf(const QString &program)
{
    static QTemporaryDir folder;
    static const QString copy = [&] {
        const QString target = folder.filePath(QFileInfo(program).fileName());
        if (!QFile::copy(program, target))
            qFatal("cannot copy %s for the unprivileged user", qPrintable(program));
        ::chmod(QFile::encodeName(folder.path()).constData(), 0755);
        ::chmod(QFile::encodeName(target).constData(), 0755);
        return target;
    }();
    return copy;
}
} // namespace

HomeScan::CliRun HomeScan::runCli(const QStringList &arguments, bool unprivileged) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(QStringLiteral(".config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral(".local/share")));
    environment.insert(QStringLiteral("PATH"), m_home.filePath(QStringLiteral("bin")));
    environment.remove(QStringLiteral("OLLAMA_MODELS"));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(m_home.path());
    QString program = m_cliProgram;
    if (unprivileged && ::geteuid() == 0) {
        program = reachableCopyOf(m_cliProgram);
        process.setChildProcessModifier([] {
            if (::setgroups(0, nullptr) != 0 || ::setresgid(nobodyId, nobodyId, nobodyId) != 0
                || ::setresuid(nobodyId, nobodyId, nobodyId) != 0)
                ::_exit(126);
        });
    }
    process.start(program, arguments);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return {-1, process.readAllStandardOutput(), QByteArrayLiteral("stashwell-cli did not finish within a minute")};
    }
    const int exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return {exitCode, process.readAllStandardOutput(), process.readAllStandardError()};
}

QJsonObject HomeScan::cliReport(bool unprivileged) const
{
    const CliRun run = runCli({QStringLiteral("scan"), QStringLiteral("--json")}, unprivileged);
    if (run.exitCode != 0) {
        std::fprintf(stderr, "stashwell-cli scan --json exited with %d: %s\n", run.exitCode, run.err.constData());
        return {};
    }
    return QJsonDocument::fromJson(run.out).object();
}

namespace {
// Lines of models thousands of folders deep are shortened to their ends.
QByteArray printable(const QString &line)
{
    const QString shown = line.size() > 400 ? line.first(200) + QStringLiteral(" ... ") + line.last(150) : line;
    return shown.toUtf8();
}
} // namespace

QStringList HomeScan::lines(const QJsonObject &report) const
{
    QStringList result;
    for (const QJsonValue &value : report.value(QStringLiteral("models")).toArray()) {
        const QJsonObject model = value.toObject();
        QStringList files;
        for (const QJsonValue &file : model.value(QStringLiteral("filePaths")).toArray())
            files << file.toString();
        result << homeLine(model.value(QStringLiteral("source")).toString(), model.value(QStringLiteral("displayName")).toString(),
                           model.value(QStringLiteral("sizeBytes")).toInteger(), files);
    }
    return result;
}

bool HomeScan::same(const QStringList &seen, const QStringList &expected)
{
    QStringList sortedSeen = seen;
    QStringList sortedExpected = expected;
    sortedSeen.sort();
    sortedExpected.sort();
    if (sortedSeen == sortedExpected)
        return true;
    std::fprintf(stderr, "seen:\n");
    for (const QString &text : std::as_const(sortedSeen))
        std::fprintf(stderr, "  %s\n", printable(text).constData());
    std::fprintf(stderr, "expected:\n");
    for (const QString &text : std::as_const(sortedExpected))
        std::fprintf(stderr, "  %s\n", printable(text).constData());
    return false;
}

QString HomeScan::relative(const QString &path) const
{
    const QString prefix = m_home.path() + QLatin1Char('/');
    return path.startsWith(prefix) ? path.sliced(prefix.size()) : path;
}

QString HomeScan::homeLine(const QString &source, const QString &name, qint64 size, const QStringList &files) const
{
    QStringList shown;
    for (const QString &file : files)
        shown << relative(file);
    return line(source, name, size, shown);
}

QString HomeScan::line(const QString &source, const QString &name, qint64 size, QStringList files)
{
    files.sort();
    return QStringLiteral("%1 [%2] %3: %4").arg(source, name).arg(size).arg(files.join(QStringLiteral(" | ")));
}
