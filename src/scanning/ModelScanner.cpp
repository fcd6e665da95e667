#include "scanning/ModelScanner.h"

#include "catalogue/ModelSourceDefinition.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/DirectoryWalker.h"
#include "scanning/InstallationSearch.h"
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
        QList<SourceScanner::Place> places;
        QStringList roots;
        QList<DetectedModel> models;
    };
    const QList<ModelSourceDefinition> &definitions = ModelSourceDefinition::all();
    const QStringList customFolders = persistenceService.load();
    Installations installations;
    const QList<QStringList> rootsOf = rootsOfEverySource(customFolders, installations);

    // Every application is scanned before any is looked for, one after another.
    QList<Found> found;
    for (qsizetype i = 0; i < definitions.size(); ++i) {
        const SourceScanner scanner(definitions[i], ollamaScanner, installations);
        found.append({&definitions[i], scanner.places(), rootsOf[i], scanner.scan(rootsOf[i])});
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
        for (const SourceScanner::Place &place : source.places) {
            if (place.installation.isEmpty())
                continue;
            InstallationStatus installation{place.installation, {}};
            for (const QString &folder : place.folders) {
                if (status.folders.contains(folder) && !installation.folders.contains(folder))
                    installation.folders.append(folder);
            }
            status.installations.append(installation);
        }
        const QString defaultFolder = source.definition->defaultFolder();
        if (status.folders.isEmpty() && !defaultFolder.isEmpty())
            status.folders.append(defaultFolder);
        status.installedAppPath = appDetectionService.installedAppPath(*source.definition);
        // An application run from its own folder is there as long as that folder is.
        if (!status.installedAppPath && !status.installations.isEmpty())
            status.installedAppPath = status.installations.first().path;
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

    result.models += customFolderScanner.scan(customFolders);
    result.notComparedByContent = DuplicateDetector().markDuplicates(result.models);
    result.unreadableFolders = unreadableAmong(knownFolders);
    return result;
}

QList<QStringList> ModelScanner::rootsOfEverySource(const QStringList &customFolders, Installations &installations) const
{
    const QList<ModelSourceDefinition> &definitions = ModelSourceDefinition::all();
    // The folders of the applications that have no installations are known stores, which
    // the one search for installations never enters.
    QStringList knownStores = customFolders;
    QList<QStringList> rootsOf;
    for (const ModelSourceDefinition &definition : definitions) {
        rootsOf.append(definition.installation.isEmpty() ? SourceScanner(definition, ollamaScanner).roots()
                                                         : QStringList());
        knownStores += rootsOf.last();
    }
    installations = InstallationSearch::find(definitions, knownStores);
    for (qsizetype i = 0; i < definitions.size(); ++i) {
        if (!definitions[i].installation.isEmpty())
            rootsOf[i] = SourceScanner(definitions[i], ollamaScanner, installations).roots();
    }
    leaveSharedFolders(rootsOf);
    return rootsOf;
}

void ModelScanner::leaveSharedFolders(QList<QStringList> &rootsOf)
{
    const QList<ModelSourceDefinition> &definitions = ModelSourceDefinition::all();
    QList<QStringList> realFolders;
    for (const QStringList &roots : std::as_const(rootsOf)) {
        realFolders.append(QStringList());
        for (const QString &root : roots)
            realFolders.last().append(ScanRoutines::realFolder(root));
    }
    const auto isShared = [&](qsizetype source, const QString &real) {
        for (qsizetype other = 0; other < realFolders.size(); ++other) {
            for (const QString &otherReal : other == source ? QStringList() : realFolders[other]) {
                if (otherReal == real ? other < source : ScanRoutines::reaches(otherReal, real))
                    return true;
            }
        }
        return false;
    };
    for (qsizetype source = 0; source < definitions.size(); ++source) {
        if (definitions[source].installation.isEmpty())
            continue;
        for (qsizetype r = rootsOf[source].size() - 1; r >= 0; --r) {
            if (isShared(source, realFolders[source][r])) {
                rootsOf[source].removeAt(r);
                realFolders[source].removeAt(r);
            }
        }
    }
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
