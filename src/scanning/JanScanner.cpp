#include "scanning/JanScanner.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/ScanRoutines.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStandardPaths>

QStringList JanScanner::roots() const
{
    const QStringList dataFolders{
        ScanRoutines::homePath(QStringLiteral("Library/Application Support/Jan/data")),
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Jan/data")};
    QStringList roots;
    for (const QString &data : dataFolders) {
        roots << data + QStringLiteral("/llamacpp/models") << data + QStringLiteral("/mlx/models");
    }
    return ScanRoutines::distinctRoots(roots);
}

QList<DetectedModel> JanScanner::scan() const
{
    QList<DetectedModel> models;
    for (const QString &root : roots()) {
        if (ScanRoutines::rootExists(root))
            models += scanFilesGroupedByFolder(root, SourceTool::Kind::jan);
    }
    return models;
}

namespace {
struct FolderFiles
{
    QString folder;
    QStringList files;
    qint64 size = 0;
    QDateTime latest;
    QString problem;
};
} // namespace

QList<DetectedModel> JanScanner::scanFilesGroupedByFolder(const QString &root, const SourceTool &source)
{
    QList<FolderFiles> folders;
    QHash<QByteArray, qsizetype> folderIndex;
    QByteArray rootPath = QFile::encodeName(root);
    while (rootPath.size() > 1 && rootPath.endsWith('/'))
        rootPath.chop(1);
    DirectoryWalker::walk(root, [&](const DirectoryWalker::Entry &entry) {
        // Links, special files and entries of unknown type all count as files here.
        if (entry.type() == DirectoryWalker::EntryType::directory)
            return;
        if (entry.folderNativePath() == rootPath)
            return;
        auto found = folderIndex.constFind(entry.folderNativePath());
        if (found == folderIndex.constEnd()) {
            found = folderIndex.insert(entry.folderNativePath(), folders.size());
            folders.append({QString::fromUtf8(entry.folderNativePath()), {}, 0, distantPast(), {}});
            if (QFile::encodeName(folders.last().folder) != entry.folderNativePath())
                folders.last().problem = unrepresentableNameProblem(entry.folderNativePath());
        }
        FolderFiles &folder = folders[*found];
        if (const std::optional<QString> path = entry.path())
            folder.files.append(*path);
        else if (folder.problem.isEmpty())
            folder.problem = unrepresentableNameProblem(entry.nativePath()); // moving the rest would split the model
        // Size and date come from the same single request.
        const FileAttributes attributes = entry.attributes();
        folder.size = addSizes(folder.size, attributes.size);
        if (attributes.modified > folder.latest)
            folder.latest = attributes.modified;
    });

    QList<DetectedModel> models;
    for (const FolderFiles &folder : folders) {
        DetectedModel model = DetectedModel::create(QFileInfo(folder.folder).fileName(), source,
                                                    folder.files, folder.size, folder.latest);
        model.problem = folder.problem;
        models.append(model);
    }
    return models;
}
