#include "scanning/DirectoryWalker.h"

#include <QFile>

#include <dirent.h>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace {
using EntryType = DirectoryWalker::EntryType;

EntryType typeFromMode(mode_t mode)
{
    if (S_ISREG(mode)) return EntryType::regular;
    if (S_ISDIR(mode)) return EntryType::directory;
    if (S_ISLNK(mode)) return EntryType::symlink;
    return EntryType::other;
}

EntryType entryType(int dirFd, const dirent *entry)
{
    switch (entry->d_type) {
    case DT_REG: return EntryType::regular;
    case DT_DIR: return EntryType::directory;
    case DT_LNK: return EntryType::symlink;
    case DT_UNKNOWN: {
        // Some file systems leave the type out of the listing; ask once.
        struct stat info {};
        if (::fstatat(dirFd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            return EntryType::unknown;
        return typeFromMode(info.st_mode);
    }
    default: return EntryType::other;
    }
}

QByteArray childPath(const QByteArray &dirPath, const char *name)
{
    QByteArray path = dirPath;
    if (!path.endsWith('/'))
        path += '/';
    path += name;
    return path;
}

QByteArray withoutTrailingSlashes(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

// Opens a folder for listing; below the root, a link in its place is refused.
DIR *openFolder(const QByteArray &path, bool followLink)
{
    int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    if (!followLink)
        flags |= O_NOFOLLOW;
    const int fd = ::open(path.constData(), flags);
    if (fd < 0)
        return nullptr;
    DIR *dir = ::fdopendir(fd);
    if (!dir)
        ::close(fd);
    return dir;
}

struct NamedEntry
{
    QByteArray name;
    EntryType type;
};

// The non-hidden entries of one open folder in byte order of their names, so every
// file system hands them on alike (readdir order differs between ext4, tmpfs, ...).
// With foldersOnly, only folders and links (which may lead to one).
std::vector<NamedEntry> sortedEntries(DIR *dir, bool foldersOnly = false)
{
    std::vector<NamedEntry> entries;
    const int dirFd = ::dirfd(dir);
    while (const dirent *raw = ::readdir(dir)) {
        if (raw->d_name[0] == '.')
            continue;
        if (foldersOnly && raw->d_type != DT_DIR && raw->d_type != DT_LNK && raw->d_type != DT_UNKNOWN)
            continue;
        const EntryType type = entryType(dirFd, raw);
        if (!foldersOnly || type == EntryType::directory || type == EntryType::symlink)
            entries.push_back({QByteArray(raw->d_name), type});
    }
    // string_view compares bytes as unsigned char, as memcmp does.
    std::sort(entries.begin(), entries.end(), [](const NamedEntry &a, const NamedEntry &b) {
        return std::string_view(a.name.constData(), size_t(a.name.size()))
            < std::string_view(b.name.constData(), size_t(b.name.size()));
    });
    return entries;
}
} // namespace

QByteArray DirectoryWalker::Entry::nativePath() const
{
    return childPath(m_dirPath, m_name);
}

std::optional<QString> DirectoryWalker::Entry::path() const
{
    const QByteArray native = nativePath();
    QString text = QFile::decodeName(native);
    if (QFile::encodeName(text) != native)
        return std::nullopt;
    return text;
}

FileAttributes DirectoryWalker::Entry::attributes() const
{
    struct stat info {};
    if (::fstatat(m_dirFd, m_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
        return FileAttributes::unreadable();
    return FileAttributes::fromStat(info);
}

std::optional<QByteArray> DirectoryWalker::Entry::linkTarget() const
{
    if (m_type != EntryType::symlink)
        return std::nullopt;
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(m_dirFd, m_name, target, sizeof target);
    if (length <= 0 || length >= ssize_t(sizeof target))
        return std::nullopt;
    return QByteArray(target, length);
}

bool DirectoryWalker::walk(const QString &root, const Visitor &visit)
{
    return walk(root, visit, {});
}

bool DirectoryWalker::walk(const QString &root, const Visitor &visit, const FolderFilter &enter)
{
    std::vector<QByteArray> pending{withoutTrailingSlashes(QFile::encodeName(root))};
    bool atRoot = true;
    std::vector<QByteArray> subfolders;
    while (!pending.empty()) {
        const QByteArray dirPath = std::move(pending.back());
        pending.pop_back();
        DIR *dir = openFolder(dirPath, atRoot);
        if (!dir) {
            if (atRoot)
                return false;
            continue;
        }
        atRoot = false;
        const int dirFd = ::dirfd(dir);
        subfolders.clear();
        for (const NamedEntry &named : sortedEntries(dir)) {
            const Entry entry(dirFd, named.name.constData(), dirPath, named.type);
            visit(entry);
            if (entry.type() == EntryType::directory && (!enter || enter(entry)))
                subfolders.push_back(childPath(dirPath, named.name.constData()));
        }
        ::closedir(dir);
        // Reversed, so the first subfolder listed is walked first.
        pending.insert(pending.end(), std::make_move_iterator(subfolders.rbegin()),
                       std::make_move_iterator(subfolders.rend()));
    }
    return true;
}

std::optional<QList<DirectoryWalker::ListedEntry>> DirectoryWalker::list(const QString &folder, Listing listing)
{
    const QByteArray dirPath = withoutTrailingSlashes(QFile::encodeName(folder));
    DIR *dir = openFolder(dirPath, true);
    if (!dir)
        return std::nullopt;
    QList<ListedEntry> entries;
    const int dirFd = ::dirfd(dir);
    for (const NamedEntry &named : sortedEntries(dir, listing == Listing::foldersAndLinks)) {
        const Entry entry(dirFd, named.name.constData(), dirPath, named.type);
        if (const std::optional<QString> path = entry.path())
            entries.append({*path, entry.type()});
    }
    ::closedir(dir);
    return entries;
}

QByteArrayView DirectoryWalker::extension(QByteArrayView name)
{
    const qsizetype dot = name.lastIndexOf('.');
    if (dot <= 0)
        return {};
    return name.sliced(dot + 1);
}
