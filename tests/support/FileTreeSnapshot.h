#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>

// Every entry below a folder (hidden ones too) with its type, permissions, size and
// modification time, as it was at one moment. Links are recorded, never followed; names
// are kept as raw bytes, so names that are not valid text are compared too, and trees
// too deep for one path are walked all the same. Take one before and one after an
// operation that must not change anything, and compare.
class FileTreeSnapshot
{
public:
    explicit FileTreeSnapshot(const QString &root);

    qsizetype entryCount() const { return qsizetype(m_entries.size()); }
    // Paths below the root (raw bytes shown as escaped text) that were added, removed or
    // changed since `before`, one line each; empty when nothing changed.
    QStringList differencesFrom(const FileTreeSnapshot &before) const;

    friend bool operator==(const FileTreeSnapshot &, const FileTreeSnapshot &) = default;

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
    std::map<QByteArray, State> m_entries; // relative raw path -> state
};
