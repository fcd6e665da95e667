#include "support/HomeScan.h"

#include <QProcess>

#include <cstdio>

ModelScanner HomeScan::scanner() const
{
    const StashwellCore::Machine home = machine();
    return ModelScanner(AppDetectionService(home.appLocations), OllamaScanner(home.ollamaStores()));
}

HomeScan::CliRun HomeScan::runCli(const QStringList &arguments) const
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
    process.start(m_cliProgram, arguments);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return {-1, process.readAllStandardOutput(), QByteArrayLiteral("stashwell-cli did not finish within a minute")};
    }
    const int exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return {exitCode, process.readAllStandardOutput(), process.readAllStandardError()};
}

bool HomeScan::same(const QStringList &seen, const QStringList &expected)
{
    QStringList sortedSeen = seen;
    QStringList sortedExpected = expected;
    sortedSeen.sort();
    sortedExpected.sort();
    if (sortedSeen == sortedExpected)
        return true;
    for (const auto &[title, lines] : {std::pair{"seen", sortedSeen}, std::pair{"expected", sortedExpected}}) {
        std::fprintf(stderr, "%s:\n", title);
        for (const QString &text : lines) // lines of models thousands of folders deep, shortened
            std::fprintf(stderr, "  %s\n", qPrintable(text.size() > 400 ? text.first(200) + QStringLiteral(" ... ") + text.last(150) : text));
    }
    return false;
}
