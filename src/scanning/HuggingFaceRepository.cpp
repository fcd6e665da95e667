#include "scanning/HuggingFaceRepository.h"

#include "files/RegularFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// A ref file holds one commit hash (40 hexadecimal characters); a larger one is no ref.
constexpr qint64 largestRefFile = 256;

// True for a real folder: a link in its place would lead out of the repository.
bool isRealFolder(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The commit a ref file names, or nothing when it is not a small regular file of text.
std::optional<QString> readRef(const QString &path)
{
    const auto opened = RegularFile::open(path);
    const RegularFile *file = std::get_if<RegularFile>(&opened);
    if (!file)
        return std::nullopt;
    char buffer[largestRefFile + 1]; // one byte more tells a larger file
    const ssize_t length = ::pread(file->descriptor(), buffer, sizeof buffer, 0);
    if (length <= 0 || length > largestRefFile)
        return std::nullopt;
    const QString commit = QString::fromUtf8(buffer, length).trimmed();
    if (commit.isEmpty())
        return std::nullopt;
    return commit;
}
} // namespace

HuggingFaceRepository HuggingFaceRepository::read(const QString &path, const DownloadFilter &isUnfinished,
                                                  bool readLinks)
{
    HuggingFaceRepository repository;
    repository.m_path = path;
    repository.m_blobsPrefix = QFile::encodeName(repository.blobsPath()) + '/';
    repository.readBlobs(isUnfinished);
    const QString snapshots = path + QStringLiteral("/snapshots");
    if (isRealFolder(snapshots)) {
        for (const DirectoryWalker::ListedEntry &entry : DirectoryWalker::list(snapshots).value_or(QList<DirectoryWalker::ListedEntry>())) {
            // A link in a revision's place is never entered, so it holds nothing here.
            if (entry.type == DirectoryWalker::EntryType::directory)
                repository.m_revisions.append({QFileInfo(entry.path).fileName(), entry.path});
        }
    }
    // With one revision there is nothing to tell apart: it is the current one.
    if (repository.m_revisions.size() > 1)
        repository.readRefs();
    bool anyOld = false;
    for (Revision &revision : repository.m_revisions) {
        revision.named = !repository.m_refsNameRevisions || repository.m_namedCommits.contains(revision.name);
        anyOld = anyOld || !revision.named;
    }
    for (Revision &revision : repository.m_revisions)
        repository.readRevision(revision, readLinks || anyOld);
    return repository;
}

void HuggingFaceRepository::readRefs()
{
    const QString refs = m_path + QStringLiteral("/refs");
    if (!isRealFolder(refs))
        return;
    bool allName = true;
    DirectoryWalker::walk(refs, [&](const DirectoryWalker::Entry &entry) {
        if (entry.type() == DirectoryWalker::EntryType::directory)
            return;
        const std::optional<QString> path = entry.path();
        const std::optional<QString> commit = path ? readRef(*path) : std::nullopt;
        if (!commit || !revision(*commit))
            allName = false;
        else
            m_namedCommits.append(*commit);
    });
    m_refsNameRevisions = allName && !m_namedCommits.isEmpty();
}

void HuggingFaceRepository::readBlobs(const DownloadFilter &isUnfinished)
{
    if (!isRealFolder(blobsPath()))
        return;
    DirectoryWalker::walk(blobsPath(), [&](const DirectoryWalker::Entry &entry) {
        // An unfinished download is no blob; links and special files are never opened.
        if ((isUnfinished && isUnfinished(entry)) || entry.type() != DirectoryWalker::EntryType::regular)
            return;
        m_blobs.insert(entry.nativePath().sliced(m_blobsPrefix.size()), entry.attributes());
    });
}

void HuggingFaceRepository::readRevision(Revision &revision, bool readLinks)
{
    const QByteArray top = QFile::encodeName(revision.path);
    DirectoryWalker::walk(revision.path, [&](const DirectoryWalker::Entry &entry) {
        if (entry.type() == DirectoryWalker::EntryType::regular) {
            revision.files.append(File{entry.path(), entry.attributes()});
            return;
        }
        if (!readLinks || entry.type() != DirectoryWalker::EntryType::symlink)
            return;
        const std::optional<QByteArray> target = entry.linkTarget();
        const std::optional<QByteArray> blob = target ? blobOfLink(entry.folderNativePath(), *target, top) : std::nullopt;
        if (blob)
            revision.blobs.append(*blob);
    });
    // Each blob once, however many of the revision's files link to it.
    std::sort(revision.blobs.begin(), revision.blobs.end());
    revision.blobs.erase(std::unique(revision.blobs.begin(), revision.blobs.end()), revision.blobs.end());
    for (const QByteArray &blob : std::as_const(revision.blobs))
        ++m_users[blob];
}

std::optional<QByteArray> HuggingFaceRepository::blobOfLink(const QByteArray &folder, const QByteArray &target,
                                                           const QByteArray &revisionFolder) const
{
    // What the library writes: "../../blobs/<name>", one more "../" per folder below the
    // revision's, read without building any path.
    if (folder.startsWith(revisionFolder)) {
        static const QByteArray fromRevision("../../blobs/");
        const qsizetype below = folder.sliced(revisionFolder.size()).count('/');
        const QByteArray up = below == 0 ? fromRevision : QByteArray("../").repeated(below) + fromRevision;
        const QByteArrayView name = QByteArrayView(target).sliced(std::min(up.size(), target.size()));
        if (target.startsWith(up) && !name.isEmpty() && !name.contains('/') && name != "." && name != "..")
            return name.toByteArray();
    }
    const QByteArray joined = target.startsWith('/') ? target : folder + '/' + target;
    const QString text = QFile::decodeName(joined);
    if (QFile::encodeName(text) != joined)
        return std::nullopt;
    const QString clean = QDir::cleanPath(text);
    const QByteArray native = QFile::encodeName(clean);
    if (native.startsWith(m_blobsPrefix) && native.size() > m_blobsPrefix.size())
        return native.sliced(m_blobsPrefix.size());
    // An absolute link may reach the repository by another path (through a link on the
    // way to the cache): it leads to a blob when its folder is the real blobs folder.
    if (!m_realBlobs)
        m_realBlobs = QFileInfo(blobsPath()).canonicalFilePath();
    const QFileInfo linked(clean);
    if (!m_realBlobs->isEmpty() && linked.canonicalPath() == *m_realBlobs)
        return QFile::encodeName(linked.fileName());
    return std::nullopt;
}

std::optional<QString> HuggingFaceRepository::blobPath(const QByteArray &name) const
{
    const QByteArray native = m_blobsPrefix + name;
    const QString path = QFile::decodeName(native);
    if (QFile::encodeName(path) != native)
        return std::nullopt;
    return path;
}

QList<QByteArray> HuggingFaceRepository::blobsOnlyUsedBy(const Revision &revision) const
{
    QList<QByteArray> only;
    for (const QByteArray &blob : revision.blobs) {
        if (m_users.value(blob) == 1 && m_blobs.contains(blob))
            only.append(blob);
    }
    return only;
}

const HuggingFaceRepository::Revision *HuggingFaceRepository::revision(const QString &name) const
{
    for (const Revision &revision : m_revisions) {
        if (revision.name == name)
            return &revision;
    }
    return nullptr;
}
