#include "support/SafetensorsWriter.h"

#include "support/GgufWriter.h"

#include <QJsonArray>
#include <QJsonDocument>

SafetensorsWriter &SafetensorsWriter::tensor(const QString &name, const QString &dtype, const QList<qint64> &shape,
                                             qint64 bitsPerElement)
{
    qint64 elements = 1;
    QJsonArray dimensions;
    for (const qint64 size : shape) {
        elements *= size;
        dimensions.append(size);
    }
    const qint64 end = m_dataSize + elements * bitsPerElement / 8;
    m_header.insert(name, QJsonObject{{QStringLiteral("dtype"), dtype}, {QStringLiteral("shape"), dimensions},
                                      {QStringLiteral("data_offsets"), QJsonArray{m_dataSize, end}}});
    m_dataSize = end;
    return *this;
}

SafetensorsWriter &SafetensorsWriter::metadata(const QJsonObject &texts)
{
    m_header.insert(QStringLiteral("__metadata__"), texts);
    return *this;
}

QByteArray SafetensorsWriter::bytes() const
{
    return withHeader(QJsonDocument(m_header).toJson(QJsonDocument::Compact), m_dataSize);
}

QByteArray SafetensorsWriter::withHeader(const QByteArray &header, qint64 dataSize)
{
    return GgufWriter::u64(quint64(header.size())) + header + QByteArray(dataSize, '\0');
}
