#include "support/TempHome.h"

#include "scanning/AppSearchLocations.h"
#include "scanning/OllamaStoreLocator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QtGlobal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Each variable and the folder inside the home it points at while a TempHome lives.
const QList<std::pair<const char *, QString>> &homeVariables()
{
    static const QList<std::pair<const char *, QString>> variables{
        {"HOME", QString()},
        {"XDG_DATA_HOME", QStringLiteral("/.local/share")},
        {"XDG_CONFIG_HOME", QStringLiteral("/.config")},
        {"XDG_CACHE_HOME", QStringLiteral("/.cache")},
        {"XDG_RUNTIME_DIR", QStringLiteral("/.run")}};
    return variables;
}
} // namespace

TempHome::TempHome()
{
    Q_ASSERT(m_dir.isValid());
    for (const auto &[name, inside] : homeVariables()) {
        m_oldValues.append(qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
        qputenv(name, QFile::encodeName(m_dir.path() + inside));
    }
    QStandardPaths::setTestModeEnabled(false);
}

TempHome::~TempHome()
{
    // Folders a test made unreadable must be readable again to be removed.
    QDir(m_dir.path()).removeRecursively();
    for (qsizetype i = 0; i < homeVariables().size(); ++i) {
        const char *name = homeVariables()[i].first;
        if (m_oldValues[i])
            qputenv(name, *m_oldValues[i]);
        else
            qunsetenv(name);
    }
}

StashwellCore::Machine TempHome::machine() const
{
    OllamaStoreLocator::Inputs stores;
    stores.userModelsDir = filePath(QStringLiteral(".ollama/models"));
    stores.serviceModelsDir = filePath(QStringLiteral("system/ollama/.ollama/models"));
    AppSearchLocations apps;
    apps.home = path();
    apps.applicationFolders = apps.appImageFolders = {filePath(QStringLiteral("Applications"))};
    apps.executableFolders = {filePath(QStringLiteral("bin"))};
    apps.desktopEntryFolders = {filePath(QStringLiteral(".local/share/applications"))};
    apps.otherRoots = {filePath(QStringLiteral("Desktop")), filePath(QStringLiteral("Downloads"))};
    return {apps, [stores] { return OllamaStoreLocator(stores).allStores(); }};
}

QString TempHome::filePath(const QString &relative) const
{
    return m_dir.path() + QLatin1Char('/') + relative;
}

QString TempHome::writeFile(const QString &relative, qint64 size, char fill) const
{
    return writeFile(relative, QByteArray(size, fill));
}

QString TempHome::writeFile(const QString &relative, const QByteArray &content) const
{
    const QString path = filePath(relative);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
        qFatal("cannot write test file %s", qPrintable(path));
    return path;
}

void TempHome::writeRawFile(const QByteArray &relative, const QByteArray &content) const
{
    const QByteArray path = QFile::encodeName(m_dir.path()) + '/' + relative;
    for (qsizetype slash = path.indexOf('/', 1); slash >= 0; slash = path.indexOf('/', slash + 1))
        ::mkdir(path.left(slash).constData(), 0755);
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool written = fd >= 0 && ::write(fd, content.constData(), size_t(content.size())) == ssize_t(content.size());
    if (fd >= 0)
        ::close(fd);
    if (!written)
        qFatal("cannot write test file %s", path.constData());
}

QString TempHome::makeDir(const QString &relative) const
{
    const QString path = filePath(relative);
    QDir().mkpath(path);
    return path;
}

void TempHome::setModified(const QString &path, const QDateTime &when)
{
    const qint64 msecs = when.toMSecsSinceEpoch();
    const struct timespec times[2] = {{msecs / 1000, (msecs % 1000) * 1000000},
                                      {msecs / 1000, (msecs % 1000) * 1000000}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}
