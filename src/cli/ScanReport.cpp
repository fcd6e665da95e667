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

// The heading of the one list an order asked for makes, forwards and reversed.
QString orderTitle(ModelOrder::Key order, bool reversed)
{
    struct Title { ModelOrder::Key order; const char *forwards; const char *backwards; };
    static const Title titles[] = {
        {ModelOrder::Key::window, "", "In reverse order"},
        {ModelOrder::Key::size, "Largest first", "Smallest first"},
        {ModelOrder::Key::name, "By name, A to Z", "By name, Z to A"},
        {ModelOrder::Key::date, "Newest first", "Oldest first"},
        {ModelOrder::Key::source, "By source", "By source, last first"},
    };
    for (const Title &title : titles) {
        if (title.order == order)
            return QString::fromUtf8(reversed ? title.backwards : title.forwards);
    }
    return {};
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
    const DuplicateCopies copies(everyModel.isEmpty() ? models : everyModel);
    QString out;
    if (!unreadableFolders.isEmpty()) {
        out += QStringLiteral("Scan limited: these model folders exist but cannot be read:\n");
        for (const QString &folder : unreadableFolders)
            out += QStringLiteral("  ") + printable(folder) + QLatin1Char('\n');
        out += QLatin1Char('\n');
    }
    const QString listTitle = orderTitle(order, reversed);
    const bool flat = !listTitle.isEmpty();
    QList<ModelSection> sections;
    if (flat && !models.isEmpty()) {
        ModelSection all;
        all.title = listTitle;
        for (qsizetype row = 0; row < models.size(); ++row)
            all.modelRows.append(row);
        all.totalSize = ModelSummary::totalSize(models);
        sections.append(all);
    } else if (!flat) {
        sections = ModelSection::build(models);
    }
    if (sections.isEmpty())
        out += foundCount ? QStringLiteral("Nothing matches these filters.\n") : QStringLiteral("No Models Found\n");
    for (const ModelSection &section : sections) {
        out += QStringLiteral("%1 (%2)  %3\n").arg(printable(section.title)).arg(section.modelRows.size())
                   .arg(ByteCountFormatter::format(section.totalSize));
        for (const qsizetype row : section.modelRows) {
            const DetectedModel &model = models[row];
            QString line = QStringLiteral("  ") + model.displayName;
            if (model.isLeftover() && (section.isLeftovers || flat))
                line += QStringLiteral("  [") + model.leftoverDescription() + QStringLiteral(", ") + model.sourceTool.description() + QLatin1Char(']');
            else if (section.isOrphans || flat)
                line += QStringLiteral("  [") + model.sourceTool.description() + QLatin1Char(']');
            if (!model.repoTypeText().isEmpty())
                line += QStringLiteral("  (") + model.repoTypeText() + QLatin1Char(')');
            line += QStringLiteral("  ") + ByteCountFormatter::format(model.sizeBytes) + QStringLiteral("  ")
                + modifiedText(model.lastModified);
            if (flat && model.isOrphaned)
                line += QStringLiteral("  (orphaned)");
            if (!model.missingParts.isEmpty())
                line += QStringLiteral("  (") + model.missingPartsText() + QLatin1Char(')');
            if (model.mayStillBeDownloading(QDateTime::currentDateTimeUtc()))
                line += QStringLiteral("  (may still be downloading)");
            const QString mark = duplicateMark(model);
            if (!mark.isEmpty())
                line += QStringLiteral("  (") + mark + QStringLiteral(")  ") + copies.alsoIn(model);
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
    if (foundCount)
        out += QStringLiteral("Shown: %1 of %2 entries found; the totals count only these.\n")
                   .arg(models.size()).arg(*foundCount);
    if (const QString note = ModelSummary::notComparedText(notComparedByContent); !note.isEmpty())
        out += note + QLatin1Char('\n');
    return out;
}

QJsonObject ScanReport::modelJson(const DetectedModel &model, const DuplicateCopies &copies)
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
    QJsonArray others;
    for (const DuplicateCopies::Copy &other : copies.otherCopies(model, maximumDuplicateOf))
        others.append(QJsonObject{{QStringLiteral("sourceKind"), other.source.key()}, {QStringLiteral("displayName"), other.name}});
    object.insert(QStringLiteral("duplicateOf"), model.duplicateGroup ? QJsonValue(others) : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("verification"), model.duplicateVerificationStatus.key());
    const bool unable = model.duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::unableToVerify;
    object.insert(QStringLiteral("verificationReason"), unable ? QJsonValue(model.duplicateVerificationStatus.reason())
                                                               : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("leftover"), model.isLeftover() ? QJsonValue(model.leftoverKey()) : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("problem"), model.problem.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(model.problem));
    object.insert(QStringLiteral("repoType"), model.repoType.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(model.repoType));
    object.insert(QStringLiteral("partCount"), model.partCount == 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(model.partCount));
    QJsonArray missing;
    for (const int part : model.missingParts)
        missing.append(part);
    object.insert(QStringLiteral("missingParts"), missing);
    object.insert(QStringLiteral("details"), model.details ? QJsonValue(model.details->toJson()) : QJsonValue(QJsonValue::Null));
    return object;
}

QJsonObject ScanReport::json() const
{
    const DuplicateCopies copies(everyModel.isEmpty() ? models : everyModel);
    QJsonArray array;
    for (const DetectedModel &model : models)
        array.append(modelJson(model, copies));
    QJsonObject object;
    object.insert(QStringLiteral("models"), array);
    object.insert(QStringLiteral("totalSize"), ModelSummary::totalSize(models));
    object.insert(QStringLiteral("reclaimableSize"), ModelSummary::reclaimableSize(models));
    object.insert(QStringLiteral("modelCount"), models.size());
    object.insert(QStringLiteral("permissionDenied"), !unreadableFolders.isEmpty());
    object.insert(QStringLiteral("filters"), filters);
    object.insert(QStringLiteral("notComparedByContent"), notComparedByContent);
    return object;
}
