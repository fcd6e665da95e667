#include "scanning/ModelScanner.h"

#include "catalogue/ModelSourceDefinition.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/DirectoryWalker.h"

#include <QFile>

#include <cerrno>
#include <sys/stat.h>

ModelScanner::ModelScanner(AppDetectionService appDetection, OllamaScanner ollama)
    : ollamaScanner(std::move(ollama)), appDetectionService(std::move(appDetection))
{
}

QList<DetectedModel> ModelScanner::scanAll() const
{
    using K = SourceTool::Kind;
    // Every application is scanned before any is looked for, one after another.
    const QList<std::pair<K, QList<DetectedModel>>> found{
        {K::ollama, ollamaScanner.scan()},   {K::lmStudio, lmStudioScanner.scan()},
        {K::omlx, omlxScanner.scan()},       {K::jan, janScanner.scan()},
        {K::gpt4All, gpt4AllScanner.scan()}, {K::drawThings, drawThingsScanner.scan()},
    };

    QList<DetectedModel> result;
    for (const auto &[kind, models] : found) {
        if (models.isEmpty())
            continue;
        const ModelSourceDefinition *definition = ModelSourceDefinition::find(kind);
        const bool installed = definition && appDetectionService.installedAppPath(*definition).has_value();
        for (DetectedModel model : models) {
            model.isOrphaned = !installed && !model.filePaths.isEmpty();
            result.append(model);
        }
    }

    result += customFolderScanner.scan(persistenceService.load());
    DuplicateDetector().markDuplicates(result);
    return result;
}

QStringList ModelScanner::knownModelFolders() const
{
    return ollamaScanner.roots() + lmStudioScanner.roots() + omlxScanner.roots() + janScanner.roots()
        + gpt4AllScanner.roots() + drawThingsScanner.roots();
}

QStringList ModelScanner::unreadableModelFolders() const
{
    QStringList unreadable;
    for (const QString &folder : knownModelFolders()) {
        struct stat info {};
        const QByteArray native = QFile::encodeName(folder);
        if (::stat(native.constData(), &info) != 0) {
            // A folder on the way that may not be searched hides whether the store is there.
            if (errno == EACCES && !unreadable.contains(folder))
                unreadable.append(folder);
            continue;
        }
        if (S_ISDIR(info.st_mode) && !DirectoryWalker::list(folder) && !unreadable.contains(folder))
            unreadable.append(folder);
    }
    return unreadable;
}

ScanResult ModelScanner::scan() const
{
    ScanResult result;
    result.models = scanAll();
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all()) {
        SourceStatus status;
        status.tool = definition.tool;
        status.displayName = definition.displayName;
        status.folders = definition.paths;
        status.installedAppPath = appDetectionService.installedAppPath(definition);
        status.iconName = appDetectionService.desktopEntryIconName(definition).value_or(QString());
        status.modelCount = int(std::count_if(result.models.begin(), result.models.end(),
                                              [&](const DetectedModel &m) { return m.sourceTool == definition.tool; }));
        result.sources.append(status);
    }
    result.unreadableFolders = unreadableModelFolders();
    return result;
}
