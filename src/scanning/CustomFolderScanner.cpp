#include "scanning/CustomFolderScanner.h"

#include "scanning/ScanRoutines.h"

#include <QDir>
#include <QFileInfo>

const QStringList &CustomFolderScanner::supportedExtensions()
{
    static const QStringList extensions{QStringLiteral("gguf"), QStringLiteral("bin"), QStringLiteral("safetensors")};
    return extensions;
}

QString CustomFolderScanner::folderName(const QString &folder)
{
    const QString cleaned = QDir::cleanPath(folder);
    const QString name = QFileInfo(cleaned).fileName();
    return name.isEmpty() ? cleaned : name;
}

QList<DetectedModel> CustomFolderScanner::scan(const QStringList &folders) const
{
    QList<DetectedModel> models;
    for (const QString &folder : folders) {
        if (!ScanRoutines::rootExists(folder))
            continue;
        models += ScanRoutines::scanModelFiles(folder, supportedExtensions(), SourceTool::custom(folderName(folder)));
    }
    return models;
}
