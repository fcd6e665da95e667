#pragma once

#include "scanning/FileAttributes.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

// A deep walk below a folder that scanners share. Hidden entries (names starting
// with ".") are neither reported nor entered; symbolic links are reported but never
// followed; a subfolder that cannot be read is skipped. Each folder's entries come in
// byte order of their raw names, whatever order the file system lists them in, so a
// scan gives the same list on every file system. The walk keeps its own stack,
// so a tree thousands of levels deep cannot exhaust the call stack, and it looks
// at nothing but the names and types the folder listing already gives.
class DirectoryWalker
{
public:
    enum class EntryType { regular, directory, symlink, other, unknown };

    class Entry
    {
    public:
        // The raw file name, as the file system stores it.
        QByteArrayView name() const { return QByteArrayView(m_name); }
        EntryType type() const { return m_type; }
        QByteArray nativePath() const;
        // The folder the entry lies in, as the walk reached it.
        const QByteArray &folderNativePath() const { return m_dirPath; }
        // The path as text, or nothing when the name cannot be represented as text
        // exactly (such a file could not be addressed again safely).
        std::optional<QString> path() const;
        // Size and date in one request relative to the open folder.
        FileAttributes attributes() const;
        // What a symbolic link says, read without following it; nothing for anything else.
        std::optional<QByteArray> linkTarget() const;

    private:
        friend class DirectoryWalker;
        Entry(int dirFd, const char *name, const QByteArray &dirPath, EntryType type)
            : m_dirFd(dirFd), m_name(name), m_dirPath(dirPath), m_type(type) {}
        int m_dirFd;
        const char *m_name;
        const QByteArray &m_dirPath;
        EntryType m_type;
    };

    using Visitor = std::function<void(const Entry &)>;

    // Walks everything below root (a link at root itself is followed, as the user
    // named that folder). Returns false when root cannot be opened as a folder.
    static bool walk(const QString &root, const Visitor &visit);
    // The same, entering only the subfolders `enter` accepts (each is still visited).
    using FolderFilter = std::function<bool(const Entry &)>;
    static bool walk(const QString &root, const Visitor &visit, const FolderFilter &enter);

    struct ListedEntry
    {
        QString path;
        EntryType type;
    };
    enum class Listing { everything, foldersAndLinks };
    // The non-hidden entries directly inside one folder (or only its folders and links,
    // cheaper in a folder of many files), or nothing when it cannot be listed.
    static std::optional<QList<ListedEntry>> list(const QString &folder, Listing listing = Listing::everything);

    // The last extension of a raw file name, or empty when there is none.
    static QByteArrayView extension(QByteArrayView name);
};
