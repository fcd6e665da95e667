#include "deletion/FreedSpace.h"

#include <QFile>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <set>
#include <sys/stat.h>

namespace {
struct FileNames
{
    qint64 size = 0;
    nlink_t links = 0;
    std::set<std::string> names; // the names of it among the items
};

void note(std::map<std::pair<dev_t, ino_t>, FileNames> &files, const std::string &path)
{
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return;
    FileNames &file = files[{info.st_dev, info.st_ino}];
    // A sparse file (an unfinished Ollama download) gives back only what it takes on disk.
    file.size = std::min<qint64>(info.st_size, qint64(info.st_blocks) * 512);
    file.links = info.st_nlink;
    file.names.insert(path);
}
} // namespace

namespace FreedSpace {

qint64 of(const QStringList &paths)
{
    std::map<std::pair<dev_t, ino_t>, FileNames> files;
    for (const QString &path : paths) {
        const std::string native = QFile::encodeName(path).toStdString();
        note(files, native);
        std::error_code error;
        if (!std::filesystem::is_directory(std::filesystem::symlink_status(native, error)))
            continue;
        for (auto it = std::filesystem::recursive_directory_iterator(native, error);
             !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
            note(files, it->path().native());
    }
    qint64 freed = 0;
    for (const auto &[identity, file] : files) {
        if (file.names.size() >= file.links && __builtin_add_overflow(freed, file.size, &freed))
            freed = std::numeric_limits<qint64>::max();
    }
    return freed;
}

} // namespace FreedSpace
