#include "scanning/ScanRoutines.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/UnfinishedDownloads.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace ScanRoutines {

bool rootExists(const QString &path)
{
    return QFileInfo::exists(path);
}

QString homePath(const QString &relative)
{
    return QDir::homePath() + QLatin1Char('/') + relative;
}

namespace {
bool hasAcceptedExtension(QByteArrayView name, const QList<QByteArray> &extensions)
{
    const QByteArrayView extension = DirectoryWalker::extension(name);
    if (extension.isEmpty())
        return false;
    const bool ascii = std::all_of(extension.begin(), extension.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
        return std::any_of(extensions.begin(), extensions.end(), [&](const QByteArray &accepted) {
            return extension.compare(accepted, Qt::CaseInsensitive) == 0;
        });
    }
    // Full Unicode lower-casing can turn a non-ASCII letter into an ASCII one.
    const QByteArray lowered = QFile::decodeName(extension.toByteArray()).toLower().toUtf8();
    return extensions.contains(lowered);
}

QString withoutExtension(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}
} // namespace

namespace {
// Adds a sidecar file to the model whose file it is named after; false when it names none.
bool addSidecar(const DirectoryWalker::Entry &entry, const QList<QByteArray> &suffixes,
                const QHash<QByteArray, qsizetype> &modelOfFile, QList<DetectedModel> &models)
{
    for (const QByteArray &suffix : suffixes) {
        if (!entry.name().endsWith(suffix))
            continue;
        const QByteArray native = entry.nativePath();
        const auto found = modelOfFile.constFind(native.first(native.size() - suffix.size()));
        if (found == modelOfFile.constEnd())
            continue;
        const FileAttributes attributes = entry.attributes();
        addWalkedFile(models[*found], entry, attributes, attributes.size);
        return true;
    }
    return false;
}
} // namespace

std::optional<SplitPart> SplitPart::parse(QByteArrayView fileName)
{
    // "-00001-of-00003.gguf": 5 digits, "-of-", 5 digits, the extension.
    constexpr qsizetype digits = 5, tail = 1 + digits + 4 + digits + 5;
    if (fileName.size() <= tail)
        return std::nullopt;
    const QByteArrayView end = fileName.last(tail);
    const auto number = [](QByteArrayView text) {
        int value = 0;
        for (const char c : text) {
            if (c < '0' || c > '9')
                return -1;
            value = value * 10 + (c - '0');
        }
        return value;
    };
    const int index = number(end.sliced(1, digits)), count = number(end.sliced(1 + digits + 4, digits));
    if (end.front() != '-' || end.sliced(1 + digits, 4).compare("-of-", Qt::CaseInsensitive) != 0
        || end.last(5).compare(".gguf", Qt::CaseInsensitive) != 0 || count < 2 || index < 1 || index > count)
        return std::nullopt;
    return SplitPart{fileName.first(fileName.size() - tail).toByteArray(), index, count};
}

namespace {
// The split models of one walk: each joined once per folder, prefix and part count.
class SplitModels
{
public:
    // The model a part belongs to, made (named after the prefix) when it is the first part met.
    qsizetype modelOf(const DirectoryWalker::Entry &entry, const SplitPart &part, const SourceTool &source,
                      QList<DetectedModel> &models)
    {
        const QByteArray key = entry.folderNativePath() + '/' + part.prefix + '/' + QByteArray::number(part.count);
        auto found = m_index.constFind(key);
        if (found == m_index.constEnd()) {
            found = m_index.insert(key, models.size());
            DetectedModel model = DetectedModel::create(QString::fromUtf8(part.prefix), source, {}, 0, distantPast());
            model.partCount = part.count;
            models.append(model);
        }
        m_partsFound[*found].insert(part.index);
        return *found;
    }

    // Names the parts of each split model that the walk did not meet.
    void noteMissingParts(QList<DetectedModel> &models) const
    {
        for (auto it = m_partsFound.cbegin(); it != m_partsFound.cend(); ++it) {
            DetectedModel &model = models[it.key()];
            for (int part = 1; part <= model.partCount; ++part) {
                if (!it.value().contains(part))
                    model.missingParts.append(part);
            }
        }
    }

private:
    QHash<QByteArray, qsizetype> m_index;
    QHash<qsizetype, QSet<int>> m_partsFound;
};
} // namespace

QList<DetectedModel> scanModelFiles(const QString &root, const QStringList &extensions,
                                    const SourceTool &source, const QStringList &sidecarSuffixes,
                                    const QList<UnfinishedDownloadNames> &unfinished,
                                    const DirectoryWalker::FolderFilter &enter)
{
    UnfinishedDownloads downloads(unfinished, source);
    QList<QByteArray> accepted;
    for (const QString &extension : extensions)
        accepted.append(extension.toUtf8());
    QList<QByteArray> sidecars;
    for (const QString &suffix : sidecarSuffixes)
        sidecars.append(QFile::encodeName(suffix));
    // A model file's sidecars sort after it in its folder (its name is their prefix).
    QHash<QByteArray, qsizetype> modelOfFile;
    SplitModels split;

    QList<DetectedModel> models;
    DirectoryWalker::walk(root, [&](const DirectoryWalker::Entry &entry) {
        if (downloads.take(entry, QString::fromUtf8(entry.name())))
            return;
        if (!sidecars.isEmpty() && entry.type() == DirectoryWalker::EntryType::regular
            && addSidecar(entry, sidecars, modelOfFile, models))
            return;
        if (!hasAcceptedExtension(entry.name(), accepted))
            return;
        if (entry.type() != DirectoryWalker::EntryType::regular)
            return;
        const FileAttributes attributes = entry.attributes();
        if (const std::optional<SplitPart> part = SplitPart::parse(entry.name())) {
            const qsizetype index = split.modelOf(entry, *part, source, models);
            addWalkedFile(models[index], entry, attributes, attributes.size);
            if (!sidecars.isEmpty())
                modelOfFile.insert(entry.nativePath(), index);
            return;
        }
        const std::optional<QString> path = entry.path();
        if (!path) {
            // Listed so the user knows it is there, with no path anything could act on.
            DetectedModel model = DetectedModel::create(withoutExtension(QString::fromUtf8(entry.name())), source, {},
                                                        attributes.size, attributes.modified);
            model.problem = unrepresentableNameProblem(entry.nativePath());
            models.append(model);
            return;
        }
        const QString name = withoutExtension(QFileInfo(*path).fileName());
        if (!sidecars.isEmpty())
            modelOfFile.insert(entry.nativePath(), models.size());
        DetectedModel model = DetectedModel::create(name, source, {*path}, attributes.size, attributes.modified);
        model.offerPrimaryFile(*path, attributes.size);
        models.append(model);
    }, enter);
    split.noteMissingParts(models);
    return models + downloads.leftovers();
}

QList<DetectedModel> scanModelTree(const QString &root, const SourceTool &source,
                                   const QList<UnfinishedDownloadNames> &unfinished)
{
    using EntryType = DirectoryWalker::EntryType;
    UnfinishedDownloads downloads(unfinished, source);
    QList<DetectedModel> models;
    const auto publishers = DirectoryWalker::list(root);
    if (!publishers)
        return models;
    for (const DirectoryWalker::ListedEntry &publisher : *publishers) {
        if (publisher.type != EntryType::directory)
            continue;
        const auto modelFolders = DirectoryWalker::list(publisher.path);
        if (!modelFolders)
            continue;
        for (const DirectoryWalker::ListedEntry &folder : *modelFolders) {
            if (folder.type != EntryType::directory)
                continue;
            if (std::optional<DetectedModel> model = makeDirectoryModel(folder.path, source, &downloads))
                models.append(*model);
        }
    }
    return models + downloads.leftovers();
}

std::optional<DetectedModel> makeDirectoryModel(const QString &directory, const SourceTool &source,
                                                UnfinishedDownloads *downloads)
{
    const QString name = QFileInfo(directory).fileName();
    DetectedModel model = DetectedModel::create(name, source, {}, 0, distantPast());
    const bool walked = DirectoryWalker::walk(directory, [&](const DirectoryWalker::Entry &entry) {
        if (downloads && downloads->take(entry, name))
            return;
        if (entry.type() != DirectoryWalker::EntryType::regular)
            return;
        const FileAttributes attributes = entry.attributes();
        addWalkedFile(model, entry, attributes, attributes.size);
    });
    if (!walked || (model.filePaths.isEmpty() && model.problem.isEmpty()))
        return std::nullopt;
    return model;
}

QList<DetectedModel> scanFilesGroupedByFolder(const QString &root, const SourceTool &source,
                                              const QList<UnfinishedDownloadNames> &unfinished)
{
    UnfinishedDownloads downloads(unfinished, source);
    QList<DetectedModel> models; // one per folder, in the order the walk first meets them
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
        if (downloads.take(entry, QFileInfo(QString::fromUtf8(entry.folderNativePath())).fileName()))
            return;
        auto found = folderIndex.constFind(entry.folderNativePath());
        if (found == folderIndex.constEnd()) {
            found = folderIndex.insert(entry.folderNativePath(), models.size());
            const QString folder = QString::fromUtf8(entry.folderNativePath());
            models.append(DetectedModel::create(QFileInfo(folder).fileName(), source, {}, 0, distantPast()));
            if (QFile::encodeName(folder) != entry.folderNativePath())
                models.last().problem = unrepresentableNameProblem(entry.folderNativePath());
        }
        // Size and date come from the same single request.
        const FileAttributes attributes = entry.attributes();
        addWalkedFile(models[*found], entry, attributes, attributes.size);
    });
    return models + downloads.leftovers();
}

QList<DetectedModel> scanModelEntries(const QString &root, const QStringList &extensions, const SourceTool &source)
{
    QList<DetectedModel> models;
    const auto entries = DirectoryWalker::list(root);
    if (!entries)
        return models;
    for (const DirectoryWalker::ListedEntry &entry : *entries) {
        if (entry.type == DirectoryWalker::EntryType::directory) {
            if (std::optional<DetectedModel> model = makeDirectoryModel(entry.path, source))
                models.append(*model);
            continue;
        }
        const QString name = QFileInfo(entry.path).fileName();
        if (entry.type != DirectoryWalker::EntryType::regular || !extensions.contains(QFileInfo(name).suffix().toLower()))
            continue;
        const FileAttributes attributes = FileAttributes::read(entry.path);
        DetectedModel model = DetectedModel::create(withoutExtension(name), source, {entry.path}, attributes.size,
                                                    attributes.modified);
        model.offerPrimaryFile(entry.path, attributes.size);
        models.append(model);
    }
    return models;
}

void addWalkedFile(DetectedModel &model, const DirectoryWalker::Entry &file, const FileAttributes &attributes,
                   qint64 bytes)
{
    model.sizeBytes = addSizes(model.sizeBytes, bytes);
    model.lastModified = std::max(model.lastModified, attributes.modified);
    const std::optional<QString> path = file.path();
    if (!path) {
        if (model.problem.isEmpty())
            model.problem = unrepresentableNameProblem(file.nativePath()); // moving the rest would split the model
        return;
    }
    model.filePaths.append(*path);
    if (file.type() == DirectoryWalker::EntryType::regular)
        model.offerPrimaryFile(*path, attributes.size);
}

QStringList distinctRoots(const QStringList &roots)
{
    QStringList kept;
    QStringList seenRealPaths;
    for (const QString &root : roots) {
        const QString identity = realFolder(root);
        if (seenRealPaths.contains(identity))
            continue;
        seenRealPaths.append(identity);
        kept.append(root);
    }
    return kept;
}

QStringList outermostRoots(const QStringList &roots)
{
    QStringList realPaths;
    for (const QString &root : roots)
        realPaths.append(realFolder(root));
    QStringList kept;
    for (qsizetype i = 0; i < roots.size(); ++i) {
        const bool inAnother = std::any_of(realPaths.begin(), realPaths.end(), [&](const QString &outer) {
            return outer != realPaths[i] && reaches(outer, realPaths[i]);
        });
        if (!inAnother)
            kept.append(roots[i]);
    }
    return kept;
}

QString realFolder(const QString &path)
{
    const QString real = QFileInfo(path).canonicalFilePath();
    return real.isEmpty() ? QDir::cleanPath(path) : real;
}

bool reaches(const QString &outer, const QString &inner)
{
    if (inner == outer)
        return true;
    const QString prefix = outer.endsWith(u'/') ? outer : outer + u'/';
    if (!inner.startsWith(prefix))
        return false;
    const QStringList below = inner.sliced(prefix.size()).split(u'/');
    return std::none_of(below.begin(), below.end(), [](const QString &part) { return part.startsWith(u'.'); });
}

} // namespace ScanRoutines
