#include "catalogue/ModelDetails.h"

#include <QJsonValue>
#include <QLocale>
#include <QStringDecoder>

#include <limits>

namespace {

struct FormatName
{
    ModelDetails::Format format;
    QLatin1StringView key;
};
constexpr FormatName formatNames[] = {
    {ModelDetails::Format::gguf, QLatin1StringView("gguf")},
    {ModelDetails::Format::safetensors, QLatin1StringView("safetensors")},
    {ModelDetails::Format::ollama, QLatin1StringView("ollama")},
};

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonValue countOrNull(const std::optional<qint64> &count)
{
    return count ? QJsonValue(*count) : QJsonValue(QJsonValue::Null);
}

// A stated text, null or absent (both read as empty); nothing for anything else.
std::optional<QString> textField(const QJsonObject &object, const QString &name)
{
    const QJsonValue value = object.value(name);
    if (value.isNull() || value.isUndefined())
        return QString();
    const QString text = value.toString();
    if (!value.isString() || text.isEmpty() || ModelDetails::statedText(text.toUtf8()) != text)
        return std::nullopt;
    return text;
}

// A count written exactly (no fraction, not negative) or null; nothing for anything else.
std::optional<std::optional<qint64>> countField(const QJsonObject &object, const QString &name)
{
    const QJsonValue value = object.value(name);
    if (value.isNull())
        return std::optional<qint64>();
    constexpr qint64 absent = std::numeric_limits<qint64>::min();
    const qint64 count = value.toInteger(absent);
    if (!value.isDouble() || count == absent || count < 0)
        return std::nullopt;
    return std::optional<qint64>(count);
}

} // namespace

QString ModelDetails::statedText(QByteArrayView utf8)
{
    if (utf8.isEmpty() || utf8.size() > maximumTextSize)
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(utf8);
    if (decoder.hasError())
        return {};
    for (const QChar c : text) {
        if (c.category() == QChar::Other_Control)
            return {};
    }
    return text;
}

QString ModelDetails::formatKey() const
{
    for (const FormatName &entry : formatNames) {
        if (entry.format == format)
            return entry.key;
    }
    return {};
}

bool ModelDetails::isEmpty() const
{
    return architecture.isEmpty() && !parameters && quantization.isEmpty() && !contextLength && sizeLabel.isEmpty();
}

QString ModelDetails::parameterText(qint64 count)
{
    struct Unit { double size; QChar letter; };
    static const Unit units[] = {{1e12, u'T'}, {1e9, u'B'}, {1e6, u'M'}, {1e3, u'K'}};
    const QLocale locale;
    for (const Unit &unit : units) {
        // From just under the unit on, as it rounds: 999,960,000 reads as 1.0B, not 1000M.
        const double value = double(count) / unit.size;
        if (value >= 0.9995)
            return locale.toString(value, 'f', value < 99.95 ? 1 : 0) + unit.letter;
    }
    return locale.toString(count);
}

QString ModelDetails::contextText(qint64 tokens)
{
    const QLocale locale;
    constexpr qint64 kilo = 1024;
    if (tokens > 0 && tokens % (kilo * kilo) == 0)
        return QStringLiteral("%1M context").arg(locale.toString(tokens / (kilo * kilo)));
    if (tokens > 0 && tokens % kilo == 0)
        return QStringLiteral("%1K context").arg(locale.toString(tokens / kilo));
    return QStringLiteral("%1 context").arg(locale.toString(tokens));
}

QString ModelDetails::summary() const
{
    QStringList parts;
    if (!architecture.isEmpty())
        parts.append(architecture);
    if (parameters)
        parts.append(parameterText(*parameters));
    else if (!sizeLabel.isEmpty())
        parts.append(sizeLabel);
    if (!quantization.isEmpty())
        parts.append(quantization);
    if (contextLength)
        parts.append(contextText(*contextLength));
    return parts.join(QStringLiteral(" \u00b7 "));
}

ModelDetails ModelDetails::completedBy(const ModelDetails &other) const
{
    ModelDetails completed = *this;
    const auto fill = [](QString &mine, const QString &theirs) {
        if (mine.isEmpty())
            mine = theirs;
    };
    fill(completed.architecture, other.architecture);
    fill(completed.quantization, other.quantization);
    fill(completed.sizeLabel, other.sizeLabel);
    fill(completed.name, other.name);
    if (!completed.parameters)
        completed.parameters = other.parameters;
    if (!completed.contextLength)
        completed.contextLength = other.contextLength;
    return completed;
}

QJsonObject ModelDetails::toJson() const
{
    QJsonObject object{
        {QStringLiteral("format"), formatKey()},
        {QStringLiteral("architecture"), textOrNull(architecture)},
        {QStringLiteral("parameters"), countOrNull(parameters)},
        {QStringLiteral("quantization"), textOrNull(quantization)},
        {QStringLiteral("contextLength"), countOrNull(contextLength)},
    };
    if (!sizeLabel.isEmpty())
        object.insert(QStringLiteral("sizeLabel"), sizeLabel);
    if (!name.isEmpty())
        object.insert(QStringLiteral("name"), name);
    return object;
}

std::optional<ModelDetails> ModelDetails::fromJson(const QJsonObject &object)
{
    ModelDetails details;
    const QString key = object.value(QStringLiteral("format")).toString();
    const auto format = std::find_if(std::begin(formatNames), std::end(formatNames),
                                     [&](const FormatName &entry) { return entry.key == key; });
    const auto architecture = textField(object, QStringLiteral("architecture"));
    const auto quantization = textField(object, QStringLiteral("quantization"));
    const auto sizeLabel = textField(object, QStringLiteral("sizeLabel"));
    const auto name = textField(object, QStringLiteral("name"));
    const auto parameters = countField(object, QStringLiteral("parameters"));
    const auto contextLength = countField(object, QStringLiteral("contextLength"));
    if (format == std::end(formatNames) || !architecture || !quantization || !sizeLabel || !name || !parameters
        || !contextLength)
        return std::nullopt;
    details.format = format->format;
    details.architecture = *architecture;
    details.quantization = *quantization;
    details.sizeLabel = *sizeLabel;
    details.name = *name;
    details.parameters = *parameters;
    details.contextLength = *contextLength;
    return details;
}
