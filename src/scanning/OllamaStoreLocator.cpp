#include "scanning/OllamaStoreLocator.h"

#include "catalogue/ModelSourceDefinition.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/ScanRoutines.h"
#include "scanning/ServiceUnitEnvironment.h"

#include <QDir>

namespace {
const QString modelsVariable = QStringLiteral("OLLAMA_MODELS");
}

OllamaStoreLocator OllamaStoreLocator::forThisMachine()
{
    const QString unit = QStringLiteral("/etc/systemd/system/ollama.service");
    return OllamaStoreLocator({OllamaStore::userStore().modelsDir,
                               QStringLiteral("/usr/share/ollama/.ollama/models"),
                               qEnvironmentVariable(qPrintable(modelsVariable)), unit, unit + QStringLiteral(".d")});
}

QString OllamaStoreLocator::serviceUnitModelsDir() const
{
    return ServiceUnitEnvironment::read(m_inputs.serviceUnitFile, m_inputs.serviceDropInDir).value(modelsVariable);
}

QList<OllamaStore> OllamaStoreLocator::stores() const
{
    QStringList candidates{m_inputs.userModelsDir};
    for (const QString &named : {m_inputs.environmentModelsDir, serviceUnitModelsDir()}) {
        if (QDir::isAbsolutePath(named))
            candidates.append(named);
    }
    candidates.append(m_inputs.serviceModelsDir);
    candidates.removeAll(QString());

    QList<OllamaStore> stores;
    for (const QString &folder : ScanRoutines::distinctRoots(candidates))
        stores.append({QDir::cleanPath(folder)});
    return stores;
}

QList<OllamaStore> OllamaStoreLocator::applicationStores()
{
    QList<OllamaStore> stores;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all()) {
        if (definition.layout != ModelLayout::ollamaManifests || definition.storesFromOllamaLocator)
            continue;
        for (const QString &folder : ModelFolderResolver::folders(definition))
            stores.append({QDir::cleanPath(folder), definition.tool.kind()});
    }
    return stores;
}
