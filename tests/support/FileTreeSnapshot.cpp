#include "support/FileTreeSnapshot.h"

#include <QFile>

#include <fts.h>
#include <sys/stat.h>


FileTreeSnapshot::FileTreeSnapshot(const QString &root)
{
    // fts walks by changing into each folder, so paths longer than the system allows
    // and trees thousands of levels deep are recorded like any other.
    QByteArray rootPath = QFile::encodeName(root);
    char *roots[] = {rootPath.data(), nullptr};
    FTS *walk = ::fts_open(roots, FTS_PHYSICAL, nullptr);
    if (!walk)
        qFatal("cannot walk %s", rootPath.constData());
    while (FTSENT *entry = ::fts_read(walk)) {
        if (entry->fts_info == FTS_DP)
            continue; // a folder is recorded once, on the way in
        const QByteArray relative(entry->fts_path + qMin<qsizetype>(entry->fts_pathlen, rootPath.size()));
        State state;
        if (entry->fts_statp && entry->fts_info != FTS_NS && entry->fts_info != FTS_ERR) {
            const struct stat &info = *entry->fts_statp;
            state = {unsigned(info.st_mode), qint64(info.st_size),
                     qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                     static_cast<unsigned long long>(info.st_ino)};
        }
        m_entries[relative.isEmpty() ? QByteArray("/") : relative] = state;
    }
    ::fts_close(walk);
}

QStringList FileTreeSnapshot::differencesFrom(const FileTreeSnapshot &before) const
{
    QStringList differences;
    for (const auto &[path, state] : before.m_entries) {
        const auto now = m_entries.find(path);
        if (now == m_entries.end())
            differences << QStringLiteral("removed ") + shown(path);
        else if (!(now->second == state))
            differences << QStringLiteral("changed ") + shown(path);
    }
    for (const auto &[path, state] : m_entries) {
        if (!before.m_entries.count(path))
            differences << QStringLiteral("added ") + shown(path);
    }
    return differences;
}

QString FileTreeSnapshot::shown(const QByteArray &raw)
{
    QString text;
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7f)
            text += QStringLiteral("\\x%1").arg(byte, 2, 16, QLatin1Char('0'));
        else
            text += QLatin1Char(c);
    }
    return text;
}
