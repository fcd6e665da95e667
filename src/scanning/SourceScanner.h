#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"
#include "scanning/InstallationSearch.h"

#include <QList>
#include <QStringList>

class OllamaScanner;

// Scans one built-in model application from its definition alone: resolves its
// folders on this machine, walks each real folder once with the walk of the
// application's layout, and returns the models folder by folder.
class SourceScanner
{
public:
    // Ollama's stores come from the given Ollama scanner, which knows how to find them;
    // folders based on an installation are looked for in each of the application's
    // installations found.
    SourceScanner(const ModelSourceDefinition &definition, const OllamaScanner &ollama,
                  const Installations &installations = {})
        : m_definition(definition), m_ollama(ollama), m_installations(installations) {}

    // The folders of one installation of the application, or (installation empty) the
    // folders that belong to none.
    struct Place
    {
        QString installation;
        QStringList folders;
    };
    // Every installation's folders in the order found, then the others, in the
    // definition's order, whether they exist or not.
    QList<Place> places() const;

    // Every folder the application may keep models in here, each real folder once,
    // in the order of places(), whether it exists or not. When every file is a model
    // wherever it lies, a folder inside another is left out: the walk of the other finds it.
    QStringList roots() const;
    // The models of the given roots that exist, root by root.
    QList<DetectedModel> scan(const QStringList &roots) const;
    QList<DetectedModel> scan() const { return scan(roots()); }

private:
    QList<DetectedModel> walk(const QString &root) const;

    const ModelSourceDefinition &m_definition;
    const OllamaScanner &m_ollama;
    Installations m_installations;
};
