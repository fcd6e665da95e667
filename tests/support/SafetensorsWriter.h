#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>

// Safetensors files for the tests, laid out as the Hugging Face library writes them:
// the header's length as 8 little-endian bytes, the JSON header naming each tensor's
// dtype, shape and data offsets (one after the other), then the data.
class SafetensorsWriter
{
public:
    // A tensor of `bitsPerElement`-bit elements, its data after the previous one's.
    SafetensorsWriter &tensor(const QString &name, const QString &dtype, const QList<qint64> &shape, qint64 bitsPerElement);
    SafetensorsWriter &metadata(const QJsonObject &texts);

    // The whole file, the data as zeros.
    QByteArray bytes() const;
    // Any header text with its length in front, and `dataSize` zeros after it.
    static QByteArray withHeader(const QByteArray &header, qint64 dataSize = 0);

private:
    QJsonObject m_header;
    qint64 m_dataSize = 0;
};
