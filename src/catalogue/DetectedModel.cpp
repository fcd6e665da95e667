#include "catalogue/DetectedModel.h"

#include <QtGlobal>

DetectedModel DetectedModel::create(const QString &displayName, const SourceTool &source,
                                    const QStringList &filePaths, qint64 sizeBytes,
                                    const QDateTime &lastModified)
{
    DetectedModel model;
    model.id = QUuid::createUuid();
    model.displayName = displayName;
    model.sourceTool = source;
    model.filePaths = filePaths;
    model.sizeBytes = sizeBytes;
    model.lastModified = lastModified;
    return model;
}

QDateTime distantPast()
{
    static const QDateTime date(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
    return date;
}

bool isDistantPast(const QDateTime &date)
{
    return !date.isValid() || date == distantPast();
}

qint64 addSizes(qint64 a, qint64 b)
{
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("byte count overflow");
    return sum;
}
