#include "core/DuplicateCopies.h"

#include <QLocale>
#include <QSet>

DuplicateCopies::DuplicateCopies(const QList<DetectedModel> &models) : m_models(models)
{
    for (qsizetype i = 0; i < models.size(); ++i) {
        if (models.at(i).duplicateGroup)
            m_groups[*models.at(i).duplicateGroup].append(i);
    }
}

QList<DetectedModel> DuplicateCopies::othersOf(const DetectedModel &model) const
{
    QList<DetectedModel> others;
    if (!model.duplicateGroup)
        return others;
    for (const qsizetype i : m_groups.value(*model.duplicateGroup)) {
        if (m_models.at(i).id != model.id)
            others.append(m_models.at(i));
    }
    return others;
}

QString DuplicateCopies::alsoIn(const DetectedModel &model) const
{
    QStringList sources;
    for (const DetectedModel &other : othersOf(model)) {
        if (!sources.contains(other.sourceTool.description()))
            sources.append(other.sourceTool.description());
    }
    return sources.isEmpty() ? QString() : QStringLiteral("Also in %1").arg(QLocale().createSeparatedList(sources));
}

QList<DuplicateCopies::Note> DuplicateCopies::selectionNotes(const QList<DetectedModel> &selection) const
{
    QSet<QUuid> selected;
    for (const DetectedModel &model : selection)
        selected.insert(model.id);
    QList<Note> notes;
    QSet<QUuid> noted;
    for (const DetectedModel &model : selection) {
        if (!model.duplicateGroup || noted.contains(*model.duplicateGroup))
            continue;
        noted.insert(*model.duplicateGroup);
        QStringList left;
        for (const qsizetype i : m_groups.value(*model.duplicateGroup)) {
            const DetectedModel &member = m_models.at(i);
            if (!selected.contains(member.id))
                left.append(QStringLiteral("%1 in %2").arg(member.displayName, member.sourceTool.description()));
        }
        if (left.isEmpty())
            notes.append({QStringLiteral("Every copy of %1 is selected: nothing of it is left on disk.").arg(model.displayName), true});
        else
            notes.append({QStringLiteral("Left on disk: %1.").arg(QLocale().createSeparatedList(left)), false});
    }
    return notes;
}

QList<DetectedModel> DuplicateCopies::copiesBesides(const DetectedModel &kept) const
{
    if (kept.duplicateVerificationStatus.state() != DuplicateVerificationStatus::State::verified)
        return {};
    return othersOf(kept);
}
