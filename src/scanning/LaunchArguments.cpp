#include "scanning/LaunchArguments.h"

#include <QRegularExpression>

namespace LaunchArguments {

namespace {
// Where the words come from: an argument list splits at blanks only; a shell assignment's
// value also ends at an operator and expands variables.
enum class Mode { argumentList, shellAssignment };

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
}

bool endsWord(QChar c, Mode mode)
{
    return isBlank(c) || (mode == Mode::shellAssignment && QStringView(u";&|<>()").contains(c));
}

bool isNameCharacter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
}

// Expands $NAME or ${NAME} at text[pos] from the environment (unset gives nothing, as in
// the shell) and moves pos past it. False for what only the shell can work out: command
// substitution, parameter operators, special and positional parameters.
bool expandVariable(QStringView text, qsizetype &pos, QString &word)
{
    qsizetype start = pos + 1;
    if (start >= text.size() || isBlank(text[start])) { // a "$" on its own stays as it is
        word += u'$';
        pos = start;
        return true;
    }
    const bool braced = text[start] == u'{';
    if (braced)
        ++start;
    qsizetype end = start;
    while (end < text.size() && isNameCharacter(text[end]))
        ++end;
    if (end == start || text[start].isDigit())
        return false;
    const QString name = text.sliced(start, end - start).toString();
    if (braced) {
        if (end >= text.size() || text[end] != u'}')
            return false;
        ++end;
    }
    word += qEnvironmentVariable(name.toLatin1().constData());
    pos = end;
    return true;
}

// The double-quoted part starting at text[pos] (the opening quote), appended to word.
bool readDoubleQuoted(QStringView text, qsizetype &pos, QString &word, Mode mode)
{
    const bool shell = mode == Mode::shellAssignment;
    for (++pos; pos < text.size();) {
        const QChar c = text[pos];
        if (c == u'"') {
            ++pos;
            return true;
        }
        if (c == u'\\' && pos + 1 < text.size()) {
            const QChar next = text[pos + 1];
            if (shell && next == u'\n') { // a continued line
                pos += 2;
                continue;
            }
            if (next == u'"' || next == u'\\' || (shell && (next == u'$' || next == u'`'))) {
                word += next;
                pos += 2;
                continue;
            }
        }
        if (shell && c == u'`')
            return false;
        if (shell && c == u'$') {
            if (!expandVariable(text, pos, word))
                return false;
            continue;
        }
        word += c;
        ++pos;
    }
    return false; // the quote is never closed
}

// One word starting at text[pos]; pos ends just after it. Nothing when a quote stays
// open or a part of it needs the shell.
std::optional<QString> readWord(QStringView text, qsizetype &pos, Mode mode)
{
    const bool shell = mode == Mode::shellAssignment;
    QString word;
    while (pos < text.size() && !endsWord(text[pos], mode)) {
        const QChar c = text[pos];
        if (c == u'\\') {
            if (pos + 1 >= text.size())
                return std::nullopt;
            if (!(shell && text[pos + 1] == u'\n'))
                word += text[pos + 1];
            pos += 2;
        } else if (c == u'\'') {
            const qsizetype close = text.indexOf(u'\'', pos + 1);
            if (close < 0)
                return std::nullopt;
            word += text.sliced(pos + 1, close - pos - 1);
            pos = close + 1;
        } else if (c == u'"') {
            if (!readDoubleQuoted(text, pos, word, mode))
                return std::nullopt;
        } else if (shell && c == u'`') {
            return std::nullopt;
        } else if (shell && c == u'$') {
            if (!expandVariable(text, pos, word))
                return std::nullopt;
        } else {
            word += c;
            ++pos;
        }
    }
    return word;
}
} // namespace

std::optional<QStringList> splitWords(QStringView text)
{
    QStringList words;
    qsizetype pos = 0;
    for (;;) {
        while (pos < text.size() && isBlank(text[pos]))
            ++pos;
        if (pos >= text.size())
            return words;
        const std::optional<QString> word = readWord(text, pos, Mode::argumentList);
        if (!word)
            return std::nullopt;
        words.append(*word);
    }
}

std::optional<QStringList> assignedInScript(QStringView script, const QString &variable)
{
    // An assignment starts a line, after blanks and an optional "export"; a commented
    // line ("#export COMMANDLINE_ARGS=...") is none.
    const QRegularExpression assignment(QStringLiteral("^[ \\t]*(?:export[ \\t]+)?%1=")
                                            .arg(QRegularExpression::escape(variable)),
                                        QRegularExpression::MultilineOption);
    std::optional<QString> value;
    qsizetype from = 0;
    for (;;) {
        const QRegularExpressionMatch match = assignment.match(script, from);
        if (!match.hasMatch())
            break;
        qsizetype pos = match.capturedEnd();
        value = readWord(script, pos, Mode::shellAssignment);
        // What the shell does after an open quote cannot be known without it.
        if (!value)
            return std::nullopt;
        from = std::max(pos, match.capturedEnd());
    }
    if (!value)
        return std::nullopt;
    return splitWords(*value);
}

std::optional<QStringList> inFlagsFile(QStringView content)
{
    QStringList lines;
    for (QStringView line : content.split(u'\n')) {
        line = line.trimmed();
        while (line.endsWith(u'\\'))
            line.chop(1);
        line = line.trimmed();
        if (!line.isEmpty() && !line.startsWith(u'#'))
            lines.append(line.toString());
    }
    return splitWords(lines.join(u' '));
}

std::optional<QString> optionValue(const QStringList &arguments, const QString &option)
{
    std::optional<QString> value;
    const QString withEquals = option + u'=';
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == option && i + 1 < arguments.size())
            value = arguments[++i];
        else if (arguments[i].startsWith(withEquals))
            value = arguments[i].sliced(withEquals.size());
    }
    return value;
}

} // namespace LaunchArguments
