#include "core/ModelSummary.h"

#include <QHash>

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
        if (model.isOrphaned || model.isLeftover())
            reclaimable = addSizes(reclaimable, model.sizeBytes);
        // Members known to be one file on disk: removing a name frees nothing.
        if (!model.duplicateGroup || model.duplicateVerificationStatus.isOneFileOnDisk())
            continue;
        GroupSizes &group = groups[*model.duplicateGroup];
        group.sum = addSizes(group.sum, model.sizeBytes);
        group.largest = group.any ? std::max(group.largest, model.sizeBytes) : model.sizeBytes;
        group.any = true;
    }
    for (const GroupSizes &group : std::as_const(groups))
        reclaimable = addSizes(reclaimable, group.sum - group.largest);
    return reclaimable;
}

} // namespace ModelSummary
