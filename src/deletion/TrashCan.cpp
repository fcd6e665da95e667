#include "deletion/TrashCan.h"

#include "deletion/TrashError.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QStandardPaths>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <signal.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A file name in files/ may be taken this many ways ("name", "name.2", ...) before giving up.
constexpr int maxNameAttempts = 1000;
constexpr qsizetype infoSuffixLength = sizeof(".trashinfo") - 1;

QString noTrashOnDrive()
{
    return QStringLiteral("No Trash folder can be used on the drive that holds it");
}

QString unsafeTrash()
{
    return QStringLiteral("The Trash folder on its drive is not safe to use");
}

QByteArray bytes(const QString &path)
{
    return QFile::encodeName(path);
}

QString parentOf(const QString &path)
{
    return QFileInfo(path).path();
}

QString childOf(const QString &folder, const QString &name)
{
    return folder == QLatin1String("/") ? folder + name : folder + QLatin1Char('/') + name;
}

// Creates a folder only its owner may enter, unless something is already there.
// Returns 0 or the errno value.
int makePrivateFolder(const QString &path)
{
    const QByteArray name = bytes(path);
    if (::mkdir(name.constData(), 0700) != 0)
        return errno == EEXIST ? 0 : errno;
    // The umask may have narrowed the mode: set exactly 0700 on the folder just made.
    const int fd = ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
        ::fchmod(fd, 0700);
        ::close(fd);
    }
    return 0;
}

// Creates the missing folders of `path`, from the nearest existing one down, each 0700.
int makePrivatePath(const QString &path)
{
    struct stat info {};
    if (::stat(bytes(path).constData(), &info) == 0)
        return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
    if (errno != ENOENT)
        return errno;
    const QString parent = parentOf(path);
    if (parent != path) {
        if (const int error = makePrivatePath(parent))
            return error;
    }
    return makePrivateFolder(path);
}

// The drive of the folder at `path` or, while it does not exist yet, of the nearest
// folder above it: the drive the folder will be on once it is created.
std::optional<dev_t> driveOfNearest(QString path)
{
    for (;;) {
        struct stat info {};
        if (::stat(bytes(path).constData(), &info) == 0)
            return info.st_dev;
        const QString parent = parentOf(path);
        if (errno != ENOENT || parent == path)
            return std::nullopt;
        path = parent;
    }
}

// The highest folder from `realParent` upwards that is still on `device`: the top of
// the drive. Empty when `realParent` itself is on another drive (the item is a mount point).
QString topFolderOf(const QString &realParent, dev_t device)
{
    QString top;
    for (QString folder = realParent;;) {
        struct stat info {};
        if (::stat(bytes(folder).constData(), &info) != 0 || info.st_dev != device)
            return top;
        top = folder;
        const QString parent = parentOf(folder);
        if (parent == folder)
            return top;
        folder = parent;
    }
}

// A real folder (a link is not enough) with the sticky bit, so users cannot take
// over each other's folders inside it.
bool isStickyFolder(const QString &path)
{
    struct stat info {};
    return ::lstat(bytes(path).constData(), &info) == 0 && S_ISDIR(info.st_mode)
        && (info.st_mode & S_ISVTX);
}

// Checks that `path` is a folder of this user on `device`. Only the home trash itself
// may be reached through a link: the user may have put it there on purpose.
std::optional<QString> checkFolder(const QString &path, dev_t device, bool mayBeLink)
{
    struct stat info {};
    const QByteArray name = bytes(path);
    if ((mayBeLink ? ::stat(name.constData(), &info) : ::lstat(name.constData(), &info)) != 0)
        return TrashError::reasonFor(errno);
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::getuid())
        return unsafeTrash();
    if (info.st_dev != device)
        return noTrashOnDrive();
    return std::nullopt;
}

// Makes the trash folder and its files/ and info/ exist and checks each of them.
std::optional<QString> prepareTrash(const QString &path, dev_t device, bool mayBeLink)
{
    const QString folders[] = {path, path + QStringLiteral("/files"), path + QStringLiteral("/info")};
    for (const QString &folder : folders) {
        if (const int error = makePrivateFolder(folder))
            return TrashError::reasonFor(error);
        if (auto problem = checkFolder(folder, device, mayBeLink && folder == path))
            return problem;
    }
    return std::nullopt;
}

// The shared name of an item's entry in files/ and its record in info/. The record's
// name is longer, so long names are shortened (at a character boundary) to let both fit.
QByteArray entryName(const QByteArray &name, int attempt)
{
    const QByteArray suffix = attempt == 1 ? QByteArray() : '.' + QByteArray::number(attempt);
    const qsizetype room = NAME_MAX - infoSuffixLength - suffix.size();
    QByteArray base = name;
    if (base.size() > room) {
        base.truncate(room);
        // Drop a multi-byte character that the cut may have split.
        while (!base.isEmpty() && (uchar(base.back()) & 0xC0) == 0x80)
            base.chop(1);
        if (!base.isEmpty() && uchar(base.back()) >= 0xC0)
            base.chop(1);
    }
    return base + suffix;
}

// Temporary records start with a dot and do not end in ".trashinfo": every trash tool
// passes over them.
QByteArray temporaryRecordPrefix()
{
    return QByteArrayLiteral(".stashwell-");
}
// A temporary record lives for the moment between its writing and its linking.
constexpr time_t staleAfterSeconds = 60;

// Writes a record under its temporary name and flushes it to the drive, so the name it is
// linked to never shows less than the whole record. Returns 0 or the errno value.
int writeDraft(const QByteArray &path, const QByteArray &data)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    int error = 0;
    for (qsizetype done = 0; done < data.size() && error == 0;) {
        const ssize_t written = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (written >= 0)
            done += written;
        else if (errno != EINTR)
            error = errno;
    }
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    if (error != 0)
        ::unlink(path.constData());
    return error;
}

// Renames without ever replacing what is at `to`. Returns 0 or the errno value.
int renameWithoutReplacing(const QByteArray &from, const QByteArray &to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // The file system cannot refuse a replacement itself: look first, then rename.
    struct stat info {};
    if (::lstat(to.constData(), &info) == 0)
        return EEXIST;
    if (errno != ENOENT)
        return errno;
    return ::rename(from.constData(), to.constData()) == 0 ? 0 : errno;
}

} // namespace

TrashCan::TrashCan(const QString &path, const QString &topFolder)
    : m_path(path), m_topFolder(topFolder)
{
}

QString TrashCan::homePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/Trash");
}

std::variant<TrashCan, QString> TrashCan::forItemOn(dev_t device, const QString &realParent)
{
    const QString home = homePath();
    if (driveOfNearest(home) == device) {
        if (const int error = makePrivatePath(home))
            return TrashError::reasonFor(error);
        if (auto problem = prepareTrash(home, device, true))
            return *problem;
        return TrashCan(home, QString());
    }

    const QString top = topFolderOf(realParent, device);
    if (top.isEmpty())
        return noTrashOnDrive();
    const QString uid = QString::number(::getuid());
    const QString shared = childOf(top, QStringLiteral(".Trash"));
    if (isStickyFolder(shared)) {
        const QString own = shared + QLatin1Char('/') + uid;
        if (!prepareTrash(own, device, false))
            return TrashCan(own, top);
    }
    const QString own = childOf(top, QStringLiteral(".Trash-") + uid);
    if (auto problem = prepareTrash(own, device, false))
        return *problem;
    return TrashCan(own, top);
}

QByteArray TrashCan::infoFor(const QString &originalPath) const
{
    // A trash at the top of a drive records paths below that top, so the record stays
    // right when the drive is mounted somewhere else.
    QString recorded = originalPath;
    if (!m_topFolder.isEmpty())
        recorded = originalPath.mid(m_topFolder == QLatin1String("/") ? 1 : m_topFolder.size() + 1);
    const QString deleted =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
    return "[Trash Info]\nPath=" + bytes(recorded).toPercentEncoding("/")
        + "\nDeletionDate=" + deleted.toLatin1() + '\n';
}

std::variant<TrashedItem, QString> TrashCan::take(const QString &originalPath) const
{
    const QByteArray source = bytes(originalPath);
    const QByteArray name = bytes(QFileInfo(originalPath).fileName());
    const QByteArray trash = bytes(m_path);

    const QByteArray draft = trash + "/info/" + temporaryRecordPrefix() + QByteArray::number(::getpid()) + '-'
        + QByteArray::number(QRandomGenerator::global()->generate64(), 36) + ".tmp";
    if (const int error = writeDraft(draft, infoFor(originalPath)))
        return TrashError::reasonFor(error);
    const auto dropDraft = qScopeGuard([&] { ::unlink(draft.constData()); });

    for (int attempt = 1; attempt <= maxNameAttempts; ++attempt) {
        const QByteArray entry = entryName(name, attempt);
        const QByteArray record = trash + "/info/" + entry + ".trashinfo";
        const QByteArray target = trash + "/files/" + entry;

        // link() never replaces: the name is claimed exclusively, with the whole record.
        if (::link(draft.constData(), record.constData()) != 0) {
            if (errno == EEXIST)
                continue;
            return TrashError::reasonFor(errno);
        }
        // files/ may still hold an entry whose record is gone: it is never replaced.
        const int error = renameWithoutReplacing(source, target);
        if (error == 0)
            return TrashedItem{originalPath, QFile::decodeName(target), QFile::decodeName(record)};
        ::unlink(record.constData());
        if (error == EEXIST)
            continue;
        return error == EXDEV ? noTrashOnDrive() : TrashError::reasonFor(error);
    }
    return TrashError::reasonFor(EEXIST);
}

std::optional<QString> TrashCan::putBack(const TrashedItem &item)
{
    if (const int error = renameWithoutReplacing(bytes(item.entryPath), bytes(item.originalPath)))
        return TrashError::reasonFor(error);
    if (::unlink(bytes(item.recordPath).constData()) != 0 && errno != ENOENT)
        return TrashError::reasonFor(errno);
    return std::nullopt;
}

void TrashCan::removeStaleRecords() const
{
    const QByteArray info = bytes(m_path + QStringLiteral("/info"));
    DIR *folder = ::opendir(info.constData());
    if (!folder)
        return;
    const time_t now = ::time(nullptr);
    while (const dirent *entry = ::readdir(folder)) {
        const QByteArray name(entry->d_name);
        if (!name.startsWith(temporaryRecordPrefix()) || !name.endsWith(".tmp"))
            continue;
        const QByteArray path = info + '/' + name;
        const pid_t owner = name.mid(temporaryRecordPrefix().size()).split('-').value(0).toInt();
        struct stat status {};
        if (::lstat(path.constData(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        const bool ownerGone = owner <= 0 || (::kill(owner, 0) != 0 && errno == ESRCH);
        if (ownerGone || now - status.st_mtime > staleAfterSeconds)
            ::unlink(path.constData());
    }
    ::closedir(folder);
}
