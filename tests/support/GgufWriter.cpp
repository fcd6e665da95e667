#include "support/GgufWriter.h"

#include "support/TempHome.h"

#include <QFile>
#include <QtEndian>

namespace {
constexpr qint64 alignment = 32;
}

QByteArray GgufWriter::u32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray GgufWriter::u64(quint64 value)
{
    QByteArray bytes(8, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray GgufWriter::string(const QByteArray &text)
{
    return u64(quint64(text.size())) + text;
}

GgufWriter &GgufWriter::pair(const QByteArray &key, quint32 type, const QByteArray &value)
{
    m_pairs += string(key) + u32(type) + value;
    ++m_pairCount;
    return *this;
}

GgufWriter &GgufWriter::text(const QByteArray &key, const QByteArray &value)
{
    return pair(key, stringType, string(value));
}

GgufWriter &GgufWriter::number(const QByteArray &key, quint32 value)
{
    return pair(key, uint32Type, u32(value));
}

GgufWriter &GgufWriter::vocabulary(int count)
{
    QByteArray tokens = u32(stringType) + u64(quint64(count));
    QByteArray types = u32(int32Type) + u64(quint64(count));
    for (int i = 0; i < count; ++i) {
        tokens += string("tok" + QByteArray::number(i));
        types += u32(1);
    }
    pair("tokenizer.ggml.tokens", arrayType, tokens);
    return pair("tokenizer.ggml.token_type", arrayType, types);
}

GgufWriter &GgufWriter::tensor(const QByteArray &name, const QList<quint64> &shape, TensorType type)
{
    quint64 elements = 1;
    QByteArray dimensions;
    for (const quint64 size : shape) {
        elements *= size;
        dimensions += u64(size);
    }
    m_tensors += string(name) + u32(quint32(shape.size())) + dimensions + u32(type.id) + u64(quint64(m_dataSize));
    m_dataSize += (qint64(elements) / type.blockSize * type.blockBytes + alignment - 1) / alignment * alignment;
    ++m_tensorCount;
    return *this;
}

QByteArray GgufWriter::header() const
{
    QByteArray header = "GGUF" + u32(version) + u64(statedTensors.value_or(m_tensorCount))
        + u64(statedPairs.value_or(m_pairCount)) + m_pairs + m_tensors;
    return header + QByteArray(-header.size() & (alignment - 1), '\0');
}

QByteArray GgufWriter::bytes() const
{
    return header() + QByteArray(m_dataSize, '\0');
}

QString GgufWriter::write(const TempHome &home, const QString &relative, qint64 size) const
{
    const QByteArray start = header();
    const QString path = home.writeFile(relative, start);
    QFile::resize(path, std::max(start.size() + m_dataSize, size));
    return path;
}
