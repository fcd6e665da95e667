#include "details/SafetensorsReader.h"

#include "details/HeaderBytes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

#include <limits>

namespace {

constexpr qint64 lengthSize = 8;
const QString metadataKey = QStringLiteral("__metadata__");

// The dtypes safetensors defines, with the bits of one element.
struct Dtype
{
    QLatin1StringView name;
    quint64 bits;
};
constexpr Dtype dtypes[] = {
    {QLatin1StringView("F4"), 4},       {QLatin1StringView("F6_E2M3"), 6}, {QLatin1StringView("F6_E3M2"), 6},
    {QLatin1StringView("BOOL"), 8},     {QLatin1StringView("U8"), 8},      {QLatin1StringView("I8"), 8},
    {QLatin1StringView("F8_E5M2"), 8},  {QLatin1StringView("F8_E4M3"), 8}, {QLatin1StringView("F8_E8M0"), 8},
    {QLatin1StringView("I16"), 16},     {QLatin1StringView("U16"), 16},    {QLatin1StringView("F16"), 16},
    {QLatin1StringView("BF16"), 16},    {QLatin1StringView("I32"), 32},    {QLatin1StringView("U32"), 32},
    {QLatin1StringView("F32"), 32},     {QLatin1StringView("C64"), 64},    {QLatin1StringView("F64"), 64},
    {QLatin1StringView("I64"), 64},     {QLatin1StringView("U64"), 64},
};

const Dtype *findDtype(const QString &name)
{
    for (const Dtype &dtype : dtypes) {
        if (dtype.name == name)
            return &dtype;
    }
    return nullptr;
}

// A whole, non-negative number as JSON writes it; nothing for anything else.
std::optional<quint64> count(const QJsonValue &value)
{
    constexpr qint64 absent = -1;
    const qint64 number = value.toInteger(absent);
    if (!value.isDouble() || number < 0)
        return std::nullopt;
    return quint64(number);
}

// One tensor entry: its dtype and its element count, when its data offsets fit the
// file's data and its dtype and shape. Nothing for an entry of any other form.
std::optional<std::pair<const Dtype *, quint64>> tensor(const QJsonValue &value, quint64 dataSize)
{
    const QJsonObject entry = value.toObject();
    const Dtype *dtype = findDtype(entry.value(QStringLiteral("dtype")).toString());
    const QJsonValue shape = entry.value(QStringLiteral("shape"));
    const QJsonArray offsets = entry.value(QStringLiteral("data_offsets")).toArray();
    if (!dtype || !shape.isArray() || offsets.size() != 2)
        return std::nullopt;
    quint64 elements = 1;
    for (const QJsonValue &dimension : shape.toArray()) {
        const std::optional<quint64> size = count(dimension);
        if (!size || __builtin_mul_overflow(elements, *size, &elements))
            return std::nullopt;
    }
    const std::optional<quint64> begin = count(offsets.at(0));
    const std::optional<quint64> end = count(offsets.at(1));
    quint64 bits = 0;
    if (!begin || !end || *begin > *end || *end > dataSize || __builtin_mul_overflow(elements, dtype->bits, &bits)
        || bits % 8 != 0 || bits / 8 != *end - *begin || elements > quint64(std::numeric_limits<qint64>::max()))
        return std::nullopt;
    return std::make_pair(dtype, elements);
}

} // namespace

bool SafetensorsReader::hasSignature(HeaderBytes &bytes)
{
    quint64 length = 0;
    const qint64 available = bytes.fileSize() - lengthSize;
    if (!bytes.read(0, length) || available < 2 || length < 2 || length > quint64(available))
        return false;
    const uchar *first = bytes.at(lengthSize, 1);
    return first && *first == '{';
}

std::optional<ModelDetails> SafetensorsReader::read(HeaderBytes &bytes)
{
    if (!hasSignature(bytes))
        return std::nullopt;
    quint64 length = 0;
    bytes.read(0, length);
    const uchar *header = bytes.at(lengthSize, qint64(length)); // null past the cap
    if (!header)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(reinterpret_cast<const char *>(header), qsizetype(length)), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;

    const QJsonObject root = document.object();
    const quint64 dataSize = quint64(bytes.fileSize() - lengthSize) - length;
    ModelDetails details;
    details.format = ModelDetails::Format::safetensors;
    qint64 parameters = 0;
    QMap<QString, qint64> parametersByDtype;
    for (auto entry = root.begin(); entry != root.end(); ++entry) {
        if (entry.key() == metadataKey) {
            const QJsonObject metadata = entry.value().toObject();
            details.architecture = ModelDetails::statedText(metadata.value(QStringLiteral("modelspec.architecture")).toString().toUtf8());
            details.name = ModelDetails::statedText(metadata.value(QStringLiteral("modelspec.title")).toString().toUtf8());
            continue;
        }
        const auto found = tensor(entry.value(), dataSize);
        if (!found || __builtin_add_overflow(parameters, qint64(found->second), &parameters))
            return std::nullopt;
        parametersByDtype[found->first->name] += qint64(found->second);
    }
    if (parametersByDtype.isEmpty())
        return std::nullopt;
    details.parameters = parameters;
    // The first of the dtypes holding most parameters, in name order.
    auto most = parametersByDtype.cbegin();
    for (auto dtype = parametersByDtype.cbegin(); dtype != parametersByDtype.cend(); ++dtype) {
        if (dtype.value() > most.value())
            most = dtype;
    }
    details.quantization = most.key();
    return details;
}
