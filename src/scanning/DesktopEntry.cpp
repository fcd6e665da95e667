#include "scanning/DesktopEntry.h"

#include <QFile>
#include <QFileInfo>
#include <QStringView>

namespace {
// Desktop entries are a few kilobytes; anything far larger is not one, and is not read.
constexpr qint64 largestEntry = 1024 * 1024;

QString unescaped(QStringView raw)
{
    QString result;
    result.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c != QLatin1Char('\\') || i + 1 == raw.size()) {
            result.append(c);
            continue;
        }
        switch (raw[++i].unicode()) {
        case u's': result.append(QLatin1Char(' ')); break;
        case u'n': result.append(QLatin1Char('\n')); break;
        case u't': result.append(QLatin1Char('\t')); break;
        case u'r': result.append(QLatin1Char('\r')); break;
        case u'\\': result.append(QLatin1Char('\\')); break;
        default: result.append(c).append(raw[i]); break; // not an escape of this level
        }
    }
    return result;
}
} // namespace

std::optional<DesktopEntry> DesktopEntry::read(const QString &path)
{
    // Only regular files are opened: a pipe or device under this name could block the caller.
    const QFileInfo info(path);
    if (!info.isFile() || info.size() > largestEntry)
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QString content = QString::fromUtf8(file.read(largestEntry));

    DesktopEntry entry;
    bool inGroup = false;
    bool foundGroup = false;
    for (QStringView line : QStringView(content).split(QLatin1Char('\n'))) {
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == QLatin1String("[Desktop Entry]");
            foundGroup = foundGroup || inGroup;
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (!inGroup || equals <= 0)
            continue;
        const QString key = line.left(equals).trimmed().toString();
        // A repeated key is an error in the file; the first one is kept.
        if (!entry.m_values.contains(key))
            entry.m_values.insert(key, unescaped(line.mid(equals + 1).trimmed()));
    }
    if (!foundGroup)
        return std::nullopt;
    return entry;
}

QString DesktopEntry::value(const QString &key) const
{
    return m_values.value(key);
}

QString DesktopEntry::execProgram() const
{
    const QString exec = value(QStringLiteral("Exec"));
    if (!exec.startsWith(QLatin1Char('"'))) {
        qsizetype end = 0;
        while (end < exec.size() && exec[end] != QLatin1Char(' ') && exec[end] != QLatin1Char('\t'))
            ++end;
        return exec.left(end);
    }
    // A quoted argument: a backslash keeps the next character as it is.
    QString program;
    for (qsizetype i = 1; i < exec.size(); ++i) {
        if (exec[i] == QLatin1Char('"'))
            break;
        if (exec[i] == QLatin1Char('\\') && i + 1 < exec.size())
            ++i;
        program.append(exec[i]);
    }
    return program;
}
