#include "scanning/LMStudioScanner.h"

#include "scanning/ScanRoutines.h"

QStringList LMStudioScanner::roots() const
{
    return ScanRoutines::distinctRoots({ScanRoutines::homePath(QStringLiteral(".lmstudio/models")),
                                        ScanRoutines::homePath(QStringLiteral(".cache/lm-studio/models"))});
}

QList<DetectedModel> LMStudioScanner::scan() const
{
    QList<DetectedModel> models;
    for (const QString &root : roots()) {
        if (ScanRoutines::rootExists(root))
            models += ScanRoutines::scanModelTree(root, SourceTool::Kind::lmStudio);
    }
    return models;
}
