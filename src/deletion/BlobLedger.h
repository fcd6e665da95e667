#pragma once

#include "scanning/OllamaStore.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <map>
#include <optional>
#include <variant>
#include <sys/types.h>

// The blob references of every Ollama store that keeps its blobs in one real folder
// (stores may reach one blobs folder through a link, a bind mount or another path),
// counted once for a whole deletion and brought up to date as models leave, so a blob
// goes only with the last model that needs it and never while another store's does.
class BlobLedger
{
public:
    // A blobs folder as the drive knows it: every path that reaches it gives the same key.
    using FolderKey = std::pair<dev_t, ino_t>;
    struct SharedFolder
    {
        std::optional<FolderKey> key; // none when the blobs folder does not exist
        QList<OllamaStore> stores;
    };
    // The stores grouped by the real folder of their blobs. The map's order is fixed, so
    // every deletion takes the groups' locks in the same order and two never wait on each other.
    static std::map<QString, SharedFolder> byBlobsFolder(const QList<OllamaStore> &stores);
    static std::optional<FolderKey> keyOf(const QString &folder);

    // `stores` share one blobs folder; a manifests folder reached twice is counted once.
    explicit BlobLedger(QList<OllamaStore> stores);

    // Reads every manifest of every store; the reason when one cannot be read.
    std::optional<QString> count();

    // What a model takes away: its manifests, the blobs only they still need, and the
    // references to give up once they have moved.
    struct Claim
    {
        QStringList paths;
        QHash<QString, qint64> references;
    };
    // The claim of these manifests of `store`, or why nothing of them may move.
    std::variant<Claim, QString> claim(const OllamaStore &store, const QStringList &manifests) const;
    // The claim's manifests have moved: their references no longer hold anything.
    void release(const Claim &claim);

    // True when a counted manifest names the blob file of that name.
    bool isNamed(const QString &blobName) const { return m_counts.value(blobName) > 0; }

private:
    QList<OllamaStore> m_stores;
    QHash<QString, qint64> m_counts;
};
