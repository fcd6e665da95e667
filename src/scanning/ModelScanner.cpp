#include "scanning/ModelScanner.h"

#include "catalogue/ModelSourceDefinition.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/DirectoryWalker.h"
#include "scanning/ScanRoutines.h"
#include "scanning/SourceScanner.h"

#include <QFile>

#include <cerrno>
#include <sys/stat.h>

ModelScanner::ModelScanner(AppDetectionService appDetection, OllamaScanner ollama)
    : ollamaScanner(std::move(ollama)), appDetectionService(std::move(appDetection))
{
}

ScanResult ModelScanner::scan() const
{
    struct Found
    {
        const ModelSourceDefinition *definition;
        QStringList roots;
        QList<DetectedModel> models;
    };
    // Every application is scanned before any is looked for, one after another.
    QList<Found> found;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all()) {
        const SourceScanner scanner(definition, ollamaScanner);
        const QStringList roots = scanner.roots();
        found.append({&definition, roots, scanner.scan(roots)});
    }

    ScanResult result;
    QStringList knownFolders;
    for (const Found &source : found) {
        SourceStatus status;
        status.tool = source.definition->tool;
        status.displayName = source.definition->displayName;
        for (const QString &root : source.roots) {
            if (ScanRoutines::rootExists(root))
                status.folders.append(root);
        }
        if (status.folders.isEmpty())
            status.folders.append(source.definition->defaultFolder());
        status.installedAppPath = appDetectionService.installedAppPath(*source.definition);
        status.iconName = appDetectionService.desktopEntryIconName(*source.definition).value_or(QString());
        status.modelCount = int(std::count_if(source.models.cbegin(), source.models.cend(),
                                              [](const DetectedModel &model) { return !model.isLeftover(); }));
        result.sources.append(status);

        // A library cache has no application whose removal could leave its models behind.
        const bool needed = status.installedAppPath.has_value() || source.definition->libraryCache;
        for (DetectedModel model : source.models) {
            // Leftovers are listed apart whatever became of the application.
            model.isOrphaned = !needed && !model.filePaths.isEmpty() && !model.isLeftover();
            result.models.append(model);
        }
        knownFolders += source.roots;
    }

    result.models += customFolderScanner.scan(persistenceService.load());
    result.notComparedByContent = DuplicateDetector().markDuplicates(result.models);
    result.unreadableFolders = unreadableAmong(knownFolders);
    return result;
}

QStringList ModelScanner::knownModelFolders() const
{
    QStringList folders;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all())
        folders += SourceScanner(definition, ollamaScanner).roots();
    return folders;
}

QStringList ModelScanner::unreadableModelFolders() const
{
    return unreadableAmong(knownModelFolders());
}

QStringList ModelScanner::unreadableAmong(const QStringList &folders)
{
    QStringList unreadable;
    for (const QString &folder : folders) {
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
