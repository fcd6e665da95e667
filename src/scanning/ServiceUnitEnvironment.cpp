#include "scanning/ServiceUnitEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace {
// Unit files are small; a larger file is not read.
constexpr qint64 maximumUnitFileSize = 1024 * 1024;

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r');
}

QChar unescaped(QChar c)
{
    switch (c.unicode()) {
    case u'n': return QLatin1Char('\n');
    case u't': return QLatin1Char('\t');
    case u'r': return QLatin1Char('\r');
    case u's': return QLatin1Char(' ');
    default: return c;
    }
}

// The logical lines of a unit file: a line ending in a backslash goes on in the next
// line (joined with a blank), and comment lines inside such a run are left out.
QStringList logicalLines(const QString &text)
{
    QStringList lines;
    QString pending;
    bool continuing = false;
    for (const QString &raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        const bool comment = line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';'));
        if (continuing && comment)
            continue;
        if (line.endsWith(QLatin1Char('\\'))) {
            pending += line.chopped(1) + QLatin1Char(' ');
            continuing = true;
            continue;
        }
        lines.append(pending + line);
        pending.clear();
        continuing = false;
    }
    if (continuing)
        lines.append(pending);
    return lines;
}

// Resolves "%%"; a value with any other systemd specifier cannot be known from here.
std::optional<QString> withoutSpecifiers(const QString &value)
{
    QString result;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != QLatin1Char('%')) {
            result += value[i];
            continue;
        }
        if (i + 1 < value.size() && value[i + 1] == QLatin1Char('%')) {
            result += QLatin1Char('%');
            ++i;
            continue;
        }
        return std::nullopt;
    }
    return result;
}
} // namespace

QStringList ServiceUnitEnvironment::words(const QString &value)
{
    QStringList words;
    qsizetype i = 0;
    for (;;) {
        while (i < value.size() && isBlank(value[i]))
            ++i;
        if (i >= value.size())
            return words;
        QString word;
        QChar quote;
        for (; i < value.size(); ++i) {
            const QChar c = value[i];
            if (c == QLatin1Char('\\') && i + 1 < value.size()) {
                word += unescaped(value[++i]);
            } else if (!quote.isNull()) {
                if (c == quote)
                    quote = QChar();
                else
                    word += c;
            } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
                quote = c;
            } else if (isBlank(c)) {
                break;
            } else {
                word += c;
            }
        }
        if (!quote.isNull())
            return words;
        words.append(word);
    }
}

void ServiceUnitEnvironment::apply(const QByteArray &unitText, QHash<QString, QString> &environment)
{
    static const QRegularExpression variableName(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    QString section;
    for (const QString &line : logicalLines(QString::fromUtf8(unitText))) {
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';')))
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            section = line.mid(1, line.size() - 2);
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (section != QLatin1String("Service") || equals < 0
            || line.first(equals).trimmed() != QLatin1String("Environment"))
            continue;
        const QString value = line.sliced(equals + 1).trimmed();
        if (value.isEmpty()) {
            environment.clear();
            continue;
        }
        for (const QString &word : words(value)) {
            const qsizetype split = word.indexOf(QLatin1Char('='));
            if (split <= 0 || !variableName.match(word.first(split)).hasMatch())
                continue;
            if (const std::optional<QString> resolved = withoutSpecifiers(word.sliced(split + 1)))
                environment.insert(word.first(split), *resolved);
        }
    }
}

QHash<QString, QString> ServiceUnitEnvironment::read(const QString &unitFile, const QString &dropInDir)
{
    QStringList files{unitFile};
    const QDir dropIns(dropInDir);
    for (const QString &name : dropIns.entryList({QStringLiteral("*.conf")}, QDir::Files | QDir::Readable, QDir::Name))
        files.append(dropIns.filePath(name));

    QHash<QString, QString> environment;
    for (const QString &path : files) {
        // A masked unit is a link to /dev/null; pipes and devices are never opened.
        if (!QFileInfo(path).isFile())
            continue;
        QFile file(path);
        if (file.size() > maximumUnitFileSize || !file.open(QIODevice::ReadOnly))
            continue;
        apply(file.read(maximumUnitFileSize), environment);
    }
    return environment;
}
