#include "files/SpinningDisk.h"

#include "files/RegularFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace {
constexpr qint64 sysfsValueSize = 4096;
constexpr qint64 mountInfoSize = 4 * 1024 * 1024;
// Device-mapper and RAID devices stack a few levels at most.
constexpr int deepestStack = 8;

QString firstLine(const QString &path)
{
    return QString::fromLatin1(RegularFile::readSmall(path, sysfsValueSize).value_or(QByteArray())).section(u'\n', 0, 0).trimmed();
}
} // namespace

QString SpinningDisk::of(const QString &path) const
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    const QString device = QStringLiteral("%1:%2").arg(major(info.st_dev)).arg(minor(info.st_dev));
    if (QFileInfo::exists(m_sysRoot + QStringLiteral("/dev/block/") + device))
        return ofDevice(major(info.st_dev), minor(info.st_dev));

    // mountinfo: "ID PARENT MAJ:MIN ROOT MOUNTPOINT OPTIONS... - FSTYPE SOURCE SUPEROPTIONS".
    const QByteArray mounts = RegularFile::readSmall(m_mountInfo, mountInfoSize).value_or(QByteArray());
    for (const QByteArray &line : mounts.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-");
        if (fields.size() < 3 || fields.at(2) != device.toLatin1() || separator < 0 || separator + 2 >= fields.size())
            continue;
        struct stat source {};
        if (::stat(fields.at(separator + 2).constData(), &source) == 0 && S_ISBLK(source.st_mode))
            return ofDevice(major(source.st_rdev), minor(source.st_rdev));
    }
    return {};
}

QString SpinningDisk::ofDevice(quint32 major, quint32 minor) const
{
    return ofDevice(major, minor, 0);
}

QString SpinningDisk::ofDevice(quint32 major, quint32 minor, int depth) const
{
    QString device = QFileInfo(m_sysRoot + QStringLiteral("/dev/block/%1:%2").arg(major).arg(minor)).canonicalFilePath();
    if (device.isEmpty() || depth > deepestStack)
        return {};
    // A partition's queue is its disk's, one folder up.
    if (QFileInfo::exists(device + QStringLiteral("/partition")))
        device = QFileInfo(device).path();
    for (const QString &slave : QDir(device + QStringLiteral("/slaves")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QStringList number = firstLine(device + QStringLiteral("/slaves/") + slave + QStringLiteral("/dev")).split(u':');
        if (number.size() != 2)
            continue;
        if (QString disk = ofDevice(number[0].toUInt(), number[1].toUInt(), depth + 1); !disk.isEmpty())
            return disk;
    }
    if (firstLine(device + QStringLiteral("/queue/rotational")) != QLatin1String("1"))
        return {};
    const QString number = firstLine(device + QStringLiteral("/dev"));
    return number.isEmpty() ? QStringLiteral("%1:%2").arg(major).arg(minor) : number;
}
