#include "core/ModelSelection.h"

#include "core/KeyTable.h"
#include "core/ModelSections.h"

#include <algorithm>

namespace {
const KeyTable<ModelSelection::Kind> &kindKeys()
{
    static const KeyTable<ModelSelection::Kind> table{
        {ModelSelection::Kind::orphans, QStringLiteral("orphans")},
        {ModelSelection::Kind::leftovers, QStringLiteral("leftovers")},
        {ModelSelection::Kind::duplicates, QStringLiteral("duplicates")},
        {ModelSelection::Kind::models, QStringLiteral("models")},
    };
    return table;
}
} // namespace

bool ModelSelection::isKind(Kind kind, const DetectedModel &model)
{
    switch (kind) {
    case Kind::orphans: return model.isOrphaned;
    case Kind::leftovers: return model.isLeftover();
    case Kind::duplicates: return model.duplicateGroup.has_value();
    case Kind::models: return !model.isLeftover();
    }
    return false;
}

bool ModelSelection::matches(const DetectedModel &model, const QDateTime &now) const
{
    if (!kinds.isEmpty() && std::none_of(kinds.begin(), kinds.end(), [&](Kind kind) { return isKind(kind, model); }))
        return false;
    if (!sources.isEmpty() && !sources.contains(model.sourceTool.kind()))
        return false;
    if ((largerThan && model.sizeBytes <= *largerThan) || (smallerThan && model.sizeBytes >= *smallerThan))
        return false;
    if (olderThan || newerThan) {
        if (isDistantPast(model.lastModified))
            return false;
        const qint64 age = model.lastModified.secsTo(now);
        if ((olderThan && age <= *olderThan) || (newerThan && age >= *newerThan))
            return false;
    }
    return true;
}

QList<qsizetype> ModelSelection::select(const QList<DetectedModel> &models, const QDateTime &now) const
{
    QList<qsizetype> rows;
    for (const ModelSection &section : ModelSection::build(models)) {
        for (const qsizetype row : section.modelRows) {
            if (matches(models[row], now))
                rows.append(row);
        }
    }
    if (order == ModelOrder::Key::window) {
        if (reversed)
            std::reverse(rows.begin(), rows.end());
    } else {
        const ModelOrder comesBefore(order);
        std::stable_sort(rows.begin(), rows.end(), [&](qsizetype a, qsizetype b) {
            return reversed ? comesBefore(models[b], models[a]) : comesBefore(models[a], models[b]);
        });
    }
    if (limit && rows.size() > *limit)
        rows.resize(*limit);
    // With no order asked for, what was picked keeps the list's own order: the window
    // groups it into sections anyway, and scripts have always read the scan's order.
    if (order == ModelOrder::Key::window && !reversed)
        std::sort(rows.begin(), rows.end());
    return rows;
}

bool ModelSelection::isNarrowed() const
{
    return !kinds.isEmpty() || !sources.isEmpty() || largerThan || smallerThan || olderThan || newerThan || limit;
}

std::optional<ModelSelection::Kind> ModelSelection::kindFromKey(const QString &text)
{
    return kindKeys().find(text);
}

QString ModelSelection::key(Kind kind)
{
    return kindKeys().name(kind);
}

QStringList ModelSelection::acceptedKinds()
{
    return kindKeys().names();
}
