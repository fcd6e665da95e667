#include "catalogue/DetectedModel.h"

#include <QtGlobal>

#include <limits>

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

void DetectedModel::offerPrimaryFile(const QString &path, qint64 size)
{
    if (size > primaryFileSize) {
        primaryFile = path;
        primaryFileSize = size;
    }
}

QString DetectedModel::leftoverDescription() const
{
    switch (leftover) {
    case LeftoverKind::none: return {};
    case LeftoverKind::partialDownload: return QStringLiteral("Unfinished download");
    case LeftoverKind::unreferencedBlob: return QStringLiteral("Blob no model uses");
    case LeftoverKind::oldRevision: return QStringLiteral("Old revision");
    }
    return {};
}

QString DetectedModel::leftoverKey() const
{
    switch (leftover) {
    case LeftoverKind::none: return {};
    case LeftoverKind::partialDownload: return QStringLiteral("partialDownload");
    case LeftoverKind::unreferencedBlob: return QStringLiteral("unreferencedBlob");
    case LeftoverKind::oldRevision: return QStringLiteral("oldRevision");
    }
    return {};
}

QString DetectedModel::missingPartsText() const
{
    if (missingParts.isEmpty())
        return {};
    if (missingParts.size() == 1)
        return QStringLiteral("Part %1 of %2 is missing").arg(missingParts.first()).arg(partCount);
    return QStringLiteral("%1 of %2 parts are missing").arg(missingParts.size()).arg(partCount);
}

QString DetectedModel::repoTypeText() const
{
    if (repoType == QLatin1String("dataset"))
        return QStringLiteral("Dataset");
    if (repoType == QLatin1String("space"))
        return QStringLiteral("Space");
    return {};
}

bool DetectedModel::mayStillBeDownloading(const QDateTime &now) const
{
    return leftover == LeftoverKind::partialDownload && !isDistantPast(lastModified)
        && lastModified > now.addSecs(-3600);
}

QString unrepresentableNameProblem(const QByteArray &rawPath)
{
    // Bytes that do not read as text show as the replacement character; control
    // characters are escaped so the reason cannot rewrite a terminal.
    QString shown;
    for (const QChar c : QString::fromUtf8(rawPath))
        shown += c.category() == QChar::Other_Control ? QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0')) : QString(c);
    return QStringLiteral("The path \u201c%1\u201d is not valid text, so Stashwell cannot move or check this model "
                          "safely. Rename it in a file manager and scan again.").arg(shown);
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
        return b > 0 ? std::numeric_limits<qint64>::max() : std::numeric_limits<qint64>::min();
    return sum;
}
