#include "state/AppViewModel.h"

#include "catalogue/ModelSourceDefinition.h"
#include "scanning/AppDetectionService.h"
#include "scanning/ModelScanner.h"
#include "scanning/ScanRoutines.h"
#include "scanning/OllamaStoreLocator.h"
#include "services/ByteCountFormatter.h"
#include "state/BackgroundTask.h"
#include "state/ModelDeleter.h"
#include "state/ModelSummary.h"

#include <QDir>
#include <QFileInfo>

AppViewModel::Services AppViewModel::Services::forThisMachine()
{
    return {[] { return ModelScanner().scanAll(); }, [] { return ModelScanner().unreadableModelFolders(); },
            [] { return std::make_unique<ModelDeleter>(OllamaStoreLocator::forThisMachine().stores()); }};
}

AppViewModel::AppViewModel(Services services, QObject *parent)
    : QObject(parent), m_services(std::move(services))
{
    m_modelList.setSelection(&m_selection);
    m_modelList.setModels(&m_models, {});
    m_customFolders = m_persistence.load();
    connect(this, &AppViewModel::selectionChanged, this, &AppViewModel::canVerifyChanged);
    connect(this, &AppViewModel::verifyingChanged, this, &AppViewModel::canVerifyChanged);
    connect(this, &AppViewModel::modelsChanged, this, &AppViewModel::canVerifyChanged);
}

AppViewModel::~AppViewModel()
{
    // A verification still hashing stops at its next chunk; its result is dropped.
    if (m_verifyCancelled)
        m_verifyCancelled->store(true);
}

QString AppViewModel::scanStateName() const
{
    switch (m_scanState) {
    case ScanState::idle: return QStringLiteral("idle");
    case ScanState::scanning: return QStringLiteral("scanning");
    case ScanState::complete: return QStringLiteral("complete");
    case ScanState::error: return QStringLiteral("error");
    }
    return {};
}

void AppViewModel::setScanState(ScanState state, const QString &error)
{
    m_scanState = state;
    m_scanError = error;
    emit scanStateChanged();
}

void AppViewModel::windowAppeared()
{
    startScan();
    refreshPermissionStatus();
    if (!m_persistence.hasSeenWelcomeScreen())
        setShowWelcomeScreen(true);
}

void AppViewModel::startScan()
{
    const quint64 generation = ++m_scanGeneration;
    if (m_verifyCancelled)
        m_verifyCancelled->store(true); // the list it would write into is about to be replaced
    m_verifyQueue.clear();
    setScanState(ScanState::scanning);
    clearSelection();
    setVerifying(false);
    setVerifyProgress(0);

    runInBackground<QList<DetectedModel>>(
        this, [scan = m_services.scanAll](QPromise<QList<DetectedModel>> &) { return scan(); },
        [this, generation](QFuture<QList<DetectedModel>> future) {
            if (generation != m_scanGeneration)
                return; // a newer scan owns the state now
            try {
                publishModels(future.result());
                setScanState(ScanState::complete);
            } catch (const std::exception &error) {
                setScanState(ScanState::error, QString::fromLocal8Bit(error.what()));
            } catch (...) {
                setScanState(ScanState::error, QStringLiteral("The scan stopped unexpectedly."));
            }
        });
}

void AppViewModel::publishModels(QList<DetectedModel> models)
{
    m_models = std::move(models);
    m_modelList.setModels(&m_models, m_customFolders);
    emit modelsChanged();
}

void AppViewModel::refreshPermissionStatus()
{
    const QStringList unreadable = m_services.unreadableModelFolders();
    if (unreadable == m_unreadableFolders)
        return;
    m_unreadableFolders = unreadable;
    emit permissionChanged();
}

void AppViewModel::publishCustomFolders()
{
    m_customFolders = m_persistence.load();
    emit customFoldersChanged();
}

void AppViewModel::addCustomFolder(const QString &folder)
{
    if (folder.isEmpty())
        return;
    QStringList stored = m_persistence.load();
    const QString cleaned = QDir::cleanPath(folder);
    if (!stored.contains(cleaned)) {
        stored.append(cleaned);
        m_persistence.save(stored);
    }
    publishCustomFolders();
}

void AppViewModel::removeCustomFolder(const QString &folder)
{
    QStringList stored = m_persistence.load();
    stored.removeAll(folder);
    m_persistence.save(stored);
    publishCustomFolders();
}

void AppViewModel::resetToDefaults()
{
    m_persistence.save({});
    m_customFolders.clear();
    emit customFoldersChanged();
    clearSelection();
    m_persistence.setHasSeenWelcomeScreen(false);
    setShowWelcomeScreen(true);
}

void AppViewModel::dismissWelcomeScreen()
{
    setShowWelcomeScreen(false);
    m_persistence.setHasSeenWelcomeScreen(true);
}

void AppViewModel::setShowWelcomeScreen(bool show)
{
    if (m_showWelcomeScreen == show)
        return;
    m_showWelcomeScreen = show;
    emit showWelcomeScreenChanged();
}

void AppViewModel::setShowDeleteConfirmation(bool show)
{
    if (m_showDeleteConfirmation == show)
        return;
    m_showDeleteConfirmation = show;
    emit showDeleteConfirmationChanged();
}

QList<DetectedModel> AppViewModel::orphanedModels() const
{
    QList<DetectedModel> orphans;
    std::copy_if(m_models.begin(), m_models.end(), std::back_inserter(orphans), [](const DetectedModel &m) { return m.isOrphaned; });
    return orphans;
}

QList<DetectedModel> AppViewModel::nonOrphanedModels() const
{
    QList<DetectedModel> others;
    std::copy_if(m_models.begin(), m_models.end(), std::back_inserter(others), [](const DetectedModel &m) { return !m.isOrphaned; });
    return others;
}

qint64 AppViewModel::totalSize() const { return ModelSummary::totalSize(m_models); }
qint64 AppViewModel::reclaimableSize() const { return ModelSummary::reclaimableSize(m_models); }
QString AppViewModel::totalSizeText() const { return ByteCountFormatter::format(totalSize()); }
QString AppViewModel::reclaimableSizeText() const { return ByteCountFormatter::format(reclaimableSize()); }

void AppViewModel::setSelectedModelIDs(const QSet<QUuid> &selection)
{
    if (selection == m_selection)
        return;
    m_selection = selection;
    m_modelList.refreshSelection();
    emit selectionChanged();
}

void AppViewModel::setSelected(const QString &modelId, bool selected)
{
    QSet<QUuid> selection = m_selection;
    const QUuid id(modelId);
    if (selected)
        selection.insert(id);
    else
        selection.remove(id);
    setSelectedModelIDs(selection);
}

void AppViewModel::clearSelection()
{
    setSelectedModelIDs({});
}

QList<DetectedModel> AppViewModel::selectedModels() const
{
    QList<DetectedModel> selected;
    std::copy_if(m_models.begin(), m_models.end(), std::back_inserter(selected),
                 [this](const DetectedModel &m) { return m_selection.contains(m.id); });
    return selected;
}

QList<QUuid> AppViewModel::selectedDuplicateGroupIDs() const
{
    QList<QUuid> groups;
    for (const DetectedModel &model : m_models) {
        if (model.duplicateGroup && m_selection.contains(model.id) && !groups.contains(*model.duplicateGroup))
            groups.append(*model.duplicateGroup);
    }
    return groups;
}

QString AppViewModel::selectedTotalSizeText() const
{
    return ByteCountFormatter::format(ModelSummary::totalSize(selectedModels()));
}

QVariantList AppViewModel::selectedModelSummaries() const
{
    QVariantList summaries;
    for (const DetectedModel &model : selectedModels()) {
        summaries.append(QVariantMap{{QStringLiteral("name"), model.displayName},
                                     {QStringLiteral("sizeText"), ByteCountFormatter::format(model.sizeBytes)}});
    }
    return summaries;
}

namespace {
// The folder a source row names: the first of the source's folders that exists here
// (so a Linux desktop shows its Linux folder), else the first one.
QString shownFolder(const ModelSourceDefinition &definition)
{
    const QStringList folders = definition.shownFolders();
    for (const QString &folder : folders) {
        const QString path = folder.startsWith(QLatin1String("~/")) ? ScanRoutines::homePath(folder.mid(2)) : folder;
        if (QFileInfo::exists(path))
            return folder;
    }
    return folders.value(0);
}
} // namespace

QVariantList AppViewModel::builtInSources() const
{
    const AppDetectionService detection;
    QVariantList sources;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all()) {
        const int count = int(std::count_if(m_models.begin(), m_models.end(),
                                             [&](const DetectedModel &m) { return m.sourceTool == definition.tool; }));
        sources.append(QVariantMap{{QStringLiteral("displayName"), definition.displayName},
                                   {QStringLiteral("sourceKind"), definition.tool.key()},
                                   {QStringLiteral("path"), shownFolder(definition)},
                                   {QStringLiteral("installed"), detection.installedAppPath(definition).has_value()},
                                   {QStringLiteral("modelCount"), count},
                                   {QStringLiteral("iconName"), detection.desktopEntryIconName(definition).value_or(QString())}});
    }
    return sources;
}

void AppViewModel::setVerifying(bool verifying)
{
    if (m_verifying == verifying)
        return;
    m_verifying = verifying;
    emit verifyingChanged();
}

void AppViewModel::setVerifyProgress(double progress)
{
    if (qFuzzyCompare(m_verifyProgress + 1, progress + 1))
        return;
    m_verifyProgress = progress;
    emit verifyProgressChanged();
}

void AppViewModel::verifyDuplicateGroup(const QString &groupId)
{
    verifyDuplicateGroups({QUuid(groupId)});
}

void AppViewModel::verifySelectedGroups()
{
    verifyDuplicateGroups(selectedDuplicateGroupIDs());
}

void AppViewModel::verifyDuplicateGroups(const QList<QUuid> &groupIDs)
{
    if (m_verifying || groupIDs.isEmpty())
        return;
    m_verifyQueue = groupIDs;
    m_verifyGroupsTotal = int(groupIDs.size());
    m_verifyCancelled = std::make_shared<std::atomic<bool>>(false);
    setVerifyProgress(0);
    setVerifying(true);
    verifyNextGroup();
}

void AppViewModel::verifyNextGroup()
{
    if (m_verifyQueue.isEmpty()) {
        setVerifying(false);
        return;
    }
    const QUuid groupID = m_verifyQueue.takeFirst();
    const quint64 generation = m_scanGeneration;
    const int done = m_verifyGroupsTotal - int(m_verifyQueue.size()) - 1;
    auto detector = m_duplicateDetector;
    auto cancelled = m_verifyCancelled;
    const QList<DetectedModel> models = m_models;
    QFutureWatcher<VerificationOutcome> *watcher = runInBackground<VerificationOutcome>(
        this,
        [detector, cancelled, models, groupID](QPromise<VerificationOutcome> &promise) {
            return detector->verifyGroup(groupID, models,
                                         [&promise](double fraction) { promise.setProgressValue(int(fraction * 1000)); },
                                         cancelled.get());
        },
        [this, generation, groupID, done](QFuture<VerificationOutcome> future) {
            if (generation != m_scanGeneration)
                return; // a scan started meanwhile; it reset the flags and replaces the list
            applyVerificationOutcome(groupID, future.result());
            // A group that stopped early (a difference, an error) is done all the same.
            setVerifyProgress(double(done + 1) / m_verifyGroupsTotal);
            verifyNextGroup();
        });
    connect(watcher, &QFutureWatcherBase::progressValueChanged, this, [this, done, generation](int value) {
        if (generation == m_scanGeneration && m_verifying)
            setVerifyProgress((done + value / 1000.0) / m_verifyGroupsTotal);
    });
}

void AppViewModel::applyVerificationOutcome(const QUuid &groupID, const VerificationOutcome &outcome)
{
    for (DetectedModel &model : m_models) {
        if (model.duplicateGroup != groupID)
            continue;
        switch (outcome.kind) {
        case VerificationOutcomeKind::identical:
            model.duplicateVerificationStatus = DuplicateVerificationStatus::verified();
            break;
        case VerificationOutcomeKind::failed:
            model.duplicateVerificationStatus = DuplicateVerificationStatus::unableToVerify(outcome.message);
            break;
        case VerificationOutcomeKind::different:
            model.duplicateGroup.reset();
            model.duplicateVerificationStatus = DuplicateVerificationStatus::unverified();
            break;
        }
    }
    m_modelList.refreshModelRows();
    emit modelsChanged();
}

DeletionResult AppViewModel::planDeletionOfSelection() const
{
    return m_services.makeDeleter()->plan(selectedModels());
}

void AppViewModel::deleteSelectedModels()
{
    setShowDeleteConfirmation(false);
    const QList<DetectedModel> toDelete = selectedModels();
    clearSelection();
    const DeletionResult result = m_services.makeDeleter()->deleteModels(toDelete);
    // The list is rebuilt from disk, never edited: sizes, groups and orphans are recomputed.
    startScan();
    emit deletionFinished(result);
    if (result.needsAlert())
        emit deletionAlert(result.messageText(), result.informativeText());
}
