#include "cli/ScanReport.h"

#include "catalogue/ByteCountFormatter.h"
#include "core/ModelSections.h"
#include "core/ModelSummary.h"

#include <QJsonArray>
#include <QLocale>

namespace {
QString modifiedText(const QDateTime &date)
{
    return QStringLiteral("Modified ") + QLocale(QLocale::English).toString(date.toLocalTime().date(), QStringLiteral("MMM d, yyyy"));
}
} // namespace

QString ScanReport::printable(const QString &text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar c : text) {
        if (c.category() == QChar::Other_Control)
            shown += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return shown;
}

QString ScanReport::duplicateMark(const DetectedModel &model)
{
    if (!model.duplicateGroup)
        return {};
    switch (model.duplicateVerificationStatus.state()) {
    case DuplicateVerificationStatus::State::unverified: return QStringLiteral("likely duplicate");
    case DuplicateVerificationStatus::State::verified: return QStringLiteral("verified duplicate");
    case DuplicateVerificationStatus::State::unableToVerify:
        return QStringLiteral("unable to verify: ") + model.duplicateVerificationStatus.reason();
    }
    return {};
}

QString ScanReport::text() const
{
    QString out;
    if (!unreadableFolders.isEmpty()) {
        out += QStringLiteral("Scan limited: these model folders exist but cannot be read:\n");
        for (const QString &folder : unreadableFolders)
            out += QStringLiteral("  ") + printable(folder) + QLatin1Char('\n');
        out += QLatin1Char('\n');
    }
    const QList<ModelSection> sections = ModelSection::build(models);
    if (sections.isEmpty()) {
        out += QStringLiteral("No Models Found\n");
    }
    for (const ModelSection &section : sections) {
        out += QStringLiteral("%1 (%2)  %3\n").arg(printable(section.title)).arg(section.modelRows.size())
                   .arg(ByteCountFormatter::format(section.totalSize));
        for (const qsizetype row : section.modelRows) {
            const DetectedModel &model = models[row];
            QString line = QStringLiteral("  ") + model.displayName;
            if (section.isLeftovers)
                line += QStringLiteral("  [") + model.leftoverDescription() + QStringLiteral(", ") + model.sourceTool.description() + QLatin1Char(']');
            else if (section.isOrphans)
                line += QStringLiteral("  [") + model.sourceTool.description() + QLatin1Char(']');
            line += QStringLiteral("  ") + ByteCountFormatter::format(model.sizeBytes) + QStringLiteral("  ")
                + modifiedText(model.lastModified);
            if (model.mayStillBeDownloading(QDateTime::currentDateTimeUtc()))
                line += QStringLiteral("  (may still be downloading)");
            const QString mark = duplicateMark(model);
            if (!mark.isEmpty())
                line += QStringLiteral("  (") + mark + QLatin1Char(')');
            if (!model.problem.isEmpty())
                line += QStringLiteral("  [cannot be moved: ") + model.problem + QLatin1Char(']');
            out += printable(line) + QLatin1Char('\n');
            // With --paths the lines under a model stay its files, as they always were.
            if (model.details && !withPaths)
                out += QStringLiteral("    ") + printable(model.details->summary()) + QLatin1Char('\n');
            for (const QString &path : withPaths ? model.filePaths : QStringList())
                out += QStringLiteral("      ") + printable(path) + QLatin1Char('\n');
        }
        out += QLatin1Char('\n');
    }
    out += QStringLiteral("Total: %1 in %2\n").arg(ByteCountFormatter::format(ModelSummary::totalSize(models)),
                                                   ModelSummary::countText(models));
    out += QStringLiteral("Reclaimable: %1\n").arg(ByteCountFormatter::format(ModelSummary::reclaimableSize(models)));
    return out;
}

QJsonObject ScanReport::modelJson(const DetectedModel &model)
{
    QJsonObject object;
    object.insert(QStringLiteral("id"), model.id.toString(QUuid::WithoutBraces));
    object.insert(QStringLiteral("displayName"), model.displayName);
    object.insert(QStringLiteral("source"), model.sourceTool.description());
    object.insert(QStringLiteral("sourceKind"), model.sourceTool.key());
    object.insert(QStringLiteral("filePaths"), QJsonArray::fromStringList(model.filePaths));
    object.insert(QStringLiteral("sizeBytes"), model.sizeBytes);
    object.insert(QStringLiteral("lastModified"), isDistantPast(model.lastModified)
                      ? QJsonValue(QJsonValue::Null)
                      : QJsonValue(model.lastModified.toUTC().toString(Qt::ISODate)));
    object.insert(QStringLiteral("isOrphaned"), model.isOrphaned);
    object.insert(QStringLiteral("duplicateGroup"), model.duplicateGroup
                      ? QJsonValue(model.duplicateGroup->toString(QUuid::WithoutBraces))
                      : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("verification"), model.duplicateVerificationStatus.key());
    const bool unable = model.duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::unableToVerify;
    object.insert(QStringLiteral("verificationReason"), unable ? QJsonValue(model.duplicateVerificationStatus.reason())
                                                               : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("leftover"), model.isLeftover() ? QJsonValue(model.leftoverKey()) : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("problem"), model.problem.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(model.problem));
    object.insert(QStringLiteral("details"), model.details ? QJsonValue(model.details->toJson()) : QJsonValue(QJsonValue::Null));
    return object;
}

QJsonObject ScanReport::json() const
{
    QJsonArray array;
    for (const DetectedModel &model : models)
        array.append(modelJson(model));
    QJsonObject object;
    object.insert(QStringLiteral("models"), array);
    object.insert(QStringLiteral("totalSize"), ModelSummary::totalSize(models));
    object.insert(QStringLiteral("reclaimableSize"), ModelSummary::reclaimableSize(models));
    object.insert(QStringLiteral("modelCount"), models.size());
    object.insert(QStringLiteral("permissionDenied"), !unreadableFolders.isEmpty());
    return object;
}
