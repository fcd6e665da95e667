#include "catalogue/ByteCountFormatter.h"

#include <QLocale>

#include <cmath>

namespace ByteCountFormatter {

QString format(qint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    const QLocale locale;
    const double magnitude = std::abs(double(bytes));
    if (magnitude < 1000) {
        return bytes == 1 || bytes == -1 ? QStringLiteral("%1 byte").arg(bytes)
                                         : QStringLiteral("%1 bytes").arg(locale.toString(bytes));
    }
    static const char *const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    int unit = 0;
    double value = double(bytes) / 1000.0;
    while (std::abs(value) >= 999.5 && unit < 5) {
        value /= 1000.0;
        ++unit;
    }
    const int decimals = unit == 0 ? 0 : (unit == 1 ? 1 : 2);
    QString number = locale.toString(value, 'f', decimals);
    if (decimals > 0) {
        // "2.50 GB" reads as "2.5 GB", "2.00 GB" as "2 GB".
        const QString point = locale.decimalPoint();
        while (number.endsWith(QLatin1Char('0')))
            number.chop(1);
        if (number.endsWith(point))
            number.chop(point.size());
    }
    return number + QLatin1Char(' ') + QLatin1String(units[unit]);
}

} // namespace ByteCountFormatter
