#include "files/LastingCache.h"

#include "files/RegularFile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

namespace LastingCache {

QString pathFor(const QString &fileName)
{
    const QString cacheHome = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return cacheHome.isEmpty() ? QString() : cacheHome + QStringLiteral("/Stashwell/") + fileName;
}

QJsonArray readEntries(const QString &path, const QString &format, int version, qint64 maximumSize)
{
    if (path.isEmpty())
        return {};
    const QJsonObject root = QJsonDocument::fromJson(RegularFile::readSmall(path, maximumSize).value_or(QByteArray())).object();
    if (root.value(QStringLiteral("format")).toString() != format || root.value(QStringLiteral("version")).toInteger() != version)
        return {};
    return root.value(QStringLiteral("entries")).toArray();
}

bool write(const QString &path, const QByteArray &contents)
{
    if (path.isEmpty())
        return false;
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder))
        return false;
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(contents);
    return file.commit();
}

bool writeEntries(const QString &path, const QString &format, int version, const QJsonArray &entries)
{
    const QJsonObject root{
        {QStringLiteral("format"), format},
        {QStringLiteral("version"), version},
        {QStringLiteral("entries"), entries},
    };
    return write(path, QJsonDocument(root).toJson(QJsonDocument::Compact));
}

} // namespace LastingCache
