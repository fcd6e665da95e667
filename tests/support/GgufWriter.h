#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

class TempHome;

// GGUF files for the tests, laid out as ggml's documentation of the format gives it:
// "GGUF", the version, the tensor and pair counts, the pairs in the order a test adds
// them, one entry per tensor, then the tensors' data at the next multiple of 32. The
// counts and version can be overridden, and a pair can hold any bytes, for headers that
// are not right.
class GgufWriter
{
public:
    enum ValueType : quint32 { uint32Type = 4, int32Type = 5, stringType = 8, arrayType = 9 };
    // ggml tensor types the tests use, with their elements and bytes per block.
    struct TensorType { quint32 id; qint64 blockSize; qint64 blockBytes; };
    static constexpr TensorType f32{0, 1, 4}, f16{1, 1, 2}, q8_0{8, 32, 34}, bf16{30, 1, 2};

    GgufWriter &text(const QByteArray &key, const QByteArray &value);
    GgufWriter &number(const QByteArray &key, quint32 value);
    // tokenizer.ggml.tokens with `count` strings, then tokenizer.ggml.token_type.
    GgufWriter &vocabulary(int count);
    GgufWriter &pair(const QByteArray &key, quint32 type, const QByteArray &value);
    GgufWriter &tensor(const QByteArray &name, const QList<quint64> &shape, TensorType type);

    quint32 version = 3;
    std::optional<quint64> statedPairs;
    std::optional<quint64> statedTensors;

    // The whole file: the header, then the tensors' data as zeros.
    QByteArray bytes() const;
    // The same on disk, the data left as a hole; extended to `size` bytes when that is larger.
    QString write(const TempHome &home, const QString &relative, qint64 size = 0) const;

    static QByteArray string(const QByteArray &text);
    static QByteArray u32(quint32 value);
    static QByteArray u64(quint64 value);

private:
    QByteArray header() const;

    QByteArray m_pairs;
    QByteArray m_tensors;
    quint64 m_pairCount = 0;
    quint64 m_tensorCount = 0;
    qint64 m_dataSize = 0;
};
