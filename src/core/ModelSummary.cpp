#include "core/ModelSummary.h"

#include "duplicates/ContentGrouping.h"

#include <QHash>

#include <algorithm>

namespace ModelSummary {

qint64 totalSize(const QList<DetectedModel> &models)
{
    qint64 total = 0;
    for (const DetectedModel &model : models)
        total = addSizes(total, model.sizeBytes);
    return total;
}

qint64 reclaimableSize(const QList<DetectedModel> &models)
{
    struct GroupSizes { qint64 sum = 0; qint64 largest = 0; bool any = false; };
    QHash<QUuid, GroupSizes> groups;
    qint64 reclaimable = 0;
    for (const DetectedModel &model : models) {
        // Each model counts once: an orphan in full, whatever group it is in, so the
        // reclaimable space never exceeds the total.
        if (model.isOrphaned || model.isLeftover()) {
            reclaimable = addSizes(reclaimable, model.sizeBytes);
            continue;
        }
        // Members known to be one file on disk: removing a name frees nothing.
        if (!model.duplicateGroup || model.duplicateVerificationStatus.isOneFileOnDisk())
            continue;
        GroupSizes &group = groups[*model.duplicateGroup];
        group.sum = addSizes(group.sum, model.sizeBytes);
        group.largest = group.any ? std::max(group.largest, model.sizeBytes) : model.sizeBytes;
        group.any = true;
    }
    // Of the copies whose application is still there, each group keeps its largest.
    for (const GroupSizes &group : std::as_const(groups))
        reclaimable = addSizes(reclaimable, group.sum - group.largest);
    return reclaimable;
}

QString countText(const QList<DetectedModel> &models)
{
    const auto plural = [](qsizetype count, const QString &noun) {
        return QStringLiteral("%1 %2%3").arg(count).arg(noun, count == 1 ? QString() : QStringLiteral("s"));
    };
    const qsizetype leftovers = std::count_if(models.cbegin(), models.cend(), [](const DetectedModel &m) { return m.isLeftover(); });
    const QString counted = plural(models.size() - leftovers, QStringLiteral("model"));
    if (leftovers == 0)
        return counted;
    // A list narrowed to leftovers has no models to count.
    if (leftovers == models.size())
        return plural(leftovers, QStringLiteral("leftover"));
    return counted + QStringLiteral(" and ") + plural(leftovers, QStringLiteral("leftover"));
}

QString notComparedText(qsizetype count)
{
    if (count == 0)
        return {};
    return QStringLiteral("Models not compared by content: %1. More files than a scan compares (%2) share their sizes, so "
                          "they are grouped by name only.").arg(count).arg(ContentGrouping::fileBudget);
}

} // namespace ModelSummary
