#pragma once

#include <QString>

// Which rotating disk a file lies on, if any. Reading two files of one spinning disk at
// once makes its head seek back and forth between them, which is slower than reading
// them one after the other; on a solid-state drive parallel reads are faster.
//
// Looked up in sysfs: the file's device (a partition leads to its disk; a device-mapper
// or RAID device to the disks under it) and that disk's queue/rotational. A file system
// whose device number names no block device (btrfs, for one) is found through the source
// of its mount in mountinfo.
class SpinningDisk
{
public:
    explicit SpinningDisk(const QString &sysRoot = QStringLiteral("/sys"),
                          const QString &mountInfo = QStringLiteral("/proc/self/mountinfo"))
        : m_sysRoot(sysRoot), m_mountInfo(mountInfo) {}

    // "MAJOR:MINOR" of the rotating disk that holds the file, or empty when it lies on
    // none (a solid-state, network or memory drive) or that cannot be told.
    QString of(const QString &path) const;
    // The same for a block device number.
    QString ofDevice(quint32 major, quint32 minor) const;

private:
    QString ofDevice(quint32 major, quint32 minor, int depth) const;

    QString m_sysRoot;
    QString m_mountInfo;
};
