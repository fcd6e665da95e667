#include "scanning/UnfinishedDownloads.h"

#include "scanning/ScanRoutines.h"

#include <QFile>

#include <algorithm>

#include <sys/stat.h>

bool UnfinishedDownloads::isDownloadName(QByteArrayView name, const UnfinishedDownloadNames &names)
{
    if (names.isEmpty())
        return false;
    const QByteArray prefix = QFile::encodeName(names.prefix), suffix = QFile::encodeName(names.suffix);
    return name.size() > prefix.size() + suffix.size() && name.startsWith(prefix) && name.endsWith(suffix);
}

bool UnfinishedDownloads::isDownloadName(QByteArrayView name) const
{
    return std::any_of(m_names.cbegin(), m_names.cend(),
                       [&](const UnfinishedDownloadNames &names) { return isDownloadName(name, names); });
}

bool UnfinishedDownloads::take(const DirectoryWalker::Entry &entry, const QString &displayName)
{
    if (m_names.isEmpty())
        return false;
    if (isDownloadName(entry.name())) {
        if (entry.type() == DirectoryWalker::EntryType::regular)
            add(entry, entry.nativePath(), displayName);
        return true;
    }
    if (entry.type() != DirectoryWalker::EntryType::regular)
        return false;
    return std::any_of(m_names.cbegin(), m_names.cend(),
                       [&](const UnfinishedDownloadNames &names) { return takeCompanion(entry, names, displayName); });
}

bool UnfinishedDownloads::takeCompanion(const DirectoryWalker::Entry &entry, const UnfinishedDownloadNames &names,
                                        const QString &displayName)
{
    for (const QString &companion : names.companionSuffixes) {
        const QByteArray suffix = QFile::encodeName(companion);
        if (!entry.name().endsWith(suffix))
            continue;
        // It belongs to a download only while that download is there beside it.
        const QByteArray native = entry.nativePath();
        const QByteArray download = native.first(native.size() - suffix.size()) + QFile::encodeName(names.suffix);
        struct stat info {};
        if (!isDownloadName(QByteArrayView(download).sliced(download.lastIndexOf('/') + 1), names)
            || ::lstat(download.constData(), &info) != 0 || !S_ISREG(info.st_mode))
            continue;
        add(entry, download, displayName);
        return true;
    }
    return false;
}

void UnfinishedDownloads::add(const DirectoryWalker::Entry &entry, const QByteArray &downloadPath, const QString &displayName)
{
    auto found = m_indexOfDownload.constFind(downloadPath);
    if (found == m_indexOfDownload.constEnd()) {
        found = m_indexOfDownload.insert(downloadPath, m_leftovers.size());
        DetectedModel leftover = DetectedModel::create(displayName, m_source, {}, 0, distantPast());
        leftover.leftover = LeftoverKind::partialDownload;
        m_leftovers.append(leftover);
    }
    const FileAttributes attributes = entry.attributes();
    ScanRoutines::addWalkedFile(m_leftovers[*found], entry, attributes, attributes.allocated);
}
