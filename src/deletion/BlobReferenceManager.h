#pragma once

#include "scanning/OllamaStore.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>

// Counts how many manifest references each blob of one Ollama store has, so that
// deleting models frees only the blobs no surviving manifest needs. Unlike the scanner,
// which passes over a bad manifest, one manifest that cannot be read or decoded fails the
// whole count: a blob must never go to the Trash on a guess. Reads only, keeps no cache.
class BlobReferenceManager
{
public:
    BlobReferenceManager(const QString &manifestsDir, const QString &blobsDir);
    explicit BlobReferenceManager(const OllamaStore &store);

    QString manifestsDir() const { return m_manifestsDir; }
    QString blobsDir() const { return m_blobsDir; }

    // Blob file name -> number of digest references to it across every regular,
    // non-hidden manifest file at any depth below the manifests folder (every registry
    // host). A missing manifests folder gives an empty map. On failure `error` names the
    // file or folder that could not be read: a manifest that does not decode, a folder of
    // the tree that cannot be listed (its manifests might share blobs), or a link that
    // leads outside the tree (Ollama reads manifests through it; the count cannot).
    std::optional<QHash<QString, qint64>> referenceCounts(QString *error = nullptr) const;

    // True for the manifests folder itself and anything below it, comparing cleaned paths.
    bool isInsideManifests(const QString &path) const;

    // The existing blob files that only the given manifests reference: those whose
    // references from these manifests equal their count in `counts` (from
    // referenceCounts()). Every path given must lie inside the manifests folder and
    // decode, or the call fails; a manifest given twice counts once. Blobs are returned
    // in the order the manifests first name them.
    std::optional<QStringList> exclusiveBlobs(const QStringList &manifestPaths, const QHash<QString, qint64> &counts,
                                              QString *error = nullptr) const;

    // The references the given manifests hold, by blob file name, with the names in the
    // order the manifests first name them. The same rules as exclusiveBlobs().
    struct References
    {
        QHash<QString, qint64> counts;
        QStringList order;
    };
    std::optional<References> referencesOf(const QStringList &manifestPaths, QString *error = nullptr) const;

    // The existing blobs among `references` whose every reference in `counts` they hold.
    QStringList blobsHeldOnlyBy(const References &references, const QHash<QString, qint64> &counts) const;

private:
    QString m_manifestsDir;
    QString m_blobsDir;
};
