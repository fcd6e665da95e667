#include "scanning/OMLXScanner.h"

#include "scanning/ScanRoutines.h"

QStringList OMLXScanner::roots() const
{
    return {ScanRoutines::homePath(QStringLiteral(".omlx/models"))};
}

QList<DetectedModel> OMLXScanner::scan() const
{
    QList<DetectedModel> models;
    for (const QString &root : roots()) {
        if (ScanRoutines::rootExists(root))
            models += ScanRoutines::scanModelTree(root, SourceTool::Kind::omlx);
    }
    return models;
}
