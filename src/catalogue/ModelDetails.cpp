#include "catalogue/ModelDetails.h"

#include <QJsonValue>
#include <QLocale>
#include <QStringDecoder>

#include <algorithm>
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

bool hasControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.category() == QChar::Other_Control; });
}

} // namespace

QString ModelDetails::statedText(QByteArrayView utf8)
{
    if (utf8.isEmpty() || utf8.size() > maximumTextSize)
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(utf8);
    return decoder.hasError() || hasControlCharacter(text) ? QString() : text;
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
    // Built in place: the terminal prints one per model and the window draws one per row.
    QString text;
    const auto add = [&text](const QString &part) {
        if (!text.isEmpty())
            text += QStringLiteral(" \u00b7 ");
        text += part;
    };
    if (!architecture.isEmpty())
        add(architecture);
    if (parameters)
        add(parameterText(*parameters));
    else if (!sizeLabel.isEmpty())
        add(sizeLabel);
    if (!quantization.isEmpty())
        add(quantization);
    if (contextLength)
        add(contextText(*contextLength));
    return text;
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
