#pragma once

#include "support/TempHome.h"

#include <QByteArray>
#include <QList>
#include <QString>

// Ollama models in a temporary home, laid out as Ollama writes them: a manifest below
// manifests/registry.ollama.ai/ naming its blobs, the blobs in blobs/ as sha256-<hash>.
class OllamaFixture
{
public:
    struct Blob
    {
        QByteArray digest; // as the manifest states it, e.g. "sha256:ab"
        qint64 size = 1;   // as the manifest states it and as the blob file holds it
    };

    explicit OllamaFixture(const TempHome &home, const QString &store = QStringLiteral(".ollama/models"))
        : m_home(home), m_store(store)
    {
    }

    // Writes the manifest of `model` ("library/llama3/latest"), the first blob as config,
    // and a file for each blob whose digest is a plain "sha256:<hash>" unless told not to.
    QString addModel(const QString &model, const QList<Blob> &blobs, bool writeBlobs = true) const;
    // The manifest text itself, with the keys Ollama writes beside the ones read here.
    static QByteArray manifest(const QList<Blob> &blobs);

private:
    const TempHome &m_home;
    QString m_store;
};
