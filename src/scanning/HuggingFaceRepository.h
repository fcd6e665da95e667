#pragma once

#include "scanning/DirectoryWalker.h"
#include "scanning/FileAttributes.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

// One repository of a cache in the Hugging Face layout (models--ORG--NAME, datasets--,
// spaces--), as the Hugging Face library and llama.cpp write it: the files once in
// blobs/, one folder per revision in snapshots/ holding links into blobs/ (or, where no
// link could be made, the files themselves), and refs/ files naming the revisions that
// branches and tags point at. Read without following any link and without opening
// anything but small regular ref files.
class HuggingFaceRepository
{
public:
    struct File
    {
        std::optional<QString> path; // nothing when the name is not text
        FileAttributes attributes;
    };
    struct Revision
    {
        QString name; // the commit its folder is named after
        QString path;
        bool named = true;             // a ref names it
        // The names in blobs/ its links lead to, each once, sorted (known only when links
        // were read); a name may be of no finished blob (a link left dangling).
        QList<QByteArray> blobs = {};
        QList<File> files = {};        // the regular files it holds itself
    };

    // Takes an entry of blobs/ that is an unfinished download (it is then no blob).
    using DownloadFilter = std::function<bool(const DirectoryWalker::Entry &)>;
    // Reads the repository folder at `path`. Links are read only when some revision is
    // old, or always with `readLinks`.
    static HuggingFaceRepository read(const QString &path, const DownloadFilter &isUnfinished = {},
                                      bool readLinks = false);

    // False when there is a single revision (it is the current one), no refs/ folder, refs/
    // names no revision, or one of its refs cannot be read or names a revision that is not
    // there: then every revision counts as named, as nothing tells the current from the old.
    bool refsNameRevisions() const { return m_refsNameRevisions; }
    const QList<Revision> &revisions() const { return m_revisions; }
    // The finished blobs, by their name in blobs/.
    const QHash<QByteArray, FileAttributes> &blobs() const { return m_blobs; }
    QString blobsPath() const { return m_path + QStringLiteral("/blobs"); }
    // A blob's path, or nothing when its name is not text.
    std::optional<QString> blobPath(const QByteArray &name) const;

    // The blobs that the links of no revision but this one lead to.
    QList<QByteArray> blobsOnlyUsedBy(const Revision &revision) const;
    // How many revisions link to the blob.
    int usersOf(const QByteArray &blob) const { return m_users.value(blob); }
    const Revision *revision(const QString &name) const;

private:
    void readRefs();
    void readBlobs(const DownloadFilter &isUnfinished);
    void readRevision(Revision &revision, bool readLinks);
    std::optional<QByteArray> blobOfLink(const QByteArray &folder, const QByteArray &target,
                                         const QByteArray &revisionFolder) const;

    QString m_path;
    QByteArray m_blobsPrefix; // "<repository>/blobs/", as the walk spells it
    bool m_refsNameRevisions = false;
    QStringList m_namedCommits;
    QList<Revision> m_revisions;
    QHash<QByteArray, FileAttributes> m_blobs;
    QHash<QByteArray, int> m_users;
    mutable std::optional<QString> m_realBlobs; // looked up only for a link that needs it
};
