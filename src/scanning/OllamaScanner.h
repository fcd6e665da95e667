#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/OllamaStore.h"
#include "scanning/OllamaStoreLocator.h"

#include <QList>
#include <QStringList>

// Lists the models Ollama downloaded from its default public registry: one model per
// manifest file, its files the manifest and the blobs it names that exist. Never fails,
// never reports: an unreadable, undecodable or misplaced manifest is passed over.
class OllamaScanner
{
public:
    explicit OllamaScanner(QList<OllamaStore> stores = OllamaStoreLocator::forThisMachine().stores());

    // Stores in order, each reached by the same real path only once; within a store, the
    // manifests in walk order.
    QList<DetectedModel> scan() const;

    // The model folders of the stores, each real folder once.
    QStringList roots() const;

    // The models of one store, its manifests in walk order.
    static QList<DetectedModel> scanStore(const OllamaStore &store);

private:

    QList<OllamaStore> m_stores;
};
