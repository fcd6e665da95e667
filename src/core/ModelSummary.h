#pragma once

#include "catalogue/DetectedModel.h"

#include <QList>

// Values derived from a scan's model list; each pass is linear in the number of models.
namespace ModelSummary {

qint64 totalSize(const QList<DetectedModel> &models);

// The orphans' and leftovers' sizes, plus for each duplicate group every member whose
// application is still there but the largest of them. Every model counts once, so the
// space never exceeds the total. A group whose members verification found to be one file
// on disk adds nothing.
qint64 reclaimableSize(const QList<DetectedModel> &models);

// "1 model", "16 models", "16 models and 6 leftovers" when there are leftovers, or
// "6 leftovers" when there is nothing else.
QString countText(const QList<DetectedModel> &models);

// What the user is told when a scan left models out of the content comparison
// (ScanResult::notComparedByContent); empty when it left none.
QString notComparedText(qsizetype count);

} // namespace ModelSummary
