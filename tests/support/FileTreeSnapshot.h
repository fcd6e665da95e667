#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>

// Every entry below a folder (hidden ones too) with its type, permissions, size and
// modification time, as it was at one moment. Links are recorded, never followed; names
// are kept as raw bytes, so names that are not valid text are compared too, and trees
// too deep for one path are walked all the same. Take one before and one after an
// operation, and ask what changed but the moves to the Trash.
class FileTreeSnapshot
{
public:
    explicit FileTreeSnapshot(const QString &root);

    // After a deletion that should have moved exactly `moved` (absolute paths below the
    // root) into the Trash at `trash` (below the root): one line per thing that is not so.
    // Allowed: each moved item leaves its place and is in files/ as the very same file,
    // with a whole record in info/ naming its real original path; Trash folders and the
    // lock folder come into being; folders that lost or gained an entry change their time.
    QStringList problemsAfterTrashing(const FileTreeSnapshot &before, const QStringList &moved,
                                      const QString &trash) const;

    // Raw path bytes as text: control and non-ASCII bytes escaped as \xNN.
    static QString shown(const QByteArray &raw);

private:
    struct State
    {
        unsigned mode = 0; // type and permissions
        qint64 size = 0;
        qint64 modifiedNanoseconds = 0;
        unsigned long long inode = 0; // a file replaced under the same name is a change
        friend bool operator==(const State &, const State &) = default;
    };
    QByteArray relative(const QString &path) const;
    // What `trash`'s info/ records now: original path -> entry name, or a problem line.
    QStringList readRecords(const QByteArray &trash, std::map<QByteArray, QByteArray> &records) const;

    QByteArray m_root;
    std::map<QByteArray, State> m_entries; // relative raw path -> state
};
