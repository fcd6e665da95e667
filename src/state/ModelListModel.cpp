#include "state/ModelListModel.h"

#include "scanning/CustomFolderScanner.h"
#include "catalogue/ByteCountFormatter.h"
#include "catalogue/ModelSourceDefinition.h"
#include "core/ModelSections.h"

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

// A model of unknown size sorts after every counted one.
qint64 parameterCount(const DetectedModel &model)
{
    return model.details && model.details->parameters ? *model.details->parameters : -1;
}

// What the search field finds a model by, besides its name and source.
bool detailsContain(const DetectedModel &model, const QString &text)
{
    return model.details
        && (model.details->architecture.contains(text, Qt::CaseInsensitive)
            || model.details->quantization.contains(text, Qt::CaseInsensitive));
}

// The orders a section's rows can take besides the scan's own, each a "comes before" test;
// ties keep the scan order.
using RowOrder = bool (*)(const DetectedModel &, const DetectedModel &);
const QHash<QString, RowOrder> &rowOrders()
{
    static const QHash<QString, RowOrder> orders{
        {QStringLiteral("size"), [](const DetectedModel &a, const DetectedModel &b) { return a.sizeBytes > b.sizeBytes; }},
        {QStringLiteral("name"),
         [](const DetectedModel &a, const DetectedModel &b) { return a.displayName.localeAwareCompare(b.displayName) < 0; }},
        {QStringLiteral("date"), [](const DetectedModel &a, const DetectedModel &b) { return a.lastModified > b.lastModified; }},
        {QStringLiteral("parameters"),
         [](const DetectedModel &a, const DetectedModel &b) { return parameterCount(a) > parameterCount(b); }},
    };
    return orders;
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
} // namespace

QString ModelListModel::modifiedText(const QDateTime &date)
{
    return QStringLiteral("Modified ") + QLocale().toString(date.toLocalTime().date(), QStringLiteral("MMM d, yyyy"));
}

QString ModelListModel::subtitle(const DetectedModel &model)
{
    if (model.isLeftover())
        return model.leftoverDescription() + QStringLiteral(" \u00b7 ") + model.sourceTool.description();
    return model.isOrphaned ? model.sourceTool.description() : QString();
}

QString ModelListModel::note(const DetectedModel &model)
{
    return model.mayStillBeDownloading(QDateTime::currentDateTimeUtc()) ? QStringLiteral("May still be downloading") : QString();
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
            {LibraryCacheRole, "libraryCache"}, {DetailsRole, "details"}};
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
    case ShowSourceLabelRole: return model.isOrphaned || model.isLeftover();
    case ProblemRole: return model.problem;
    case SubtitleRole: return subtitle(model);
    case NoteRole: return note(model);
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
    if (order == m_sortOrder || (order != QLatin1String("scan") && !rowOrders().contains(order)))
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
    if (const auto order = rowOrders().constFind(m_sortOrder); order != rowOrders().cend()) {
        std::stable_sort(rows.begin(), rows.end(),
                         [&](qsizetype a, qsizetype b) { return (*order)((*m_models)[a], (*m_models)[b]); });
    }
    return rows;
}

void ModelListModel::rebuildRows()
{
    beginResetModel();
    m_rows.clear();
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
    endResetModel();
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
    emitChanged({BadgeRole, BadgeReasonRole, DuplicateGroupRole});
}

void ModelListModel::refreshSelection()
{
    emitChanged({SelectedRole});
}
