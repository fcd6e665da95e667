#include "details/GgufReader.h"

#include "details/HeaderBytes.h"

#include <QByteArray>
#include <QList>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <limits>

namespace {

constexpr QByteArrayView magic("GGUF");
constexpr quint32 maximumDimensions = 4; // GGML_MAX_DIMS
constexpr quint32 defaultAlignment = 32;
constexpr quint64 largestCount = quint64(std::numeric_limits<qint64>::max());

// gguf_type: the value types of the key-value pairs.
enum ValueType : quint32 { uint32Type = 4, stringType = 8, arrayType = 9, valueTypeCount = 13 };
// Bytes of each fixed-size value type, by number; 0 for string and array.
constexpr std::array<qint64, valueTypeCount> valueSizes{1, 1, 2, 2, 4, 4, 4, 1, 0, 0, 8, 8, 8};
// Which of them are integers, and of those which are signed.
constexpr std::array<bool, valueTypeCount> integerTypes{true, true, true, true, true, true, false, false, false, false, true, true, false};
constexpr std::array<bool, valueTypeCount> signedTypes{false, true, false, true, false, true, false, false, false, false, false, true, false};

// ggml_type: the tensor types ggml defines now, with the elements per block and the bytes
// per block (ggml's type traits, as gguf-py's GGML_QUANT_SIZES repeats them). Numbers
// that ggml has retired (4, 5, 31 to 33, 36 to 38) and any newer ones are unknown: their
// tensors count their parameters but cannot be checked against the file's size or named.
struct TensorType
{
    const char *name = nullptr;
    qint64 blockSize = 0;
    qint64 typeSize = 0;
};
constexpr quint32 tensorTypeCount = 42;
constexpr std::array<TensorType, tensorTypeCount> tensorTypes = [] {
    std::array<TensorType, tensorTypeCount> table{};
    table[0] = {"F32", 1, 4};
    table[1] = {"F16", 1, 2};
    table[2] = {"Q4_0", 32, 18};
    table[3] = {"Q4_1", 32, 20};
    table[6] = {"Q5_0", 32, 22};
    table[7] = {"Q5_1", 32, 24};
    table[8] = {"Q8_0", 32, 34};
    table[9] = {"Q8_1", 32, 40};
    table[10] = {"Q2_K", 256, 84};
    table[11] = {"Q3_K", 256, 110};
    table[12] = {"Q4_K", 256, 144};
    table[13] = {"Q5_K", 256, 176};
    table[14] = {"Q6_K", 256, 210};
    table[15] = {"Q8_K", 256, 292};
    table[16] = {"IQ2_XXS", 256, 66};
    table[17] = {"IQ2_XS", 256, 74};
    table[18] = {"IQ3_XXS", 256, 98};
    table[19] = {"IQ1_S", 256, 50};
    table[20] = {"IQ4_NL", 32, 18};
    table[21] = {"IQ3_S", 256, 110};
    table[22] = {"IQ2_S", 256, 82};
    table[23] = {"IQ4_XS", 256, 136};
    table[24] = {"I8", 1, 1};
    table[25] = {"I16", 1, 2};
    table[26] = {"I32", 1, 4};
    table[27] = {"I64", 1, 8};
    table[28] = {"F64", 1, 8};
    table[29] = {"IQ1_M", 256, 56};
    table[30] = {"BF16", 1, 2};
    table[34] = {"TQ1_0", 256, 54};
    table[35] = {"TQ2_0", 256, 66};
    table[39] = {"MXFP4", 32, 17};
    table[40] = {"NVFP4", 64, 36};
    table[41] = {"Q1_0", 128, 18};
    return table;
}();

// llama_ftype: general.file_type as llama.cpp names the quantizations (llama.h, without
// "MOSTLY_"). 33 to 35 were removed from llama.cpp, but files written with them exist.
struct FileType
{
    quint32 value;
    const char *name;
};
constexpr FileType fileTypes[] = {
    {0, "F32"},      {1, "F16"},      {2, "Q4_0"},     {3, "Q4_1"},      {7, "Q8_0"},      {8, "Q5_0"},
    {9, "Q5_1"},     {10, "Q2_K"},    {11, "Q3_K_S"},  {12, "Q3_K_M"},   {13, "Q3_K_L"},   {14, "Q4_K_S"},
    {15, "Q4_K_M"},  {16, "Q5_K_S"},  {17, "Q5_K_M"},  {18, "Q6_K"},     {19, "IQ2_XXS"},  {20, "IQ2_XS"},
    {21, "Q2_K_S"},  {22, "IQ3_XS"},  {23, "IQ3_XXS"}, {24, "IQ1_S"},    {25, "IQ4_NL"},   {26, "IQ3_S"},
    {27, "IQ3_M"},   {28, "IQ2_S"},   {29, "IQ2_M"},   {30, "IQ4_XS"},   {31, "IQ1_M"},    {32, "BF16"},
    {33, "Q4_0_4_4"}, {34, "Q4_0_4_8"}, {35, "Q4_0_8_8"}, {36, "TQ1_0"}, {37, "TQ2_0"},   {38, "MXFP4_MOE"},
    {39, "NVFP4"},   {40, "Q1_0"},
};

QString fileTypeName(qint64 value)
{
    for (const FileType &type : fileTypes) {
        if (type.value == value)
            return QString::fromLatin1(type.name);
    }
    return {};
}

// The keys read; every other key is skipped.
enum class Key { other, architecture, fileType, name, sizeLabel, alignment, splitCount, contextLength };
struct KnownKey
{
    QByteArrayView text;
    Key key;
};
constexpr KnownKey knownKeys[] = {
    {"general.architecture", Key::architecture}, {"general.file_type", Key::fileType},
    {"general.name", Key::name},                 {"general.size_label", Key::sizeLabel},
    {"general.alignment", Key::alignment},       {"split.count", Key::splitCount},
};
constexpr QByteArrayView contextSuffix(".context_length");
// No key read here is longer; a longer one is skipped without being read.
constexpr quint64 longestKey = 256;

// Walks one header. Every step checks that what the header claims fits in the file
// before it moves on, so a false count or length ends the walk at once.
class Parser
{
public:
    explicit Parser(HeaderBytes &bytes) : m_bytes(bytes) {}

    std::optional<ModelDetails> run();

private:
    // Bytes of the file after the current position.
    quint64 remaining() const { return quint64(m_bytes.fileSize() - m_position); }
    template<typename Integer>
    bool next(Integer &value)
    {
        if (!m_bytes.read(m_position, value))
            return false;
        m_position += qint64(sizeof value);
        return true;
    }
    // The bytes of a string no longer than `longest` (valid until the next read), or null
    // for a longer one, which is skipped unread: nothing looked for here is that long.
    // False when the header ends too soon.
    bool nextString(quint64 longest, QByteArrayView &text);
    bool skipString();
    bool skipStrings(quint64 count);
    bool skipValue(quint32 type);
    // An integer value of any integer type; a negative value or one of another type is
    // skipped and leaves `stated` empty.
    bool nextInteger(quint32 type, std::optional<qint64> &stated);
    // A text value; a value of another type is skipped and leaves `text` empty.
    bool nextText(quint32 type, QString &text);
    bool readPair();
    bool readTensor();

    HeaderBytes &m_bytes;
    qint64 m_position = 0;

    QList<Key> m_seen;
    QString m_architecture, m_name, m_sizeLabel;
    std::optional<qint64> m_fileType, m_splitCount;
    quint32 m_alignment = defaultAlignment;
    QList<std::pair<QByteArray, qint64>> m_contextLengths; // per architecture prefix

    qint64 m_parameters = 0;
    std::array<qint64, tensorTypeCount> m_parametersByType{};
    quint64 m_dataEnd = 0; // the furthest byte of tensor data, from the start of the data
};

bool Parser::nextString(quint64 longest, QByteArrayView &text)
{
    quint64 length = 0;
    if (!next(length) || length > remaining())
        return false;
    text = {};
    if (length <= longest) {
        const uchar *bytes = m_bytes.at(m_position, qint64(length));
        if (!bytes)
            return false;
        text = QByteArrayView(bytes, qint64(length));
    }
    m_position += qint64(length);
    return true;
}

bool Parser::skipString()
{
    quint64 length = 0;
    if (!next(length) || length > remaining())
        return false;
    m_position += qint64(length);
    return true;
}

bool Parser::skipValue(quint32 type)
{
    if (type >= valueTypeCount)
        return false;
    if (type == stringType)
        return skipString();
    if (type != arrayType) {
        if (quint64(valueSizes[type]) > remaining())
            return false;
        m_position += valueSizes[type];
        return true;
    }
    quint32 elementType = 0;
    quint64 count = 0;
    if (!next(elementType) || !next(count) || elementType >= valueTypeCount || elementType == arrayType)
        return false;
    if (elementType != stringType) {
        // Fixed-size elements are skipped by arithmetic.
        const quint64 size = quint64(valueSizes[elementType]);
        if (count > remaining() / size)
            return false;
        m_position += qint64(count * size);
        return true;
    }
    // Every string has at least its 8-byte length, which bounds the count before the walk.
    return count <= remaining() / 8 && skipStrings(count);
}

bool Parser::skipStrings(quint64 count)
{
    // The tokenizer's vocabulary is most of a header: its lengths are walked straight
    // through what is held, and text reaching past it is skipped, not read.
    while (count > 0) {
        const QByteArrayView held = m_bytes.held(m_position, 8);
        if (held.isEmpty())
            return false;
        const quint64 left = remaining(); // at least held.size()
        quint64 walked = 0;
        while (count > 0 && walked + 8 <= quint64(held.size())) {
            const quint64 length = qFromLittleEndian<quint64>(held.data() + walked);
            if (length > left - walked - 8)
                return false;
            walked += 8 + length;
            --count;
        }
        m_position += qint64(walked);
    }
    return true;
}

bool Parser::nextInteger(quint32 type, std::optional<qint64> &stated)
{
    stated.reset();
    if (type >= valueTypeCount || !integerTypes[type])
        return skipValue(type);
    const qint64 size = valueSizes[type];
    const uchar *bytes = m_bytes.at(m_position, size);
    if (!bytes)
        return false;
    m_position += size;
    quint64 value = 0;
    for (qint64 i = 0; i < size; ++i)
        value |= quint64(bytes[i]) << (8 * i);
    const bool negative = signedTypes[type] && (value >> (8 * size - 1)) & 1;
    if (!negative && value <= largestCount)
        stated = qint64(value);
    return true;
}

bool Parser::nextText(quint32 type, QString &text)
{
    if (type != stringType)
        return skipValue(type);
    QByteArrayView bytes;
    if (!nextString(quint64(ModelDetails::maximumTextSize), bytes))
        return false;
    text = ModelDetails::statedText(bytes);
    return true;
}

bool Parser::readPair()
{
    QByteArrayView keyText;
    quint64 keyLength = 0;
    quint32 type = 0;
    // ggml refuses an empty key.
    if (!m_bytes.read(m_position, keyLength) || keyLength == 0 || !nextString(longestKey, keyText))
        return false;
    Key key = Key::other;
    for (const KnownKey &known : knownKeys) {
        if (keyText == known.text)
            key = known.key;
    }
    QByteArray prefix;
    if (key == Key::other && keyText.endsWith(contextSuffix)) {
        key = Key::contextLength;
        prefix = keyText.chopped(contextSuffix.size()).toByteArray();
    }
    if (!next(type))
        return false;
    if (key == Key::other)
        return skipValue(type);

    // A key that describes the model, stated twice, leaves it unclear which is meant.
    if (key != Key::contextLength) {
        if (m_seen.contains(key))
            return false;
        m_seen.append(key);
    }
    std::optional<qint64> integer;
    switch (key) {
    case Key::architecture: return nextText(type, m_architecture);
    case Key::name: return nextText(type, m_name);
    case Key::sizeLabel: return nextText(type, m_sizeLabel);
    case Key::fileType: return nextInteger(type, m_fileType);
    case Key::splitCount: return nextInteger(type, m_splitCount);
    case Key::alignment:
        // ggml takes only a 32-bit unsigned power of two; the data's place depends on it.
        if (type != uint32Type || !nextInteger(type, integer) || !integer || *integer == 0 || (*integer & (*integer - 1)) != 0)
            return false;
        m_alignment = quint32(*integer);
        break;
    case Key::contextLength:
        if (!nextInteger(type, integer))
            return false;
        if (std::any_of(m_contextLengths.cbegin(), m_contextLengths.cend(),
                        [&](const auto &entry) { return entry.first == prefix; }))
            return false;
        if (integer && m_contextLengths.size() < 16)
            m_contextLengths.append({prefix, *integer});
        break;
    case Key::other: break;
    }
    return true;
}

bool Parser::readTensor()
{
    quint32 dimensions = 0;
    if (!skipString() || !next(dimensions) || dimensions > maximumDimensions)
        return false;
    quint64 elements = 1;
    quint64 firstDimension = 1;
    for (quint32 i = 0; i < dimensions; ++i) {
        quint64 size = 0;
        if (!next(size) || size > largestCount || __builtin_mul_overflow(elements, size, &elements)
            || elements > largestCount)
            return false;
        if (i == 0)
            firstDimension = size;
    }
    quint32 type = 0;
    quint64 offset = 0;
    if (!next(type) || !next(offset))
        return false;

    quint64 end = offset;
    const TensorType *known = type < tensorTypeCount && tensorTypes[type].name ? &tensorTypes[type] : nullptr;
    if (known) {
        // Rows are whole blocks; the data must lie inside the file.
        const quint64 block = quint64(known->blockSize);
        if (firstDimension % block != 0
            || __builtin_mul_overflow(elements / block, quint64(known->typeSize), &end)
            || __builtin_add_overflow(end, offset, &end))
            return false;
    }
    if (__builtin_add_overflow(m_parameters, qint64(elements), &m_parameters))
        return false;
    if (known)
        m_parametersByType[type] += qint64(elements); // at most the total, which did not overflow
    m_dataEnd = std::max(m_dataEnd, end);
    return true;
}

std::optional<ModelDetails> Parser::run()
{
    quint32 version = 0;
    quint64 tensorCount = 0;
    quint64 pairCount = 0;
    if (!GgufReader::hasSignature(m_bytes))
        return std::nullopt;
    m_position = magic.size();
    if (!next(version) || (version != 2 && version != 3) || !next(tensorCount) || !next(pairCount))
        return std::nullopt;
    // The smallest pair is a length, a one-byte key, a type and a one-byte value; the
    // smallest tensor entry a length, the dimension count, the type and the offset.
    if (pairCount > remaining() / 14 || tensorCount > remaining() / 24)
        return std::nullopt;
    for (quint64 i = 0; i < pairCount; ++i) {
        if (!readPair())
            return std::nullopt;
    }
    for (quint64 i = 0; i < tensorCount; ++i) {
        if (!readTensor())
            return std::nullopt;
    }
    // Values skipped by arithmetic may have gone past the cap without reading there.
    if (!m_bytes.at(m_position, 0))
        return std::nullopt;
    // The tensor data starts at the next multiple of the alignment and ends in the file.
    const quint64 dataStart = (quint64(m_position) + m_alignment - 1) / m_alignment * m_alignment;
    if (tensorCount > 0 && (dataStart > quint64(m_bytes.fileSize()) || m_dataEnd > quint64(m_bytes.fileSize()) - dataStart))
        return std::nullopt;

    ModelDetails details;
    details.format = ModelDetails::Format::gguf;
    details.architecture = m_architecture;
    details.name = m_name;
    details.sizeLabel = m_sizeLabel;
    // One part of a split model holds only some of its tensors: its count is not the model's.
    if (tensorCount > 0 && m_splitCount.value_or(1) <= 1)
        details.parameters = m_parameters;
    if (m_fileType)
        details.quantization = fileTypeName(*m_fileType);
    if (details.quantization.isEmpty()) {
        const auto most = std::max_element(m_parametersByType.cbegin(), m_parametersByType.cend());
        if (*most > 0)
            details.quantization = QString::fromLatin1(tensorTypes[size_t(most - m_parametersByType.cbegin())].name);
    }
    const QByteArray architecture = m_architecture.toUtf8();
    for (const auto &[prefix, length] : std::as_const(m_contextLengths)) {
        if (!architecture.isEmpty() && prefix == architecture)
            details.contextLength = length;
    }
    if (details.isEmpty())
        return std::nullopt;
    return details;
}

} // namespace

bool GgufReader::hasSignature(HeaderBytes &bytes)
{
    const uchar *start = bytes.at(0, magic.size());
    return start && QByteArrayView(start, magic.size()) == magic;
}

std::optional<ModelDetails> GgufReader::read(HeaderBytes &bytes)
{
    return Parser(bytes).run();
}
