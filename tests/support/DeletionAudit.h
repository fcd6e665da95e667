#pragma once

#include "support/FileTreeSnapshot.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <sys/stat.h>

// Proof that a deletion moved exactly the expected items to a Trash and changed nothing
// else. Made just before the deletion over the folders it could touch (the home, which
// holds the home Trash, and any other drive, which keeps its Trash at its top), and asked
// afterwards. What a deletion may do: each expected item leaves its place and is found in
// a Trash's files/ as the very same file (same drive, inode, type, size and time) with a
// new record in info/ naming its original place; Trash folders come into being; folders
// that lost or gained an entry get a new time. Anything else is a problem, reported with
// its path.
class DeletionAudit
{
public:
    // `roots`: folders to watch; a root inside another is not walked twice but still counts
    // as the top of a drive whose Trash may be used. `expectedMoves`: absolute paths.
    DeletionAudit(const QStringList &roots, const QStringList &expectedMoves);

    // One line per thing that is not as it should be after the deletion; empty when the
    // deletion did exactly what was expected.
    QStringList problems() const;

    // After the desktop's tool put every expected item back: each is at its place again as
    // the same file, no record of it is left, and apart from Trash folders and folder
    // times nothing differs from before the deletion.
    QStringList problemsOnceRestored() const;

private:
    struct Item
    {
        QByteArray path;     // as given
        QByteArray original; // the real parent folder plus the name: what a record names
        struct stat before {};
    };
    struct Record
    {
        QByteArray original; // decoded from the record, absolute
        QByteArray entry;    // the item in files/
        QByteArray file;     // the .trashinfo file
        QByteArray trash;    // the trash folder holding it
        bool wellFormed = false;
    };

    // Every trash folder that exists now: the home Trash and each root's `.Trash-*` and `.Trash/*`.
    QList<QByteArray> trashFolders() const;
    QList<Record> newRecords() const;
    // Differences between the trees and the allowed ones, given the places items went to.
    QStringList unexpectedDifferences(const QSet<QByteArray> &removed, const QSet<QByteArray> &added,
                                      const QList<QByteArray> &trashes) const;

    QStringList m_roots;                 // every root given
    QStringList m_walked;                // the roots not inside another
    QList<FileTreeSnapshot> m_snapshots; // one per walked root
    QList<Item> m_items;
    QSet<QByteArray> m_recordsBefore; // .trashinfo files that were there already
};

// Passes when the audit found nothing wrong, and otherwise names every problem.
#define QVERIFY_AS_AUDITED(problemList)                                                                          \
    do {                                                                                                         \
        const QStringList auditProblems = (problemList);                                                         \
        QVERIFY2(auditProblems.isEmpty(), qPrintable(auditProblems.join(QLatin1Char('\n'))));                   \
    } while (false)
