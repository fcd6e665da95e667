#pragma once

#include "catalogue/DetectedModel.h"

#include <QAbstractListModel>
#include <QSet>

// The model list as the window draws it: a section header row, then that section's
// model rows, for every section in display order. A flat list keeps scrolling cheap
// with thousands of models: the view only ever creates the rows on screen.
class ModelListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role {
        RowKindRole = Qt::UserRole + 1, // "header" or "model"
        TitleRole,          // header: section title; model: display name
        CountRole,          // header: models in the section
        SizeBytesRole,
        SizeTextRole,
        WarningRole,        // header of the orphan section
        SourceKindRole,     // "ollama", ..., "custom"; empty for the orphan section
        SourceTextRole,     // the source's display text
        FolderPathRole,     // header of a custom source: the stored folder it came from, if found
        ModelIdRole,
        ModifiedTextRole,   // "Modified May 6, 2024"
        BadgeRole,          // "none", "likely", "verified", "unable"
        BadgeReasonRole,
        DuplicateGroupRole,
        SelectedRole,
        FirstFilePathRole,
        ShowSourceLabelRole,
        ProblemRole,        // why the model cannot be moved or checked; empty when it can
    };
    Q_ENUM(Role)

    explicit ModelListModel(QObject *parent = nullptr) : QAbstractListModel(parent) {}

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setModels(const QList<DetectedModel> *models, const QStringList &customFolders);
    void setSelection(const QSet<QUuid> *selection);
    // Redraws rows whose model changed in place (verification) or whose selection changed.
    void refreshModelRows();
    void refreshSelection();

    static QString modifiedText(const QDateTime &date);

private:
    struct Row
    {
        bool isHeader = false;
        qsizetype modelIndex = -1; // model rows
        QString title;             // header rows
        qsizetype count = 0;
        qint64 totalSize = 0;
        bool warning = false;
        SourceTool source;
        QString folderPath;
    };
    void emitChanged(const QList<int> &roles);

    QList<Row> m_rows;
    const QList<DetectedModel> *m_models = nullptr;
    const QSet<QUuid> *m_selection = nullptr;
};
