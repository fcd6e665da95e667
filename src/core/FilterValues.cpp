#include "core/FilterValues.h"

#include <QRegularExpression>
#include <QtNumeric>

#include <cmath>

namespace {
struct Unit
{
    const char *name;
    qint64 factor;
};

// Exact values with integer arithmetic: a double alone would round large byte counts.
std::optional<qint64> scaled(const QString &whole, const QString &fraction, qint64 factor)
{
    bool ok = false;
    const qint64 integer = whole.toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    qint64 result = 0;
    if (qMulOverflow(integer, factor, &result))
        return std::nullopt;
    if (!fraction.isEmpty()) {
        const qint64 part = std::llround((QStringLiteral("0.") + fraction).toDouble() * double(factor));
        if (qAddOverflow(result, part, &result))
            return std::nullopt;
    }
    return result;
}

// `pattern` captures the whole number, the fraction's digits and the unit, and decides
// which letters a unit may have.
std::optional<qint64> parse(const QString &text, const QRegularExpression &pattern, const QList<Unit> &units)
{
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QString unit = match.captured(3);
    for (const Unit &candidate : units) {
        if (unit.compare(QLatin1String(candidate.name), Qt::CaseInsensitive) != 0)
            continue;
        // A fraction of a byte or of a second means nothing.
        if (candidate.factor == 1 && !match.captured(2).isEmpty())
            return std::nullopt;
        return scaled(match.captured(1), match.captured(2), candidate.factor);
    }
    return std::nullopt;
}
} // namespace

namespace FilterValues {

std::optional<qint64> parseSize(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*(\\d+)(?:\\.(\\d+))?\\s*([A-Za-z]*)\\s*$"));
    static const QList<Unit> units{
        {"", 1}, {"B", 1},
        {"K", 1000}, {"KB", 1000}, {"M", 1'000'000}, {"MB", 1'000'000},
        {"G", 1'000'000'000}, {"GB", 1'000'000'000}, {"T", 1'000'000'000'000}, {"TB", 1'000'000'000'000},
        {"KiB", qint64(1) << 10}, {"MiB", qint64(1) << 20}, {"GiB", qint64(1) << 30}, {"TiB", qint64(1) << 40},
    };
    return parse(text, pattern, units);
}

std::optional<qint64> parseAge(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*(\\d+)(?:\\.(\\d+))?\\s*([a-z]+)\\s*$"));
    static const QList<Unit> units{{"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}, {"w", 7 * 86400}};
    return parse(text, pattern, units);
}

} // namespace FilterValues
