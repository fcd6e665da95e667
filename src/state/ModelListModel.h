#pragma once

#include "catalogue/DetectedModel.h"
#include "core/DuplicateCopies.h"

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
    // (largest first), "name", "date" (newest first), "source" or "parameters" (most first,
    // those of unknown count last). Sections keep their order.
    Q_PROPERTY(QString sortOrder READ sortOrder WRITE setSortOrder NOTIFY sortOrderChanged)
    // The row that has the keyboard: always a model row, or -1 while none is shown. It
    // follows its model when the rows are rebuilt (a search, another order, a rescan that
    // finds the same files again); when its model is gone, the row now in its place.
    Q_PROPERTY(int currentRow READ currentRow WRITE setCurrentRow NOTIFY currentRowChanged)
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
        SubtitleRole,       // under the name: an orphan's source; what a leftover is and its store; "Dataset", "Space"
        NoteRole,           // a missing part of a split model, or a download that may still be going on; else empty
        LibraryCacheRole,   // a header of a library's cache, which has no application icon
        SymbolRole,         // a header's symbol for a source without a desktop icon, or empty
        AccessibleNameRole, // what a screen reader says for the row: accessibleName()
        AccessibleDescriptionRole, // and after it: accessibleDescription()
        AlsoInRole,         // where a duplicate's other copies are: "Also in LM Studio, Jan"; else empty
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
    // "Unfinished download · Ollama" for a leftover, the source for an orphan, "Dataset" or
    // "Space" for those Hugging Face entries (before the source), else empty.
    static QString subtitle(const DetectedModel &model);
    // "Part 2 of 3 is missing" for an incomplete split model; "May still be downloading"
    // for a download changed within the hour before now; else empty.
    static QString note(const DetectedModel &model);
    // What a screen reader says for a model row: its name, source and size, then every
    // mark the eye gets from its subtitle, badge and notes ("orphaned", "likely
    // duplicate", ...), as one list separated by commas.
    static QString accessibleName(const DetectedModel &model);
    // What it says after the name: what the model is when its files say, the date, where a
    // duplicate's other copies are
    // (`alsoIn`), and the reason behind a mark that has one.
    static QString accessibleDescription(const DetectedModel &model, const QString &alsoIn = {});

    int currentRow() const { return m_currentRow; }
    // Takes a model row; any other row is ignored.
    void setCurrentRow(int row);
    // Moves the keyboard `steps` model rows down (up when negative), over the headers,
    // stopping at the first and the last.
    Q_INVOKABLE void moveCurrentRow(int steps);
    // The model of the current row, or none.
    const DetectedModel *currentModel() const;
    // The models of every row shown, top to bottom.
    QList<QUuid> shownModelIds() const;

    QString filterText() const { return m_filterText; }
    void setFilterText(const QString &text);
    QString sortOrder() const { return m_sortOrder; }
    void setSortOrder(const QString &order);

signals:
    void filterTextChanged();
    void sortOrderChanged();
    void currentRowChanged();

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
    QString headerAccessibleName(const Row &header, qsizetype firstRow) const;
    // The model rows from top to bottom, as indices into m_rows.
    QList<int> modelRowIndices() const;
    // Where the current row goes after a rebuild: its model's row, else the model row
    // now at or after its old place, else the last one.
    int rowAfterRebuild(const QString &currentKey, int previousRow) const;
    QList<qsizetype> shownRows(const QList<qsizetype> &sectionRows) const;

    QList<Row> m_rows;
    const QList<DetectedModel> *m_models = nullptr;
    DuplicateCopies m_copies{QList<DetectedModel>()}; // the groups of *m_models, as of the last change
    const QSet<QUuid> *m_selection = nullptr;
    QStringList m_customFolders;
    QString m_filterText;
    QString m_sortOrder = QStringLiteral("scan");
    int m_currentRow = -1;
    // The current row's model as rowKey() names it: the models may be replaced before
    // the rows are rebuilt, so the row alone cannot say which model it was.
    QString m_currentKey;
};
