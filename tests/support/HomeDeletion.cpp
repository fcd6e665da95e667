#include "support/HomeDeletion.h"

#include "scanning/OllamaStoreLocator.h"
#include "deletion/ModelDeleter.h"
#include "support/UnprivilegedRun.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <cstdio>
#include <ftw.h>
#include <unistd.h>

namespace {
constexpr uid_t nobodyId = 65534;

QString listedLine(const QString &source, const QString &name)
{
    return source + QStringLiteral(" [") + name + QLatin1Char(']');
}

bool matches(const DetectedModel &model, const HomeDeletion::Pick &pick)
{
    return model.displayName == pick.name && model.sourceTool.key() == pick.source;
}

// The alert as a person reads it: the message, then its informative text line by line.
QStringList alertLines(const QString &message, const QString &informative)
{
    return QStringList{message} + informative.split(QLatin1Char('\n'));
}

// The number of models an alert's message says were moved.
int movedIn(const QString &message)
{
    static const QRegularExpression some(QStringLiteral("^(\\d+) of \\d+ models? moved to Trash\\. \\d+ failed\\.$"));
    const QRegularExpressionMatch match = some.match(message);
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

int handOver(const char *path, const struct stat *, int, struct FTW *)
{
    return ::lchown(path, nobodyId, nobodyId) == 0 ? 0 : 1;
}

// Writes everything, or as much as the pipe takes.
void writeAll(int fd, const QByteArray &bytes)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (written <= 0)
            return;
        done += written;
    }
}
} // namespace

HomeDeletion::HomeDeletion(const TempHome &home, Front front, const QString &cliProgram)
    : m_home(home), m_front(front), m_scan(home, cliProgram)
{
}

HomeDeletion::~HomeDeletion() = default;

QStringList HomeDeletion::listed(bool unprivileged)
{
    QStringList lines;
    if (m_front == Front::terminal) {
        for (const QJsonValue &value : m_scan.cliReport(unprivileged).value(QStringLiteral("models")).toArray()) {
            const QJsonObject model = value.toObject();
            lines << listedLine(model.value(QStringLiteral("source")).toString(), model.value(QStringLiteral("displayName")).toString());
        }
        return lines;
    }
    // The window's scan reads as the test's own user; only its deletion may be unprivileged.
    m_models = StashwellCore(m_scan.machine()).scan().models;
    m_scanned = true;
    for (const DetectedModel &model : std::as_const(m_models))
        lines << listedLine(model.sourceTool.description(), model.displayName);
    return lines;
}

QList<DetectedModel> HomeDeletion::models() const
{
    return m_models;
}

QStringList HomeDeletion::filesOf(const Pick &pick) const
{
    QStringList files;
    for (const DetectedModel &model : models()) {
        if (matches(model, pick))
            files += model.filePaths;
    }
    return files;
}

QStringList HomeDeletion::deleteModels(const QList<Pick> &picks, bool unprivileged)
{
    m_moved = -1;
    return m_front == Front::window ? deleteInWindow(picks, unprivileged) : deleteInTerminal(picks, unprivileged);
}

QStringList HomeDeletion::deleteInWindow(const QList<Pick> &picks, bool unprivileged)
{
    if (!m_scanned)
        listed();
    QList<DetectedModel> chosen;
    for (const Pick &pick : picks) {
        const qsizetype before = chosen.size();
        for (const DetectedModel &model : std::as_const(m_models)) {
            if (matches(model, pick) && std::none_of(chosen.begin(), chosen.end(), [&](const DetectedModel &c) { return c.id == model.id; }))
                chosen.append(model);
        }
        if (chosen.size() == before)
            return {QStringLiteral("<no model listed as %1 [%2]>").arg(pick.source, pick.name)};
    }

    // What the window would show: nothing, or the alert. Sent back through a pipe, as the
    // unprivileged deletion runs in a child process.
    int channel[2];
    if (::pipe(channel) != 0)
        return {QStringLiteral("<no pipe>")};
    const auto deleteSelection = [&] {
        const DeletionResult result = StashwellCore(m_scan.machine()).deleteModels(chosen);
        writeAll(channel[1], QByteArray::number(result.moved) + '\0');
        if (result.needsAlert())
            writeAll(channel[1], result.messageText().toUtf8() + '\0' + result.informativeText().toUtf8() + '\0');
        return true;
    };
    const bool ran = unprivileged ? runUnprivileged(deleteSelection) : deleteSelection();
    ::close(channel[1]);
    QByteArray answer;
    char buffer[4096];
    for (ssize_t count; (count = ::read(channel[0], buffer, sizeof buffer)) > 0;)
        answer.append(buffer, count);
    ::close(channel[0]);
    m_scanned = false; // the list is read afresh after every deletion, as the window does

    const QList<QByteArray> parts = answer.split('\0');
    if (!ran || parts.size() < 2)
        return {QStringLiteral("<the deletion did not finish as the window expects>")};
    m_moved = parts[0].toInt();
    if (parts.size() < 4)
        return {};
    return alertLines(QString::fromUtf8(parts[1]), QString::fromUtf8(parts[2]));
}

QStringList HomeDeletion::deleteInTerminal(const QList<Pick> &picks, bool unprivileged)
{
    QStringList arguments{QStringLiteral("trash"), QStringLiteral("--yes")};
    for (const Pick &pick : picks)
        arguments << QStringLiteral("--name") << pick.name << QStringLiteral("--source") << pick.source;
    const HomeScan::CliRun run = m_scan.runCli(arguments, unprivileged);
    const QString out = QString::fromUtf8(run.out);
    static const QRegularExpression allMoved(
        QStringLiteral("^(\\d+) models? moved to Trash\\. You can restore files from Trash if needed\\.\n$"));
    const QRegularExpressionMatch match = allMoved.match(out);
    // "1 model moved", "2 models moved": the plural follows the count.
    if (run.exitCode == 0 && match.hasMatch() && out.contains(QLatin1String(" models ")) == (match.captured(1) != QLatin1String("1"))) {
        m_moved = match.captured(1).toInt();
        return {};
    }
    if (run.exitCode == 1 && out.endsWith(QLatin1Char('\n')) && run.err.isEmpty()) {
        const QStringList lines = out.chopped(1).split(QLatin1Char('\n'));
        m_moved = movedIn(lines.first());
        return lines;
    }
    return {QStringLiteral("<exit %1>").arg(run.exitCode), out, QString::fromUtf8(run.err)};
}

bool HomeDeletion::sameAlert(const QStringList &seen, const QStringList &expected)
{
    QStringList seenLines = seen.mid(1);
    QStringList expectedLines = expected.mid(1);
    seenLines.sort();
    expectedLines.sort();
    if (seen.value(0) == expected.value(0) && seen.size() == expected.size() && seenLines == expectedLines)
        return true;
    std::fprintf(stderr, "shown:\n");
    for (const QString &line : seen)
        std::fprintf(stderr, "  %s\n", qPrintable(line));
    std::fprintf(stderr, "expected:\n");
    for (const QString &line : expected)
        std::fprintf(stderr, "  %s\n", qPrintable(line));
    return false;
}

void HomeDeletion::giveToUnprivileged(const QString &root)
{
    if (::geteuid() != 0)
        return;
    if (::nftw(QFile::encodeName(root).constData(), handOver, 64, FTW_PHYS) != 0)
        qFatal("cannot hand %s to the unprivileged user", qPrintable(root));
}
