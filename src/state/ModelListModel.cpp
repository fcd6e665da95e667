#include "state/ModelListModel.h"

#include "scanning/CustomFolderScanner.h"
#include "catalogue/ByteCountFormatter.h"
#include "catalogue/ModelSourceDefinition.h"
#include "core/ModelOrder.h"
#include "core/ModelSections.h"
#include "core/ModelSummary.h"

#include <QDir>
#include <QLocale>

namespace {
// The stored folder a custom section's models were scanned from: the folder whose
// name matches and which holds the section's first file.
QString folderOf(const ModelSection &section, const QList<DetectedModel> &models, const QStringList &customFolders)
{
    const QString firstFile = models[section.modelRows.first()].filePaths.value(0);
    QString byName;
    for (const QString &folder : customFolders) {
        if (CustomFolderScanner::folderName(folder) != section.source.folderName())
            continue;
        if (byName.isEmpty())
            byName = folder;
        if (firstFile.startsWith(QDir::cleanPath(folder) + QLatin1Char('/')))
            return folder;
    }
    return byName;
}

// The order the sort choice names: "scan" keeps each section's scan order.
std::optional<ModelOrder::Key> rowOrder(const QString &name)
{
    return name == QLatin1String("scan") ? ModelOrder::Key::window : ModelOrder::fromKey(name);
}

// What the search field finds a model by, besides its name and source.
bool detailsContain(const DetectedModel &model, const QString &text)
{
    return model.details
        && (model.details->architecture.contains(text, Qt::CaseInsensitive)
            || model.details->quantization.contains(text, Qt::CaseInsensitive));
}

QString badgeName(const DetectedModel &model)
{
    if (!model.duplicateGroup)
        return QStringLiteral("none");
    switch (model.duplicateVerificationStatus.state()) {
    case DuplicateVerificationStatus::State::unverified: return QStringLiteral("likely");
    case DuplicateVerificationStatus::State::verified: return QStringLiteral("verified");
    case DuplicateVerificationStatus::State::unableToVerify: return QStringLiteral("unable");
    }
    return QStringLiteral("none");
}

// The marks a row's accessible name lists after its size, in this order. Each says in
// words what the row shows as a subtitle, a badge or a note; empty when it does not apply.
using RowMark = QString (*)(const DetectedModel &model);
QString markIf(bool applies, const char *text) { return applies ? QString::fromLatin1(text) : QString(); }
constexpr RowMark rowMarks[] = {
    [](const DetectedModel &m) { return markIf(m.isOrphaned, "orphaned"); },
    [](const DetectedModel &m) { return markIf(m.leftover == LeftoverKind::partialDownload, "unfinished download"); },
    [](const DetectedModel &m) { return markIf(m.leftover == LeftoverKind::unreferencedBlob, "blob no model uses"); },
    [](const DetectedModel &m) { return markIf(m.leftover == LeftoverKind::oldRevision, "old revision"); },
    [](const DetectedModel &m) { return m.repoTypeText().toLower(); },
    [](const DetectedModel &m) { return m.missingPartsText().toLower(); },
    [](const DetectedModel &m) {
        return markIf(m.mayStillBeDownloading(QDateTime::currentDateTimeUtc()), "may still be downloading");
    },
    [](const DetectedModel &m) { return markIf(badgeName(m) == QLatin1String("likely"), "likely duplicate"); },
    [](const DetectedModel &m) { return markIf(badgeName(m) == QLatin1String("verified"), "verified duplicate"); },
    [](const DetectedModel &m) { return markIf(badgeName(m) == QLatin1String("unable"), "unable to verify"); },
    [](const DetectedModel &m) { return markIf(!m.problem.isEmpty(), "cannot be moved"); },
};

// What identifies a row's model from one scan to the next, where its id is drawn afresh.
QString rowKey(const DetectedModel &model)
{
    return model.sourceTool.key() + QLatin1Char('\n') + model.displayName + QLatin1Char('\n') + model.filePaths.value(0);
}
} // namespace

QString ModelListModel::modifiedText(const QDateTime &date)
{
    return QStringLiteral("Modified ") + QLocale().toString(date.toLocalTime().date(), QStringLiteral("MMM d, yyyy"));
}

QString ModelListModel::subtitle(const DetectedModel &model)
{
    QStringList labels;
    if (model.isLeftover())
        labels << model.leftoverDescription();
    labels << model.repoTypeText();
    if (model.isLeftover() || model.isOrphaned)
        labels << model.sourceTool.description();
    labels.removeAll(QString());
    return labels.join(QStringLiteral(" \u00b7 "));
}

QString ModelListModel::note(const DetectedModel &model)
{
    if (!model.missingParts.isEmpty())
        return model.missingPartsText();
    return model.mayStillBeDownloading(QDateTime::currentDateTimeUtc()) ? QStringLiteral("May still be downloading") : QString();
}

QString ModelListModel::accessibleName(const DetectedModel &model)
{
    QStringList parts{model.displayName, model.sourceTool.description(), ByteCountFormatter::format(model.sizeBytes)};
    for (const RowMark mark : rowMarks)
        parts.append(mark(model));
    parts.removeAll(QString());
    return parts.join(QStringLiteral(", "));
}

QString ModelListModel::accessibleDescription(const DetectedModel &model, const QString &alsoIn)
{
    QStringList lines;
    if (model.details)
        lines.append(model.details->summary());
    lines.append(modifiedText(model.lastModified));
    if (!alsoIn.isEmpty())
        lines.append(alsoIn);
    if (badgeName(model) == QLatin1String("unable"))
        lines.append(QStringLiteral("Unable to verify duplicate status. %1").arg(model.duplicateVerificationStatus.reason()));
    if (!model.problem.isEmpty())
        lines.append(model.problem);
    return lines.join(QLatin1Char('\n'));
}

QString ModelListModel::headerAccessibleName(const Row &header, qsizetype firstRow) const
{
    QList<DetectedModel> shown;
    for (qsizetype i = firstRow; i < firstRow + header.count; ++i)
        shown.append((*m_models)[m_rows[i].modelIndex]);
    return QStringList{header.title, ModelSummary::countText(shown), ByteCountFormatter::format(header.totalSize)}
        .join(QStringLiteral(", "));
}

int ModelListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QHash<int, QByteArray> ModelListModel::roleNames() const
{
    return {{RowKindRole, "rowKind"},         {TitleRole, "title"},
            {CountRole, "count"},             {SizeBytesRole, "sizeBytes"},
            {SizeTextRole, "sizeText"},       {WarningRole, "warning"},
            {SourceKindRole, "sourceKind"},   {SourceTextRole, "sourceText"},
            {FolderPathRole, "folderPath"},   {ModelIdRole, "modelId"},
            {ModifiedTextRole, "modifiedText"}, {BadgeRole, "badge"},
            {BadgeReasonRole, "badgeReason"}, {DuplicateGroupRole, "duplicateGroup"},
            {SelectedRole, "selected"},       {FirstFilePathRole, "firstFilePath"},
            {ShowSourceLabelRole, "showSourceLabel"}, {ProblemRole, "problem"},
            {SubtitleRole, "subtitle"},       {NoteRole, "note"},
            {LibraryCacheRole, "libraryCache"}, {SymbolRole, "symbol"},
            {AccessibleNameRole, "accessibleName"}, {AccessibleDescriptionRole, "accessibleDescription"},
            {AlsoInRole, "alsoIn"}, {DetailsRole, "details"}};
}

QVariant ModelListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || !m_models)
        return {};
    const Row &row = m_rows[index.row()];
    if (row.isHeader) {
        switch (role) {
        case RowKindRole: return QStringLiteral("header");
        case TitleRole: return row.title;
        case CountRole: return int(row.count);
        case SizeBytesRole: return double(row.totalSize);
        case SizeTextRole: return ByteCountFormatter::format(row.totalSize);
        case WarningRole: return row.warning;
        case SourceKindRole: return row.warning ? QString() : row.source.key();
        case SourceTextRole: return row.warning ? QString() : row.source.description();
        case FolderPathRole: return row.folderPath;
        case LibraryCacheRole: {
            const ModelSourceDefinition *definition = row.warning ? nullptr : ModelSourceDefinition::find(row.source);
            return definition && definition->libraryCache;
        }
        case SymbolRole: {
            const ModelSourceDefinition *definition = row.warning ? nullptr : ModelSourceDefinition::find(row.source);
            return definition ? definition->symbol : QString();
        }
        case AccessibleNameRole: return headerAccessibleName(row, index.row() + 1);
        default: return {};
        }
    }
    const DetectedModel &model = (*m_models)[row.modelIndex];
    switch (role) {
    case RowKindRole: return QStringLiteral("model");
    case TitleRole: return model.displayName;
    case SizeBytesRole: return double(model.sizeBytes);
    case SizeTextRole: return ByteCountFormatter::format(model.sizeBytes);
    case WarningRole: return model.isOrphaned;
    case SourceKindRole: return model.sourceTool.key();
    case SourceTextRole: return model.sourceTool.description();
    case ModelIdRole: return model.id.toString(QUuid::WithoutBraces);
    case ModifiedTextRole: return modifiedText(model.lastModified);
    case BadgeRole: return badgeName(model);
    case BadgeReasonRole: return model.duplicateVerificationStatus.reason();
    case DuplicateGroupRole: return model.duplicateGroup ? model.duplicateGroup->toString(QUuid::WithoutBraces) : QString();
    case SelectedRole: return m_selection && m_selection->contains(model.id);
    case FirstFilePathRole: return model.filePaths.value(0);
    case ShowSourceLabelRole: return !subtitle(model).isEmpty();
    case ProblemRole: return model.problem;
    case SubtitleRole: return subtitle(model);
    case NoteRole: return note(model);
    case AccessibleNameRole: return accessibleName(model);
    case AccessibleDescriptionRole: return accessibleDescription(model, m_copies.alsoIn(model));
    case AlsoInRole: return m_copies.alsoIn(model);
    case DetailsRole: return model.details ? model.details->summary() : QString();
    default: return {};
    }
}

void ModelListModel::setModels(const QList<DetectedModel> *models, const QStringList &customFolders)
{
    m_models = models;
    m_customFolders = customFolders;
    rebuildRows();
}

void ModelListModel::setFilterText(const QString &text)
{
    if (text == m_filterText)
        return;
    m_filterText = text;
    rebuildRows();
    emit filterTextChanged();
}

void ModelListModel::setSortOrder(const QString &order)
{
    if (order == m_sortOrder || !rowOrder(order))
        return;
    m_sortOrder = order;
    rebuildRows();
    emit sortOrderChanged();
}

QList<qsizetype> ModelListModel::shownRows(const QList<qsizetype> &sectionRows) const
{
    const QString wanted = m_filterText.trimmed();
    QList<qsizetype> rows;
    for (const qsizetype index : sectionRows) {
        const DetectedModel &model = (*m_models)[index];
        if (wanted.isEmpty() || model.displayName.contains(wanted, Qt::CaseInsensitive)
            || model.sourceTool.description().contains(wanted, Qt::CaseInsensitive) || detailsContain(model, wanted))
            rows.append(index);
    }
    if (const ModelOrder::Key key = rowOrder(m_sortOrder).value_or(ModelOrder::Key::window); key != ModelOrder::Key::window) {
        const ModelOrder comesBefore(key);
        std::stable_sort(rows.begin(), rows.end(),
                         [&](qsizetype a, qsizetype b) { return comesBefore((*m_models)[a], (*m_models)[b]); });
    }
    return rows;
}

void ModelListModel::rebuildRows()
{
    beginResetModel();
    m_rows.clear();
    m_copies = DuplicateCopies(m_models ? *m_models : QList<DetectedModel>());
    const QList<ModelSection> sections = m_models ? ModelSection::build(*m_models) : QList<ModelSection>();
    for (const ModelSection &section : sections) {
        const QList<qsizetype> shown = shownRows(section.modelRows);
        if (shown.isEmpty())
            continue; // a search hides the sections it finds nothing in
        Row header;
        header.isHeader = true;
        header.title = section.title;
        header.count = shown.size();
        for (const qsizetype index : shown)
            header.totalSize = addSizes(header.totalSize, (*m_models)[index].sizeBytes);
        header.warning = section.isWarning();
        header.source = section.source;
        if (!section.isWarning() && section.source.isCustom())
            header.folderPath = folderOf(section, *m_models, m_customFolders);
        m_rows.append(header);
        for (const qsizetype index : shown) {
            Row row;
            row.modelIndex = index;
            m_rows.append(row);
        }
    }
    m_currentRow = rowAfterRebuild(m_currentKey, m_currentRow);
    m_currentKey = m_currentRow < 0 ? QString() : rowKey(*currentModel());
    endResetModel();
    // The view resets its own current row with the model: tell it ours again.
    emit currentRowChanged();
}

QList<int> ModelListModel::modelRowIndices() const
{
    QList<int> rows;
    for (int i = 0; i < m_rows.size(); ++i) {
        if (!m_rows[i].isHeader)
            rows.append(i);
    }
    return rows;
}

int ModelListModel::rowAfterRebuild(const QString &currentKey, int previousRow) const
{
    const QList<int> rows = modelRowIndices();
    if (rows.isEmpty())
        return -1;
    if (!currentKey.isEmpty()) {
        for (const int row : rows) {
            if (rowKey((*m_models)[m_rows[row].modelIndex]) == currentKey)
                return row;
        }
    }
    const auto atOrAfter = std::lower_bound(rows.begin(), rows.end(), previousRow);
    return atOrAfter == rows.end() ? rows.last() : *atOrAfter;
}

void ModelListModel::setCurrentRow(int row)
{
    if (row == m_currentRow || row < 0 || row >= m_rows.size() || m_rows[row].isHeader)
        return;
    m_currentRow = row;
    m_currentKey = rowKey(*currentModel());
    emit currentRowChanged();
}

void ModelListModel::moveCurrentRow(int steps)
{
    const QList<int> rows = modelRowIndices();
    if (rows.isEmpty())
        return;
    const qsizetype here = rows.indexOf(m_currentRow);
    // From no row yet, the first step down lands on the first row.
    const qsizetype from = here >= 0 ? here : (steps > 0 ? -1 : 0);
    setCurrentRow(rows[std::clamp<qsizetype>(from + steps, 0, rows.size() - 1)]);
}

const DetectedModel *ModelListModel::currentModel() const
{
    if (!m_models || m_currentRow < 0 || m_currentRow >= m_rows.size() || m_rows[m_currentRow].isHeader)
        return nullptr;
    return &(*m_models)[m_rows[m_currentRow].modelIndex];
}

QList<QUuid> ModelListModel::shownModelIds() const
{
    QList<QUuid> ids;
    for (const Row &row : m_rows) {
        if (!row.isHeader)
            ids.append((*m_models)[row.modelIndex].id);
    }
    return ids;
}

void ModelListModel::setSelection(const QSet<QUuid> *selection)
{
    m_selection = selection;
}

void ModelListModel::emitChanged(const QList<int> &roles)
{
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), roles);
}

void ModelListModel::refreshModelRows()
{
    m_copies = DuplicateCopies(m_models ? *m_models : QList<DetectedModel>());
    emitChanged({BadgeRole, BadgeReasonRole, DuplicateGroupRole, AlsoInRole});
}

void ModelListModel::refreshSelection()
{
    emitChanged({SelectedRole});
}
