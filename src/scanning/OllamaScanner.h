#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/OllamaStore.h"
#include "scanning/OllamaStoreLocator.h"

#include <QList>
#include <QStringList>

// Lists the models pulled into stores in Ollama's layout from Ollama's default public
// registry: one model per manifest file, its files the manifest and the blobs it names
// that exist, its source the application keeping the store. Never fails, never reports:
// an unreadable, undecodable or misplaced manifest is passed over.
class OllamaScanner
{
public:
    explicit OllamaScanner(QList<OllamaStore> stores = OllamaStoreLocator::forThisMachine().allStores());

    // Stores in order, each reached by the same real path only once; within a store, the
    // manifests in walk order.
    QList<DetectedModel> scan() const;

    // The model folders of the stores one application keeps, each real folder once.
    QStringList roots(SourceTool::Kind source) const;

    // The models of one store, its manifests in walk order.
    static QList<DetectedModel> scanStore(const OllamaStore &store);

private:

    QList<OllamaStore> m_stores;
};
