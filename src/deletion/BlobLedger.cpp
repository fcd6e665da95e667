#include "deletion/BlobLedger.h"

#include "deletion/BlobReferenceManager.h"

#include <QFile>

#include <set>

#include <sys/stat.h>

namespace {
// A manifests folder reached by two paths holds one set of references, not two.
QList<OllamaStore> withDistinctManifests(const QList<OllamaStore> &stores)
{
    std::set<std::pair<dev_t, ino_t>> seen;
    QList<OllamaStore> distinct;
    for (const OllamaStore &store : stores) {
        struct stat info {};
        // A folder that cannot be looked at is counted, and its count says what is wrong.
        if (::stat(QFile::encodeName(store.manifestsDir()).constData(), &info) != 0
            || seen.insert({info.st_dev, info.st_ino}).second)
            distinct.append(store);
    }
    return distinct;
}
} // namespace

std::optional<BlobLedger::FolderKey> BlobLedger::keyOf(const QString &folder)
{
    struct stat info {};
    if (::stat(QFile::encodeName(folder).constData(), &info) != 0)
        return std::nullopt;
    return FolderKey{info.st_dev, info.st_ino};
}

std::map<QString, BlobLedger::SharedFolder> BlobLedger::byBlobsFolder(const QList<OllamaStore> &stores)
{
    std::map<QString, SharedFolder> groups;
    for (const OllamaStore &store : stores) {
        const std::optional<FolderKey> key = keyOf(store.blobsDir());
        const QString name = key ? QStringLiteral("%1:%2").arg(quint64(key->first), 20, 10, QLatin1Char('0')).arg(quint64(key->second))
                                 : QStringLiteral("path:") + store.blobsDir();
        SharedFolder &group = groups[name];
        group.key = key;
        group.stores.append(store);
    }
    return groups;
}

BlobLedger::BlobLedger(QList<OllamaStore> stores) : m_stores(std::move(stores))
{
}

std::optional<QString> BlobLedger::count()
{
    m_counts.clear();
    for (const OllamaStore &store : withDistinctManifests(m_stores)) {
        QString error;
        const auto counts = BlobReferenceManager(store).referenceCounts(&error);
        if (!counts)
            return error;
        for (auto it = counts->cbegin(); it != counts->cend(); ++it)
            m_counts[it.key()] += it.value();
    }
    return std::nullopt;
}

std::variant<BlobLedger::Claim, QString> BlobLedger::claim(const OllamaStore &store, const QStringList &manifests) const
{
    const BlobReferenceManager manager(store);
    QString error;
    const auto references = manager.referencesOf(manifests, &error);
    if (!references)
        return error;
    return Claim{manifests + manager.blobsHeldOnlyBy(*references, m_counts), references->counts};
}

void BlobLedger::release(const Claim &claim)
{
    for (auto it = claim.references.cbegin(); it != claim.references.cend(); ++it)
        m_counts[it.key()] -= it.value();
}
