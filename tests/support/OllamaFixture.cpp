#include "support/OllamaFixture.h"

#include <QRegularExpression>

QByteArray OllamaFixture::manifest(const QList<Blob> &blobs)
{
    const auto layer = [](const Blob &blob) {
        return R"({"mediaType":"application/vnd.ollama.image.model","digest":")" + blob.digest + R"(","size":)"
            + QByteArray::number(blob.size) + '}';
    };
    QByteArrayList layers;
    for (qsizetype i = 1; i < blobs.size(); ++i)
        layers << layer(blobs[i]);
    return R"({"schemaVersion":2,"config":)" + layer(blobs.value(0)) + R"(,"layers":[)" + layers.join(',') + "]}";
}

QString OllamaFixture::addModel(const QString &model, const QList<Blob> &blobs, bool writeBlobs) const
{
    static const QRegularExpression plain(QStringLiteral("^sha256:[A-Za-z0-9]+$"));
    for (const Blob &blob : blobs)
        if (writeBlobs && plain.match(QString::fromLatin1(blob.digest)).hasMatch())
            m_home.writeFile(m_store + QStringLiteral("/blobs/") + QString::fromLatin1(blob.digest).replace(u':', u'-'), blob.size);
    return m_home.writeFile(m_store + QStringLiteral("/manifests/registry.ollama.ai/") + model, manifest(blobs));
}
