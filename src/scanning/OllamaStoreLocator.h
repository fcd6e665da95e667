#pragma once

#include "scanning/OllamaStore.h"

#include <QList>
#include <QString>

// Finds the stores in Ollama's layout on this machine. Ollama's own: the user's
// (~/.ollama/models), the one named by OLLAMA_MODELS in Stashwell's environment, the one
// named by OLLAMA_MODELS in the ollama.service systemd unit or its drop-ins, and the
// system service's default (/usr/share/ollama/.ollama/models); and those of every other
// application that keeps one (AnythingLLM's own Ollama).
//
// Stores are listed whether or not their folder exists: scanning a missing store costs
// one failed open, and the permission probe needs the candidates it cannot see into
// (a store below a home folder closed to other users does not even appear to exist).
class OllamaStoreLocator
{
public:
    struct Inputs
    {
        QString userModelsDir;        // ~/.ollama/models
        QString serviceModelsDir;     // the system service user's default store
        QString environmentModelsDir; // OLLAMA_MODELS of this process; empty when unset
        QString serviceUnitFile;      // ollama.service
        QString serviceDropInDir;     // ollama.service.d, whose *.conf files override the unit
    };

    explicit OllamaStoreLocator(Inputs inputs) : m_inputs(std::move(inputs)) {}
    static OllamaStoreLocator forThisMachine();

    // Ollama's stores, each once (by real path), the user's first, then the environment's,
    // the service unit's and the system default. A relative OLLAMA_MODELS is ignored, as
    // it would depend on the folder the other program was started in.
    QList<OllamaStore> stores() const;
    // The stores of the other applications keeping one: the table's ollamaManifests
    // entries other than Ollama, at their folders, in table order.
    static QList<OllamaStore> applicationStores();
    // Every store in Ollama's layout: Ollama's, then the other applications'.
    QList<OllamaStore> allStores() const { return stores() + applicationStores(); }

    // OLLAMA_MODELS as the service unit and its drop-ins set it, or empty.
    QString serviceUnitModelsDir() const;

private:
    Inputs m_inputs;
};
