#pragma once

#include "catalogue/DetectedModel.h"
#include "duplicates/DuplicateDetector.h"
#include "services/PersistenceService.h"
#include "state/DeletionResult.h"
#include "state/ModelListModel.h"

#include <QObject>
#include <QSet>

#include <atomic>
#include <functional>
#include <memory>

class ModelDeleter;

// The state of the application that every view binds to, confined to the interface
// thread. Scans and verifications run on pool threads; their results are published
// only if no newer scan started meanwhile (the scan generation), so a late result
// can never overwrite a newer list. The window and stashwell-cli both drive this
// object, so the terminal behaves exactly as the window does.
class AppViewModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString scanState READ scanStateName NOTIFY scanStateChanged)
    Q_PROPERTY(QString scanErrorMessage READ scanErrorMessage NOTIFY scanStateChanged)
    Q_PROPERTY(ModelListModel *modelList READ modelList CONSTANT)
    Q_PROPERTY(int modelCount READ modelCount NOTIFY modelsChanged)
    Q_PROPERTY(double totalSize READ totalSizeValue NOTIFY modelsChanged)
    Q_PROPERTY(double reclaimableSize READ reclaimableSizeValue NOTIFY modelsChanged)
    Q_PROPERTY(QString totalSizeText READ totalSizeText NOTIFY modelsChanged)
    Q_PROPERTY(QString reclaimableSizeText READ reclaimableSizeText NOTIFY modelsChanged)
    Q_PROPERTY(int orphanCount READ orphanCount NOTIFY modelsChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedTotalSizeText READ selectedTotalSizeText NOTIFY selectionChanged)
    Q_PROPERTY(QVariantList selectedModelSummaries READ selectedModelSummaries NOTIFY selectionChanged)
    Q_PROPERTY(bool canVerify READ canVerify NOTIFY canVerifyChanged)
    Q_PROPERTY(bool showDeleteConfirmation READ showDeleteConfirmation WRITE setShowDeleteConfirmation NOTIFY showDeleteConfirmationChanged)
    Q_PROPERTY(bool isVerifyingDuplicates READ isVerifyingDuplicates NOTIFY verifyingChanged)
    Q_PROPERTY(double verifyProgress READ verifyProgress NOTIFY verifyProgressChanged)
    Q_PROPERTY(QStringList customFolders READ customFolders NOTIFY customFoldersChanged)
    Q_PROPERTY(bool showWelcomeScreen READ showWelcomeScreen WRITE setShowWelcomeScreen NOTIFY showWelcomeScreenChanged)
    Q_PROPERTY(bool permissionDenied READ permissionDenied NOTIFY permissionChanged)
    Q_PROPERTY(QStringList unreadableFolders READ unreadableFolders NOTIFY permissionChanged)

public:
    enum class ScanState { idle, scanning, complete, error };

    // What the state asks of the machine; tests point these at other folders.
    struct Services
    {
        // One complete scan; called on a pool thread, so it must build what it uses.
        std::function<QList<DetectedModel>()> scanAll;
        // Known model folders that exist but cannot be read.
        std::function<QStringList()> unreadableModelFolders;
        // Built afresh for each deletion, so it sees the stores as they are now.
        std::function<std::unique_ptr<ModelDeleter>()> makeDeleter;
        static Services forThisMachine();
    };

    explicit AppViewModel(Services services = Services::forThisMachine(), QObject *parent = nullptr);
    ~AppViewModel() override;

    ScanState scanState() const { return m_scanState; }
    QString scanStateName() const;
    QString scanErrorMessage() const { return m_scanError; }
    const QList<DetectedModel> &models() const { return m_models; }
    ModelListModel *modelList() { return &m_modelList; }
    int modelCount() const { return int(m_models.size()); }

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
    QVariantList selectedModelSummaries() const; // [{ name, sizeText }] for the confirmation
    bool canVerify() const { return !m_verifying && !selectedDuplicateGroupIDs().isEmpty(); }

    bool showDeleteConfirmation() const { return m_showDeleteConfirmation; }
    void setShowDeleteConfirmation(bool show);
    bool isVerifyingDuplicates() const { return m_verifying; }
    double verifyProgress() const { return m_verifyProgress; }
    QStringList customFolders() const { return m_customFolders; }
    bool showWelcomeScreen() const { return m_showWelcomeScreen; }
    void setShowWelcomeScreen(bool show);
    bool permissionDenied() const { return !m_unreadableFolders.isEmpty(); }
    QStringList unreadableFolders() const { return m_unreadableFolders; }

    // Every built-in source for the preferences: { displayName, path, installed,
    // modelCount, iconName }. Asked afresh each time, as applications come and go.
    Q_INVOKABLE QVariantList builtInSources() const;

public slots:
    // What the window does when it first appears: scan, probe, welcome on first run.
    void windowAppeared();
    void startScan();
    void refreshPermissionStatus();
    // Stores a folder the user chose (from the window's folder chooser); no rescan.
    void addCustomFolder(const QString &folder);
    void removeCustomFolder(const QString &folder);
    void resetToDefaults();
    // "Get Started": hide the welcome screen and remember it was seen.
    void dismissWelcomeScreen();

    void setSelected(const QString &modelId, bool selected);
    void clearSelection();

    // Verifies the groups one after another; ignored while a verification runs.
    void verifyDuplicateGroup(const QString &groupId);
    void verifySelectedGroups();
    void verifyDuplicateGroups(const QList<QUuid> &groupIDs);

    void deleteSelectedModels();
    // The files deleting the selection would move, moving nothing.
    DeletionResult planDeletionOfSelection() const;

signals:
    void scanStateChanged();
    void modelsChanged();
    void selectionChanged();
    void canVerifyChanged();
    void showDeleteConfirmationChanged();
    void verifyingChanged();
    void verifyProgressChanged();
    void customFoldersChanged();
    void showWelcomeScreenChanged();
    void permissionChanged();
    // After every deletion; the window shows the result alert when result.needsAlert().
    void deletionFinished(const DeletionResult &result);
    // The result alert's texts, only when something could not be moved.
    void deletionAlert(const QString &message, const QString &informativeText);

private:
    void setScanState(ScanState state, const QString &error = {});
    void publishModels(QList<DetectedModel> models);
    void setVerifying(bool verifying);
    void setVerifyProgress(double progress);
    void verifyNextGroup();
    void applyVerificationOutcome(const QUuid &groupID, const VerificationOutcome &outcome);
    void publishCustomFolders();

    Services m_services;
    PersistenceService m_persistence;
    // Shared with the hashing thread, so a verification still running when this object
    // goes away keeps its detector alive until it notices the cancellation.
    std::shared_ptr<DuplicateDetector> m_duplicateDetector = std::make_shared<DuplicateDetector>();

    ScanState m_scanState = ScanState::idle;
    QString m_scanError;
    QList<DetectedModel> m_models;
    ModelListModel m_modelList;
    QSet<QUuid> m_selection;
    bool m_showDeleteConfirmation = false;
    bool m_verifying = false;
    double m_verifyProgress = 0;
    QStringList m_customFolders;
    bool m_showWelcomeScreen = false;
    QStringList m_unreadableFolders;

    quint64 m_scanGeneration = 0;
    QList<QUuid> m_verifyQueue;
    int m_verifyGroupsTotal = 0;
    std::shared_ptr<std::atomic<bool>> m_verifyCancelled;
};
