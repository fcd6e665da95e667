#include "core/DuplicateCopies.h"

#include <QLocale>
#include <QSet>

namespace {
// Adds one member under `key` to a list of (key, members), counting it when it is there.
template<typename Key, typename Equal>
void count(QList<std::pair<Key, int>> &counted, const Key &key, Equal equal)
{
    const auto found = std::find_if(counted.begin(), counted.end(), [&](const auto &entry) { return equal(entry.first, key); });
    if (found == counted.end())
        counted.append({key, 1});
    else
        ++found->second;
}
} // namespace

DuplicateCopies::DuplicateCopies(const QList<DetectedModel> &models) : m_models(models)
{
    // A source and name once per group: looked up by text, as a group may hold thousands.
    QHash<QUuid, QHash<QString, qsizetype>> copyIndex;
    for (qsizetype i = 0; i < models.size(); ++i) {
        const DetectedModel &model = models.at(i);
        if (!model.duplicateGroup)
            continue;
        Group &group = m_groups[*model.duplicateGroup];
        group.members.append(i);
        count(group.sources, model.sourceTool.description(), std::equal_to<QString>());
        const QString key = model.sourceTool.key() + u'\n' + model.sourceTool.folderName() + u'\n' + model.displayName;
        QHash<QString, qsizetype> &index = copyIndex[*model.duplicateGroup];
        if (const auto found = index.constFind(key); found != index.cend()) {
            ++group.copies[*found].second;
        } else {
            index.insert(key, group.copies.size());
            group.copies.append({{model.sourceTool, model.displayName}, 1});
        }
    }
}

QList<DuplicateCopies::Copy> DuplicateCopies::otherCopies(const DetectedModel &model, qsizetype most) const
{
    QList<Copy> others;
    if (!model.duplicateGroup)
        return others;
    for (const auto &[copy, members] : m_groups.value(*model.duplicateGroup).copies) {
        if (others.size() == most)
            break;
        // The model's own pair counts only when another member shares it.
        if (members > 1 || copy.source != model.sourceTool || copy.name != model.displayName)
            others.append(copy);
    }
    return others;
}

QString DuplicateCopies::alsoIn(const DetectedModel &model) const
{
    if (!model.duplicateGroup)
        return {};
    const QString own = model.sourceTool.description();
    QStringList sources;
    for (const auto &[source, members] : m_groups.value(*model.duplicateGroup).sources) {
        if (source != own || members > 1)
            sources.append(source);
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
        qsizetype more = 0;
        for (const qsizetype i : m_groups.value(*model.duplicateGroup).members) {
            const DetectedModel &member = m_models.at(i);
            if (selected.contains(member.id))
                continue;
            if (left.size() < notedCopies)
                left.append(QStringLiteral("%1 in %2").arg(member.displayName, member.sourceTool.description()));
            else
                ++more;
        }
        if (more > 0)
            left.append(QStringLiteral("%1 more").arg(more));
        if (left.isEmpty())
            notes.append({QStringLiteral("Every copy of %1 is selected: nothing of it is left on disk.").arg(model.displayName), true});
        else
            notes.append({QStringLiteral("Left on disk: %1.").arg(QLocale().createSeparatedList(left)), false});
    }
    return notes;
}

QList<DetectedModel> DuplicateCopies::copiesBesides(const DetectedModel &kept) const
{
    QList<DetectedModel> others;
    if (!kept.duplicateGroup || kept.duplicateVerificationStatus.state() != DuplicateVerificationStatus::State::verified)
        return others;
    for (const qsizetype i : m_groups.value(*kept.duplicateGroup).members) {
        if (m_models.at(i).id != kept.id)
            others.append(m_models.at(i));
    }
    return others;
}
