#include "details/OllamaConfigReader.h"

#include "files/RegularFile.h"

#include <QJsonDocument>
#include <QJsonObject>

std::optional<ModelDetails> OllamaConfigReader::read(const QString &path)
{
    const std::optional<QByteArray> bytes = RegularFile::readSmall(path, maximumFileSize);
    return bytes ? decode(*bytes) : std::nullopt;
}

std::optional<ModelDetails> OllamaConfigReader::decode(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject config = document.object();
    const auto text = [&](const char *key) {
        return ModelDetails::statedText(config.value(QLatin1StringView(key)).toString().toUtf8());
    };
    ModelDetails details;
    details.format = ModelDetails::Format::ollama;
    details.architecture = text("model_family");
    details.sizeLabel = text("model_type");
    details.quantization = text("file_type");
    const qint64 context = config.value(QStringLiteral("context_length")).toInteger(-1);
    if (context > 0)
        details.contextLength = context;
    if (details.isEmpty())
        return std::nullopt;
    return details;
}
