#pragma once

#include "catalogue/DetectedModel.h"

#include <QList>

// The list as the user sees it: orphans first, then each application in scan order,
// then custom folders sorted as a file manager sorts names. Rows keep scan order.
struct ModelSection
{
    bool isOrphans = false;
    SourceTool source;           // meaningless for the orphan section
    QString title;               // "Orphaned Models", an application or a folder name
    QList<qsizetype> modelRows;  // indices into the model list, in scan order
    qint64 totalSize = 0;

    static QList<ModelSection> build(const QList<DetectedModel> &models);
    static QString orphansTitle() { return QStringLiteral("Orphaned Models"); }
};
