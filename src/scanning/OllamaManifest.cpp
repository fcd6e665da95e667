#include "scanning/OllamaManifest.h"

#include "catalogue/DetectedModel.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QScopeGuard>
#include <QVariant>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString quoted(QLatin1StringView key)
{
    return QLatin1Char('"') + key + QLatin1Char('"');
}

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

// The value a JSON number literal denotes, when that is a whole number within signed
// 64 bits; worked out from the digits, so no rounding can make a fraction look whole.
std::optional<qint64> exactInteger(QByteArrayView literal)
{
    const bool negative = literal.startsWith('-');
    if (negative)
        literal = literal.sliced(1);
    qsizetype exponentMark = literal.indexOf('e');
    if (exponentMark < 0)
        exponentMark = literal.indexOf('E');
    const QByteArrayView mantissa = exponentMark < 0 ? literal : literal.first(exponentMark);
    qint64 exponent = 0;
    if (exponentMark >= 0) {
        bool ok = false;
        exponent = literal.sliced(exponentMark + 1).toLongLong(&ok);
        if (!ok)
            exponent = 1'000'000; // far beyond any 64-bit value, either way
    }
    const qsizetype dot = mantissa.indexOf('.');
    QByteArray digits = dot < 0 ? mantissa.toByteArray()
                                : mantissa.first(dot).toByteArray() + mantissa.sliced(dot + 1).toByteArray();
    while (digits.size() > 1 && digits.startsWith('0'))
        digits.remove(0, 1);
    if (digits == "0")
        return 0;
    if (exponent < -1000 || exponent > 1000)
        return std::nullopt;
    qint64 scale = exponent - (dot < 0 ? 0 : mantissa.size() - dot - 1);
    while (digits.endsWith('0')) {
        digits.chop(1);
        ++scale;
    }
    if (scale < 0 || digits.size() + scale > 19)
        return std::nullopt;
    digits.append(QByteArray(scale, '0'));
    if (negative)
        digits.prepend('-');
    bool ok = false;
    const qint64 value = digits.toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

// The whole number the JSON reader keeps for a value, when it keeps one.
std::optional<qint64> storedInteger(const QJsonValue &value)
{
    if (!value.isDouble() || value.toVariant().metaType().id() != QMetaType::LongLong)
        return std::nullopt;
    return value.toInteger();
}

bool isNumberCharacter(char c)
{
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// The JSON reader turns any number whose double value is whole into an integer, so
// "1.00000000000000001" would become 1 and "9007199254740993.0" 9007199254740992. Finds
// the first number literal (in a text known to be valid JSON) that the reader would keep
// as an integer other than the one it denotes.
std::optional<QByteArray> firstInexactNumber(QByteArrayView json)
{
    for (qsizetype i = 0; i < json.size();) {
        const char c = json[i];
        if (c == '"') {
            for (++i; i < json.size() && json[i] != '"'; ++i) {
                if (json[i] == '\\')
                    ++i;
            }
            ++i;
            continue;
        }
        if (c != '-' && (c < '0' || c > '9')) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        while (i < json.size() && isNumberCharacter(json[i]))
            ++i;
        const QByteArrayView literal = json.sliced(start, i - start);
        const qsizetype digitCount = literal.size() - (literal.startsWith('-') ? 1 : 0);
        const bool plainShortInteger = digitCount <= 18
            && std::all_of(literal.begin() + (literal.size() - digitCount), literal.end(),
                           [](char d) { return d >= '0' && d <= '9'; });
        if (plainShortInteger)
            continue; // read through the reader's exact integer path
        const QByteArray alone = '[' + literal.toByteArray() + ']';
        const std::optional<qint64> kept = storedInteger(QJsonDocument::fromJson(alone).array().at(0));
        if (kept && kept != exactInteger(literal))
            return literal.toByteArray();
    }
    return std::nullopt;
}

std::optional<OllamaManifestLayer> decodeLayer(const QJsonValue &value, const QString &which, QString *error)
{
    if (!value.isObject()) {
        setError(error, which + QStringLiteral(" is not a JSON object"));
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    const auto text = [&](QLatin1StringView key, QString &into) {
        const QJsonValue field = object.value(key);
        if (field.isUndefined()) {
            setError(error, which + QStringLiteral(" has no ") + quoted(key));
            return false;
        }
        if (!field.isString()) {
            setError(error, QStringLiteral("the ") + quoted(key) + QStringLiteral(" of ") + which
                                + QStringLiteral(" is not a string"));
            return false;
        }
        into = field.toString();
        return true;
    };
    OllamaManifestLayer layer;
    if (!text(QLatin1StringView("digest"), layer.digest) || !text(QLatin1StringView("mediaType"), layer.mediaType))
        return std::nullopt;
    const QLatin1StringView sizeKey("size");
    const QJsonValue size = object.value(sizeKey);
    if (size.isUndefined()) {
        setError(error, which + QStringLiteral(" has no ") + quoted(sizeKey));
        return std::nullopt;
    }
    const std::optional<qint64> bytes = storedInteger(size);
    if (!bytes) {
        setError(error, QStringLiteral("the ") + quoted(sizeKey) + QStringLiteral(" of ") + which
                            + QStringLiteral(" is not a whole number within the 64-bit range"));
        return std::nullopt;
    }
    // No file has a negative size; such a manifest was not written by Ollama.
    if (*bytes < 0) {
        setError(error, QStringLiteral("the ") + quoted(sizeKey) + QStringLiteral(" of ") + which
                            + QStringLiteral(" is negative"));
        return std::nullopt;
    }
    layer.size = *bytes;
    return layer;
}

QString unreadableManifest(const QString &displayPath, const QString &why)
{
    return QStringLiteral("The Ollama manifest \u201c%1\u201d could not be read: %2.").arg(displayPath, why);
}

QString systemErrorText(int code)
{
    QString text = qt_error_string(code);
    if (!text.isEmpty())
        text[0] = text[0].toLower();
    return text;
}

// The bytes of a regular file no larger than the manifest limit, opened without
// following a link and without waiting on a pipe.
std::optional<QByteArray> readSmallRegularFile(const QByteArray &nativePath, QString *why)
{
    const int fd = ::open(nativePath.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) {
        *why = errno == ELOOP ? QStringLiteral("it is a symbolic link") : systemErrorText(errno);
        return std::nullopt;
    }
    const auto closer = qScopeGuard([fd] { ::close(fd); });
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        *why = systemErrorText(errno);
        return std::nullopt;
    }
    if (!S_ISREG(info.st_mode)) {
        *why = QStringLiteral("it is not a regular file");
        return std::nullopt;
    }
    const QString tooLarge = QStringLiteral("it is larger than %1 MiB, far too large for a manifest")
                                 .arg(OllamaManifest::maximumFileSize / (1024 * 1024));
    if (info.st_size > OllamaManifest::maximumFileSize) {
        *why = tooLarge;
        return std::nullopt;
    }
    // Read one byte beyond the limit, in case the file grew since it was measured.
    QByteArray bytes(qsizetype(info.st_size) + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            if (bytes.size() > OllamaManifest::maximumFileSize) {
                *why = tooLarge;
                return std::nullopt;
            }
            bytes.resize(std::min<qint64>(bytes.size() * 2, OllamaManifest::maximumFileSize + 1));
        }
        const ssize_t count = ::read(fd, bytes.data() + filled, size_t(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            *why = systemErrorText(errno);
            return std::nullopt;
        }
        if (count == 0)
            break;
        filled += count;
    }
    bytes.truncate(filled);
    return bytes;
}
} // namespace

QStringList OllamaManifest::allDigests() const
{
    QStringList digests{config.digest};
    for (const OllamaManifestLayer &layer : layers)
        digests.append(layer.digest);
    return digests;
}

qint64 OllamaManifest::manifestSize() const
{
    qint64 total = config.size;
    for (const OllamaManifestLayer &layer : layers)
        total = addSizes(total, layer.size);
    return total;
}

std::optional<OllamaManifest> OllamaManifest::decode(const QByteArray &bytes, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        setError(error, QStringLiteral("it is not valid JSON (%1 at byte %2)")
                            .arg(parseError.errorString())
                            .arg(parseError.offset));
        return std::nullopt;
    }
    if (!document.isObject()) {
        setError(error, QStringLiteral("it does not hold a JSON object"));
        return std::nullopt;
    }
    if (const std::optional<QByteArray> inexact = firstInexactNumber(bytes)) {
        setError(error, QStringLiteral("the number %1 in it cannot be read exactly")
                            .arg(QString::fromLatin1(*inexact)));
        return std::nullopt;
    }
    const QJsonObject object = document.object();

    const QLatin1StringView configKey("config");
    const QJsonValue config = object.value(configKey);
    if (config.isUndefined()) {
        setError(error, QStringLiteral("it has no ") + quoted(configKey));
        return std::nullopt;
    }
    const QLatin1StringView layersKey("layers");
    const QJsonValue layers = object.value(layersKey);
    if (layers.isUndefined()) {
        setError(error, QStringLiteral("it has no ") + quoted(layersKey));
        return std::nullopt;
    }
    if (!layers.isArray()) {
        setError(error, QStringLiteral("its ") + quoted(layersKey) + QStringLiteral(" is not a JSON array"));
        return std::nullopt;
    }

    OllamaManifest manifest;
    const std::optional<OllamaManifestLayer> configLayer = decodeLayer(config, QStringLiteral("the config"), error);
    if (!configLayer)
        return std::nullopt;
    manifest.config = *configLayer;
    const QJsonArray layerArray = layers.toArray();
    for (qsizetype i = 0; i < layerArray.size(); ++i) {
        const std::optional<OllamaManifestLayer> layer =
            decodeLayer(layerArray.at(i), QStringLiteral("layer %1").arg(i + 1), error);
        if (!layer)
            return std::nullopt;
        manifest.layers.append(*layer);
    }
    return manifest;
}

std::optional<OllamaManifest> OllamaManifest::read(const QString &path, QString *error)
{
    return readNative(QFile::encodeName(path), error);
}

std::optional<OllamaManifest> OllamaManifest::readNative(const QByteArray &nativePath, QString *error)
{
    QString why;
    const std::optional<QByteArray> bytes = readSmallRegularFile(nativePath, &why);
    std::optional<OllamaManifest> manifest = bytes ? decode(*bytes, &why) : std::nullopt;
    if (!manifest)
        setError(error, unreadableManifest(QFile::decodeName(nativePath), why));
    return manifest;
}

std::optional<QString> OllamaManifest::blobFileName(const QString &digest)
{
    QString name = digest;
    name.replace(QStringLiteral("sha256:"), QStringLiteral("sha256-"));
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..")
        || name.contains(QLatin1Char('/')) || name.contains(QChar(u'\0')))
        return std::nullopt;
    // A bare "sha256:" names no content at all, so no blob file can be its.
    if (name == QLatin1String("sha256-"))
        return std::nullopt;
    // Text the file system would spell differently could name some other file.
    if (QFile::decodeName(QFile::encodeName(name)) != name)
        return std::nullopt;
    return name;
}
