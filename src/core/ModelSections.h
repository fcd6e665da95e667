#pragma once

#include "catalogue/DetectedModel.h"

#include <QCollator>
#include <QList>

// The list as the user sees it: orphans first, then leftovers, then each application in
// scan order, then custom folders sorted as a file manager sorts names. Rows keep scan order.
struct ModelSection
{
    bool isOrphans = false;
    bool isLeftovers = false;
    SourceTool source;           // meaningless for the orphan and leftover sections
    QString title;               // "Orphaned Models", "Leftovers", an application or a folder name
    QList<qsizetype> modelRows;  // indices into the model list, in scan order
    qint64 totalSize = 0;

    static QList<ModelSection> build(const QList<DetectedModel> &models);
    // Names as a file manager sorts them: case-insensitive, digits by numeric value.
    static QCollator nameCollator();
    // The order of the source sections: built-in sources in scan order, then custom
    // folders by name (`names` from nameCollator()).
    static bool sourceComesBefore(const SourceTool &a, const SourceTool &b, const QCollator &names);
    static QString orphansTitle() { return QStringLiteral("Orphaned Models"); }
    static QString leftoversTitle() { return QStringLiteral("Leftovers"); }
    // The two sections that ask for the user's attention, under a warning header.
    bool isWarning() const { return isOrphans || isLeftovers; }
};
