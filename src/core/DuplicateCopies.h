#pragma once

#include "catalogue/DetectedModel.h"

#include <QHash>
#include <QList>
#include <QStringList>

// The duplicate groups of one model list, for what the user reads and picks: where a
// model's other copies live, what a selection leaves of each group, and which copies
// "keep one" moves. Both front ends word it alike from here.
class DuplicateCopies
{
public:
    explicit DuplicateCopies(const QList<DetectedModel> &models);

    // The other members of the model's group, in list order; empty when it is in none.
    QList<DetectedModel> othersOf(const DetectedModel &model) const;
    // "Also in LM Studio, Jan and Hugging Face": the sources of the other members, each
    // once, in list order; empty when the model is in no group.
    QString alsoIn(const DetectedModel &model) const;
    // One sentence for each group that moving `selection` to the Trash touches, in the
    // order of the selection: the copies it leaves and where they are, or that it moves
    // every copy (a warning).
    struct Note
    {
        QString text;
        bool everyCopy = false;
    };
    QList<Note> selectionNotes(const QList<DetectedModel> &selection) const;
    // "Keep one": every other member of the group of `kept`, when that group is verified;
    // else nothing.
    QList<DetectedModel> copiesBesides(const DetectedModel &kept) const;

private:
    QList<DetectedModel> m_models;
    QHash<QUuid, QList<qsizetype>> m_groups; // positions, list order
};
