#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"

#include <QList>
#include <QStringList>

class OllamaScanner;

// Scans one built-in model application from its definition alone: resolves its
// folders on this machine, walks each real folder once with the walk of the
// application's layout, and returns the models folder by folder.
class SourceScanner
{
public:
    // Ollama's stores come from the given Ollama scanner, which knows how to find them.
    SourceScanner(const ModelSourceDefinition &definition, const OllamaScanner &ollama)
        : m_definition(definition), m_ollama(ollama) {}

    // Every folder the application may keep models in here, each real folder once,
    // in the definition's order, whether it exists or not.
    QStringList roots() const;
    // The models of the given roots that exist, root by root.
    QList<DetectedModel> scan(const QStringList &roots) const;
    QList<DetectedModel> scan() const { return scan(roots()); }

private:
    QList<DetectedModel> walk(const QString &root) const;

    const ModelSourceDefinition &m_definition;
    const OllamaScanner &m_ollama;
};
