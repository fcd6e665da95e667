#include "scanning/OllamaStore.h"

#include "catalogue/ModelSourceDefinition.h"
#include "scanning/ScanRoutines.h"

#include <QDir>

namespace {
// Cleaned, so paths found below it begin with exactly this text.
QString below(const QString &folder, const QString &name)
{
    return QDir::cleanPath(folder + QLatin1Char('/') + name);
}
} // namespace

QString OllamaStore::manifestsDir() const
{
    return below(modelsDir, QStringLiteral("manifests"));
}

QString OllamaStore::blobsDir() const
{
    return below(modelsDir, QStringLiteral("blobs"));
}

QString OllamaStore::registryDir() const
{
    return below(manifestsDir(), QString::fromUtf16(SourceFolders::ollamaRegistryHost));
}

OllamaStore OllamaStore::userStore()
{
    return {ScanRoutines::homePath(QStringLiteral(".ollama/models"))};
}
