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
    // Rows whose name, source, architecture or quantization contains this text (any
    // case); empty shows every row.
    Q_PROPERTY(QString filterText READ filterText WRITE setFilterText NOTIFY filterTextChanged)
    // How rows are ordered within each section: "scan" (the scan's own order), "size"
    // (largest first), "name", "date" (newest first) or "parameters" (most first, those
    // of unknown count last). Sections keep their order.
    Q_PROPERTY(QString sortOrder READ sortOrder WRITE setSortOrder NOTIFY sortOrderChanged)
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
        SubtitleRole,       // under the name: an orphan's source; what a leftover is and its store
        NoteRole,           // a leftover download that may still be going on says so; else empty
        LibraryCacheRole,   // a header of a library's cache, which has no application icon
        DetailsRole,        // what the model is, when its files say: "llama · 8.0B · Q4_K_M · 128K context"
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
    // "Unfinished download · Ollama" for a leftover, the source for an orphan, else empty.
    static QString subtitle(const DetectedModel &model);
    // "May still be downloading" for a download changed within the hour before now, else empty.
    static QString note(const DetectedModel &model);

    QString filterText() const { return m_filterText; }
    void setFilterText(const QString &text);
    QString sortOrder() const { return m_sortOrder; }
    void setSortOrder(const QString &order);

signals:
    void filterTextChanged();
    void sortOrderChanged();

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
    void rebuildRows();
    QList<qsizetype> shownRows(const QList<qsizetype> &sectionRows) const;

    QList<Row> m_rows;
    const QList<DetectedModel> *m_models = nullptr;
    const QSet<QUuid> *m_selection = nullptr;
    QStringList m_customFolders;
    QString m_filterText;
    QString m_sortOrder = QStringLiteral("scan");
};
