#pragma once

#include "catalogue/DetectedModel.h"
#include "core/ModelSummary.h"
#include "core/StashwellCore.h"
#include "deletion/DeletionResult.h"
#include "preferences/PersistenceService.h"
#include "state/ModelListModel.h"

#include <QFuture>
#include <QObject>
#include <QSet>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

// The window's adapter over the core, confined to the interface thread. Scans,
// verifications and deletions run the core's calls on this object's own thread pool;
// a scan's or verification's result is published only if no newer scan started
// meanwhile (the scan generation), so a late result never overwrites a newer list.
// Besides the core's results it keeps what only the window has: the selection and
// which sheets are open.
class AppViewModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString scanState READ scanStateName NOTIFY scanStateChanged)
    Q_PROPERTY(QString scanErrorMessage READ scanErrorMessage NOTIFY scanStateChanged)
    Q_PROPERTY(ModelListModel *modelList READ modelList CONSTANT)
    Q_PROPERTY(int modelCount READ modelCount NOTIFY modelsChanged)
    // "16 models", or "16 models and 6 leftovers".
    Q_PROPERTY(QString countText READ countText NOTIFY modelsChanged)
    Q_PROPERTY(double totalSize READ totalSizeValue NOTIFY modelsChanged)
    Q_PROPERTY(double reclaimableSize READ reclaimableSizeValue NOTIFY modelsChanged)
    Q_PROPERTY(QString totalSizeText READ totalSizeText NOTIFY modelsChanged)
    Q_PROPERTY(QString reclaimableSizeText READ reclaimableSizeText NOTIFY modelsChanged)
    Q_PROPERTY(int orphanCount READ orphanCount NOTIFY modelsChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedTotalSizeText READ selectedTotalSizeText NOTIFY selectionChanged)
    // What the drive really gets back from deleting the selection; empty while it is worked out.
    Q_PROPERTY(QString spaceFreedText READ spaceFreedText NOTIFY spaceFreedChanged)
    Q_PROPERTY(QVariantList selectedModelSummaries READ selectedModelSummaries NOTIFY selectionChanged)
    // For the confirmation, one sentence per duplicate group the selection touches: the
    // copies it leaves and where they are, or that it moves every copy:
    // [{ text, everyCopy }].
    Q_PROPERTY(QVariantList selectionNotes READ selectionNotes NOTIFY selectionChanged)
    Q_PROPERTY(bool canVerify READ canVerify NOTIFY canVerifyChanged)
    Q_PROPERTY(bool showDeleteConfirmation READ showDeleteConfirmation WRITE setShowDeleteConfirmation NOTIFY showDeleteConfirmationChanged)
    Q_PROPERTY(bool isVerifyingDuplicates READ isVerifyingDuplicates NOTIFY verifyingChanged)
    Q_PROPERTY(bool isDeleting READ isDeleting NOTIFY deletingChanged)
    Q_PROPERTY(double verifyProgress READ verifyProgress NOTIFY verifyProgressChanged)
    Q_PROPERTY(QStringList customFolders READ customFolders NOTIFY customFoldersChanged)
    Q_PROPERTY(bool showWelcomeScreen READ showWelcomeScreen WRITE setShowWelcomeScreen NOTIFY showWelcomeScreenChanged)
    Q_PROPERTY(bool permissionDenied READ permissionDenied NOTIFY permissionChanged)
    Q_PROPERTY(QStringList unreadableFolders READ unreadableFolders NOTIFY permissionChanged)
    // What the window says when a scan finds nothing: every source it looks in, by name.
    Q_PROPERTY(QString noModelsMessage READ noModelsMessage CONSTANT)

public:
    enum class ScanState { idle, scanning, complete, error };

    // Starts one scan and answers with its future; called on the interface thread.
    using ScanLauncher = std::function<QFuture<ScanResult>()>;

    explicit AppViewModel(std::shared_ptr<StashwellCore> core = std::make_shared<StashwellCore>(),
                          QObject *parent = nullptr);
    ~AppViewModel() override;

    // Replaces how scans are started (by default: the core's scan on this object's
    // pool), so a test can finish each scan exactly when it wants.
    void setScanLauncher(ScanLauncher launcher) { m_scanLauncher = std::move(launcher); }
    const StashwellCore &core() const { return *m_core; }

    ScanState scanState() const { return m_scanState; }
    QString scanStateName() const;
    QString scanErrorMessage() const { return m_scanError; }
    const QList<DetectedModel> &models() const { return m_models; }
    ModelListModel *modelList() { return &m_modelList; }
    int modelCount() const { return int(m_models.size()); }
    QString countText() const { return ModelSummary::countText(m_models); }

    QList<DetectedModel> orphanedModels() const;
    QList<DetectedModel> nonOrphanedModels() const;
    qint64 totalSize() const;
    qint64 reclaimableSize() const;
    QString totalSizeText() const;
    double totalSizeValue() const { return double(totalSize()); }
    double reclaimableSizeValue() const { return double(reclaimableSize()); }
    QString reclaimableSizeText() const;
    int orphanCount() const { return int(orphanedModels().size()); }

    const QSet<QUuid> &selectedModelIDs() const { return m_selection; }
    void setSelectedModelIDs(const QSet<QUuid> &selection);
    QList<DetectedModel> selectedModels() const;
    QList<QUuid> selectedDuplicateGroupIDs() const;
    int selectedCount() const { return int(m_selection.size()); }
    QString selectedTotalSizeText() const;
    // [{ name, source, sizeText, kind, note, alsoIn, accessibleName }] for the
    // confirmation: `kind` says what a leftover is, `note` when a download may still be
    // going on, `alsoIn` where the model's other copies are.
    QVariantList selectedModelSummaries() const;
    QVariantList selectionNotes() const;
    bool canVerify() const { return !m_verifying && !selectedDuplicateGroupIDs().isEmpty(); }

    bool showDeleteConfirmation() const { return m_showDeleteConfirmation; }
    QString spaceFreedText() const { return m_spaceFreedText; }
    void setShowDeleteConfirmation(bool show);
    bool isVerifyingDuplicates() const { return m_verifying; }
    bool isDeleting() const { return m_deleting; }
    double verifyProgress() const { return m_verifyProgress; }
    QStringList customFolders() const { return m_customFolders; }
    bool showWelcomeScreen() const { return m_showWelcomeScreen; }
    void setShowWelcomeScreen(bool show);
    bool permissionDenied() const { return !m_unreadableFolders.isEmpty(); }
    QStringList unreadableFolders() const { return m_unreadableFolders; }

    static QString noModelsMessage();

    // Every built-in source as the last scan found it, for the preferences:
    // { displayName, sourceKind, path, folders, installed, statusText, libraryCache, modelCount, iconName,
    //   symbol, searchesInstallations, installations: [{ path, folders }] }; for a source with
    // installations, `folders` holds only the folders that belong to none of them.
    Q_INVOKABLE QVariantList builtInSources() const;
    // The icon the last scan found for a source key ("ollama", ...): a theme name or a
    // path; empty when there is none.
    QString sourceIconName(const QString &sourceKey) const;

public slots:
    // What the window does when it first appears: scan, probe, welcome on first run.
    void windowAppeared();
    void startScan();
    void refreshPermissionStatus();
    // Stores a folder the user chose (from the window's folder chooser); no rescan.
    // A refusal or a warning reaches the window through customFolderNotice.
    void addCustomFolder(const QString &folder);
    void removeCustomFolder(const QString &folder);
    void resetToDefaults();
    // "Get Started": hide the welcome screen and remember it was seen.
    void dismissWelcomeScreen();

    void setSelected(const QString &modelId, bool selected);
    void clearSelection();
    // The keyboard's commands on the list. Space: select or unselect the row that has
    // the keyboard. Ctrl+A: select exactly the rows shown, so nothing a search hides is
    // picked. Delete: ask to move the selection to the Trash; with nothing selected, the
    // row that has the keyboard is selected and asked about. Nothing while a deletion or
    // a scan runs: during a scan no list is shown, and its rows are the last scan's.
    void toggleCurrentRowSelection();
    void selectAllShown();
    void askToMoveToTrash();
    // "Keep one": selects every other copy of the model's verified group and asks to move
    // them to the Trash; does nothing for a model in no verified group.
    void keepOnly(const QString &modelId);

    // Verifies the groups one after another; ignored while a verification runs.
    void verifyDuplicateGroup(const QString &groupId);
    void verifySelectedGroups();
    void verifyDuplicateGroups(const QList<QUuid> &groupIDs);

    // Moves the selection to the Trash in the background; ignored while one runs.
    void deleteSelectedModels();

signals:
    void scanStateChanged();
    void modelsChanged();
    void selectionChanged();
    void canVerifyChanged();
    void showDeleteConfirmationChanged();
    void spaceFreedChanged();
    void verifyingChanged();
    void deletingChanged();
    void verifyProgressChanged();
    void customFoldersChanged();
    void showWelcomeScreenChanged();
    void permissionChanged();
    // After every deletion; the window shows the result alert when result.needsAlert().
    void deletionFinished(const DeletionResult &result);
    // The result alert's texts, only when something could not be moved.
    void deletionAlert(const QString &message, const QString &informativeText);
    // A short word on what just happened ("2 models moved to Trash."), shown briefly.
    void notice(const QString &text);
    // A custom folder was refused, or accepted with a warning.
    void customFolderNotice(const QString &message, const QString &informativeText);

private:
    void setScanState(ScanState state, const QString &error = {});
    void publishScan(ScanResult result);
    void setVerifying(bool verifying);
    void setVerifyProgress(double progress);
    void verifyNextGroup();
    void applyVerificationOutcome(const QUuid &groupID, const VerificationOutcome &outcome);
    void publishCustomFolders();
    void setDeleting(bool deleting);
    void workOutSpaceFreed();

    // Shared with the work on the pool, so a task still running when this object goes
    // away keeps the core alive until it ends.
    std::shared_ptr<StashwellCore> m_core;
    PersistenceService m_persistence;
    ScanLauncher m_scanLauncher;

    ScanState m_scanState = ScanState::idle;
    QString m_scanError;
    QList<DetectedModel> m_models;
    QList<SourceStatus> m_sources;
    ModelListModel m_modelList;
    QSet<QUuid> m_selection;
    bool m_showDeleteConfirmation = false;
    QString m_spaceFreedText;
    // The space worked out for the confirmation, and the selection it was worked out for:
    // the notice after the deletion repeats it rather than reading every manifest again.
    std::optional<std::pair<QList<QUuid>, qint64>> m_spaceFreed;
    bool m_verifying = false;
    bool m_deleting = false;
    double m_verifyProgress = 0;
    QStringList m_customFolders;
    bool m_showWelcomeScreen = false;
    QStringList m_unreadableFolders;
    qsizetype m_notComparedByContent = 0; // as the last scan reported it

    quint64 m_scanGeneration = 0;
    QList<QUuid> m_verifyQueue;
    QStringList m_differentGroups; // groups of this verification whose contents differ
    QStringList m_splitGroups;     // the identical sets of groups of this verification that split
    int m_verifyGroupsTotal = 0;
    std::shared_ptr<std::atomic<bool>> m_verifyCancelled;
    // Last member: it is destroyed first, waiting for its running tasks while the rest
    // of this object still exists.
    QThreadPool m_pool;
};
