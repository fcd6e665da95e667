#include "deletion/BlobReferenceManager.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/OllamaManifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {
void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

void addReference(QHash<QString, qint64> &counts, const QString &blobName)
{
    qint64 &count = counts[blobName];
    if (__builtin_add_overflow(count, 1, &count))
        qFatal("blob reference count overflow");
}

// Adds one reference per digest that names a file inside the blobs folder; returns the
// names in the order they were first seen.
void addManifestReferences(const OllamaManifest &manifest, QHash<QString, qint64> &counts,
                           QStringList *firstSeen = nullptr)
{
    for (const QString &digest : manifest.allDigests()) {
        const std::optional<QString> name = OllamaManifest::blobFileName(digest);
        if (!name)
            continue;
        if (firstSeen && !counts.contains(*name))
            firstSeen->append(*name);
        addReference(counts, *name);
    }
}

// The walk passes over folders it cannot open; the count must not.
bool canListFolder(const QByteArray &nativePath)
{
    const int fd = ::open(nativePath.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

// Ollama reads manifests through links. One that leads to a place the walk counts itself
// (inside this tree, not hidden) adds nothing; one that leads elsewhere holds references no
// count sees, and blobs freed on that count could be ones it still needs. A link that
// leads nowhere, or round in a loop, names nothing Ollama could read either.
bool linkLeavesTree(const QByteArray &link, const QByteArray &realTree)
{
    const std::unique_ptr<char, decltype(&std::free)> target(::realpath(link.constData(), nullptr), &std::free);
    if (!target)
        return errno != ENOENT && errno != ELOOP; // what cannot be resolved otherwise is unknown
    const QByteArray real(target.get());
    if (real == realTree)
        return false;
    if (!real.startsWith(realTree + '/'))
        return true;
    const QList<QByteArray> parts = real.mid(realTree.size() + 1).split('/');
    return std::any_of(parts.begin(), parts.end(), [](const QByteArray &part) { return part.startsWith('.'); });
}

QString linkLeavingTree(const QString &path)
{
    return QStringLiteral("The Ollama manifests folder holds a link, \u201c%1\u201d, that leads outside it, so it is "
                          "unknown which blobs other models still use.")
        .arg(path);
}

QString unlistableFolder(const QString &path)
{
    return QStringLiteral("The Ollama manifests folder \u201c%1\u201d could not be read, so it is unknown "
                          "which blobs other models still use.")
        .arg(path);
}
} // namespace

BlobReferenceManager::BlobReferenceManager(const QString &manifestsDir, const QString &blobsDir)
    : m_manifestsDir(QDir::cleanPath(manifestsDir)), m_blobsDir(QDir::cleanPath(blobsDir))
{
}

BlobReferenceManager::BlobReferenceManager(const OllamaStore &store)
    : BlobReferenceManager(store.manifestsDir(), store.blobsDir())
{
}

std::optional<QHash<QString, qint64>> BlobReferenceManager::referenceCounts(QString *error) const
{
    using EntryType = DirectoryWalker::EntryType;
    QHash<QString, qint64> counts;
    if (!QFileInfo::exists(m_manifestsDir))
        return counts;

    std::optional<QString> failure;
    const std::unique_ptr<char, decltype(&std::free)> realTree(::realpath(QFile::encodeName(m_manifestsDir).constData(), nullptr),
                                                               &std::free);
    const bool walked = DirectoryWalker::walk(m_manifestsDir, [&](const DirectoryWalker::Entry &entry) {
        if (failure)
            return;
        switch (entry.type()) {
        case EntryType::directory:
            if (!canListFolder(entry.nativePath()))
                failure = unlistableFolder(QFile::decodeName(entry.nativePath()));
            return;
        case EntryType::unknown:
            failure = QStringLiteral("The Ollama manifest \u201c%1\u201d could not be examined.")
                          .arg(QFile::decodeName(entry.nativePath()));
            return;
        case EntryType::regular:
            break;
        case EntryType::symlink:
            if (!realTree || linkLeavesTree(entry.nativePath(), realTree.get()))
                failure = linkLeavingTree(QFile::decodeName(entry.nativePath()));
            return;
        default:
            return; // pipes, sockets, devices: never manifests
        }
        QString why;
        const std::optional<OllamaManifest> manifest = OllamaManifest::readNative(entry.nativePath(), &why);
        if (!manifest) {
            failure = why;
            return;
        }
        addManifestReferences(*manifest, counts);
    });
    if (!walked)
        failure = unlistableFolder(m_manifestsDir);
    if (failure) {
        setError(error, *failure);
        return std::nullopt;
    }
    return counts;
}

bool BlobReferenceManager::isInsideManifests(const QString &path) const
{
    const QString cleaned = QDir::cleanPath(path);
    if (cleaned == m_manifestsDir)
        return true;
    const QString prefix = m_manifestsDir.endsWith(QLatin1Char('/')) ? m_manifestsDir
                                                                      : m_manifestsDir + QLatin1Char('/');
    return cleaned.startsWith(prefix);
}

std::optional<QStringList> BlobReferenceManager::exclusiveBlobs(const QStringList &manifestPaths,
                                                                const QHash<QString, qint64> &counts,
                                                                QString *error) const
{
    const std::optional<References> references = referencesOf(manifestPaths, error);
    if (!references)
        return std::nullopt;
    return blobsHeldOnlyBy(*references, counts);
}

std::optional<BlobReferenceManager::References> BlobReferenceManager::referencesOf(const QStringList &manifestPaths,
                                                                                  QString *error) const
{
    References references;
    QStringList seenManifests;
    for (const QString &path : manifestPaths) {
        const QString cleaned = QDir::cleanPath(path);
        // A manifest from elsewhere is missing from the counts; its blobs could look unshared.
        if (cleaned == m_manifestsDir || !isInsideManifests(cleaned)) {
            setError(error, QStringLiteral("The file \u201c%1\u201d is not an Ollama manifest of the store "
                                           "at \u201c%2\u201d.")
                                .arg(path, m_manifestsDir));
            return std::nullopt;
        }
        if (seenManifests.contains(cleaned))
            continue;
        seenManifests.append(cleaned);
        const std::optional<OllamaManifest> manifest = OllamaManifest::read(cleaned, error);
        if (!manifest)
            return std::nullopt;
        addManifestReferences(*manifest, references.counts, &references.order);
    }
    return references;
}

QStringList BlobReferenceManager::blobsHeldOnlyBy(const References &references, const QHash<QString, qint64> &counts) const
{
    QStringList blobs;
    for (const QString &name : references.order) {
        const auto global = counts.constFind(name);
        if (global == counts.cend() || *global != references.counts.value(name))
            continue;
        const QString blob = m_blobsDir + QLatin1Char('/') + name;
        if (QFileInfo::exists(blob))
            blobs.append(blob);
    }
    return blobs;
}
