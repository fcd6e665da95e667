#include "scanning/DrawThingsScanner.h"

#include "scanning/ScanRoutines.h"

QStringList DrawThingsScanner::roots() const
{
    return {ScanRoutines::homePath(QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models"))};
}

QList<DetectedModel> DrawThingsScanner::scan() const
{
    QList<DetectedModel> models;
    for (const QString &root : roots()) {
        if (ScanRoutines::rootExists(root)) {
            models += ScanRoutines::scanModelFiles(root, {QStringLiteral("ckpt"), QStringLiteral("safetensors")},
                                                   SourceTool::Kind::drawThings);
        }
    }
    return models;
}
