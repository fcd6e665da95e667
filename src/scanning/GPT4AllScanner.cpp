#include "scanning/GPT4AllScanner.h"

#include "catalogue/ModelSourceDefinition.h"
#include "scanning/ScanRoutines.h"

#include <QStandardPaths>

QStringList GPT4AllScanner::roots() const
{
    const QString maker = QString::fromUtf16(SourceFolders::gpt4AllMaker);
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return ScanRoutines::distinctRoots(
        {ScanRoutines::homePath(QStringLiteral("Library/Application Support/") + maker + QStringLiteral("/GPT4All")),
         ScanRoutines::homePath(QStringLiteral(".cache/gpt4all")),
         dataHome + QLatin1Char('/') + maker + QStringLiteral("/GPT4All"),
         ScanRoutines::homePath(QStringLiteral(".var/app/io.gpt4all.gpt4all/data/") + maker + QStringLiteral("/GPT4All"))});
}

QList<DetectedModel> GPT4AllScanner::scan() const
{
    QList<DetectedModel> models;
    for (const QString &root : roots()) {
        if (ScanRoutines::rootExists(root))
            models += ScanRoutines::scanModelFiles(root, {QStringLiteral("gguf")}, SourceTool::Kind::gpt4All);
    }
    return models;
}
