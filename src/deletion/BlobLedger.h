#pragma once

#include "scanning/OllamaStore.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>
#include <variant>

// The blob references of every Ollama store that keeps its blobs in one real folder
// (stores may reach one blobs folder through a link, a bind mount or another path),
// counted once for a whole deletion and brought up to date as models leave, so a blob
// goes only with the last model that needs it and never while another store's does.
class BlobLedger
{
public:
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

private:
    QList<OllamaStore> m_stores;
    QHash<QString, qint64> m_counts;
};
