#pragma once

#include "catalogue/DetectedModel.h"

#include <QHash>
#include <QList>
#include <QStringList>

// The duplicate groups of one model list, for what the user reads and picks: where a
// model's other copies live, what a selection leaves of each group, and which copies
// "keep one" moves. Both front ends word it alike from here.
//
// Each group is summed up once, so that what is said of one model costs no pass over
// its group: a hostile home can hold groups of thousands of likely copies.
class DuplicateCopies
{
public:
    explicit DuplicateCopies(const QList<DetectedModel> &models);

    // The source and name of each other member of the model's group, a pair said once
    // however many members share it, in list order, at most `most` of them.
    struct Copy
    {
        SourceTool source;
        QString name;
    };
    QList<Copy> otherCopies(const DetectedModel &model, qsizetype most) const;
    // "Also in LM Studio, Jan, Hugging Face": the sources of the other members, each
    // once, in list order; empty when the model is in no group.
    QString alsoIn(const DetectedModel &model) const;
    // One sentence for each group that moving `selection` to the Trash touches, in the
    // order of the selection: the copies it leaves and where they are (the first few), or
    // that it moves every copy (a warning).
    struct Note
    {
        QString text;
        bool everyCopy = false;
    };
    QList<Note> selectionNotes(const QList<DetectedModel> &selection) const;
    // "Keep one": every other member of the group of `kept`, when that group is verified;
    // else nothing.
    QList<DetectedModel> copiesBesides(const DetectedModel &kept) const;

    static constexpr qsizetype notedCopies = 5; // copies named in a note before "and N more"

private:
    struct Group
    {
        QList<qsizetype> members;                  // positions, list order
        QList<std::pair<QString, int>> sources;   // each member's source once, with its number of members
        QList<std::pair<Copy, int>> copies;       // each source and name once, with its number of members
    };
    QList<DetectedModel> m_models;
    QHash<QUuid, Group> m_groups;
};
