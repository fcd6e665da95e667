#include "scanning/StoreDigest.h"

#include "catalogue/ModelSourceDefinition.h"
#include "files/RegularFile.h"

#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <cctype>

namespace StoreDigest {

namespace {
constexpr qint64 modelYmlMaximumSize = 64 * 1024;

std::optional<QByteArray> fromHex(QByteArrayView text)
{
    const bool hex = text.size() == 64 && std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(uchar(c)); });
    if (!hex)
        return std::nullopt;
    return QByteArray::fromHex(text.toByteArray());
}

QByteArray unquoted(QByteArray value)
{
    value = value.trimmed();
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        value = value.sliced(1, value.size() - 2);
    return value;
}
} // namespace

std::optional<QByteArray> fromBlobName(const QString &fileName)
{
    const QString hex = fileName.startsWith(QLatin1String("sha256-")) ? fileName.sliced(7) : fileName;
    return fromHex(hex.toLatin1());
}

std::optional<QByteArray> fromModelYml(const QByteArray &yml, const QString &fileName)
{
    // Jan writes this file with serde_yaml: one "key: value" per line, plain or quoted
    // scalars. Only top-level keys holding a path or 64 hex digits are read, so a line
    // split is enough (a nested or commented key keeps its indent or "#" and matches
    // none); anything else simply yields no digest.
    QHash<QByteArray, QByteArray> values;
    for (const QByteArray &line : yml.split('\n')) {
        if (const qsizetype colon = line.indexOf(':'); colon > 0)
            values.insert(line.first(colon), unquoted(line.sliced(colon + 1)));
    }
    const QByteArray modelPath = values.value("model_path");
    const qsizetype slash = std::max(modelPath.lastIndexOf('/'), modelPath.lastIndexOf('\\'));
    if (modelPath.isEmpty() || QString::fromUtf8(modelPath.sliced(slash + 1)) != fileName)
        return std::nullopt;
    return fromHex(values.value("model_sha256", values.value("sha256")));
}

std::optional<QByteArray> of(const DetectedModel &model)
{
    const ModelSourceDefinition *definition = ModelSourceDefinition::find(model.sourceTool);
    if (!definition || model.primaryFile.isEmpty())
        return std::nullopt;
    const QFileInfo primary(model.primaryFile);
    switch (definition->namedDigest) {
    case NamedDigest::none:
        return std::nullopt;
    case NamedDigest::blobFileName:
        return fromBlobName(primary.fileName());
    case NamedDigest::modelYml: {
        const std::optional<QByteArray> yml = RegularFile::readSmall(primary.path() + QStringLiteral("/model.yml"), modelYmlMaximumSize);
        return yml ? fromModelYml(*yml, primary.fileName()) : std::nullopt;
    }
    }
    return std::nullopt;
}

} // namespace StoreDigest
