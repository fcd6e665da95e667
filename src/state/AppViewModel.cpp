#include "state/AppViewModel.h"

#include "catalogue/ByteCountFormatter.h"
#include "catalogue/ModelSourceDefinition.h"
#include "core/DuplicateCopies.h"
#include "core/ModelSummary.h"
#include "state/BackgroundTask.h"

namespace {
QList<QUuid> idsOf(const QList<DetectedModel> &models)
{
    QList<QUuid> ids;
    for (const DetectedModel &model : models)
        ids.append(model.id);
    return ids;
}
} // namespace

AppViewModel::AppViewModel(std::shared_ptr<StashwellCore> core, QObject *parent)
    : QObject(parent), m_core(std::move(core))
{
    m_scanLauncher = [this] {
        return runOnPool<ScanResult>(m_pool, [core = m_core](QPromise<ScanResult> &) { return core->scan(); });
    };
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

    whenFinished<ScanResult>(this, m_scanLauncher(), [this, generation](QFuture<ScanResult> future) {
            if (generation != m_scanGeneration)
                return; // a newer scan owns the state now
            try {
                publishScan(future.result());
                setScanState(ScanState::complete);
            } catch (const std::exception &error) {
                setScanState(ScanState::error, QString::fromLocal8Bit(error.what()));
            } catch (...) {
                setScanState(ScanState::error, QStringLiteral("The scan stopped unexpectedly."));
            }
        });
}

void AppViewModel::publishScan(ScanResult result)
{
    m_models = std::move(result.models);
    m_sources = std::move(result.sources);
    m_modelList.setModels(&m_models, m_customFolders);
    emit modelsChanged();
    // Said once, not after every rescan that finds the same.
    if (result.notComparedByContent != m_notComparedByContent && result.notComparedByContent > 0)
        emit notice(ModelSummary::notComparedText(result.notComparedByContent));
    m_notComparedByContent = result.notComparedByContent;
    if (result.unreadableFolders != m_unreadableFolders) {
        m_unreadableFolders = result.unreadableFolders;
        emit permissionChanged();
    }
}

void AppViewModel::refreshPermissionStatus()
{
    const QStringList unreadable = m_core->unreadableModelFolders();
    if (unreadable == m_unreadableFolders)
        return;
    m_unreadableFolders = unreadable;
    emit permissionChanged();
}

void AppViewModel::publishCustomFolders()
{
    m_customFolders = m_core->customFolders().folders();
    emit customFoldersChanged();
}

void AppViewModel::addCustomFolder(const QString &folder)
{
    if (folder.isEmpty())
        return; // the folder chooser was closed without a choice
    const CustomFolderList::Change change = m_core->addCustomFolder(folder);
    if (!change.accepted)
        emit customFolderNotice(QStringLiteral("The folder was not added"), change.error);
    else if (!change.warning.isEmpty())
        emit customFolderNotice(QStringLiteral("Models may be listed twice"), change.warning);
    publishCustomFolders();
}

void AppViewModel::removeCustomFolder(const QString &folder)
{
    m_core->customFolders().remove(folder);
    publishCustomFolders();
}

void AppViewModel::resetToDefaults()
{
    m_core->customFolders().clear();
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
    if (show)
        workOutSpaceFreed();
}

void AppViewModel::workOutSpaceFreed()
{
    // Reading every manifest of a large store takes a moment: off the interface thread.
    m_spaceFreedText.clear();
    m_spaceFreed.reset();
    emit spaceFreedChanged();
    const QList<DetectedModel> selected = selectedModels();
    QFuture<qint64> freed = runOnPool<qint64>(
        m_pool, [core = m_core, selected](QPromise<qint64> &) { return core->spaceFreedBy(selected); });
    whenFinished<qint64>(this, freed, [this, asked = idsOf(selected)](QFuture<qint64> future) {
        if (!m_showDeleteConfirmation || asked != idsOf(selectedModels()))
            return; // the sheet closed or the selection changed meanwhile
        try {
            m_spaceFreed.emplace(asked, future.result());
            m_spaceFreedText = ByteCountFormatter::format(m_spaceFreed->second);
        } catch (const std::exception &) {
            m_spaceFreedText = QStringLiteral("unknown");
        }
        emit spaceFreedChanged();
    });
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

void AppViewModel::toggleCurrentRowSelection()
{
    const DetectedModel *current = m_modelList.currentModel();
    if (current && m_scanState == ScanState::complete)
        setSelected(current->id.toString(), !m_selection.contains(current->id));
}

void AppViewModel::selectAllShown()
{
    if (m_scanState != ScanState::complete)
        return; // the rows are still the last scan's, and no list shows them
    const QList<QUuid> shown = m_modelList.shownModelIds();
    setSelectedModelIDs(QSet<QUuid>(shown.begin(), shown.end()));
}

void AppViewModel::askToMoveToTrash()
{
    if (m_deleting || m_scanState != ScanState::complete)
        return;
    const DetectedModel *current = m_modelList.currentModel();
    if (m_selection.isEmpty() && current)
        setSelectedModelIDs({current->id});
    if (!m_selection.isEmpty())
        setShowDeleteConfirmation(true);
}

void AppViewModel::keepOnly(const QString &modelId)
{
    const auto kept = std::find_if(m_models.cbegin(), m_models.cend(),
                                   [id = QUuid(modelId)](const DetectedModel &model) { return model.id == id; });
    if (kept == m_models.cend())
        return;
    const QList<DetectedModel> others = DuplicateCopies(m_models).copiesBesides(*kept);
    if (others.isEmpty())
        return;
    const QList<QUuid> ids = idsOf(others);
    setSelectedModelIDs(QSet<QUuid>(ids.begin(), ids.end()));
    setShowDeleteConfirmation(true);
}

QVariantList AppViewModel::selectionNotes() const
{
    QVariantList notes;
    for (const DuplicateCopies::Note &note : DuplicateCopies(m_models).selectionNotes(selectedModels()))
        notes.append(QVariantMap{{QStringLiteral("text"), note.text}, {QStringLiteral("everyCopy"), note.everyCopy}});
    return notes;
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
    const DuplicateCopies copies(m_models);
    for (const DetectedModel &model : selectedModels()) {
        summaries.append(QVariantMap{{QStringLiteral("name"), model.displayName},
                                     {QStringLiteral("alsoIn"), copies.alsoIn(model)},
                                     {QStringLiteral("source"), model.sourceTool.description()},
                                     {QStringLiteral("sizeText"), ByteCountFormatter::format(model.sizeBytes)},
                                     {QStringLiteral("kind"), model.leftoverDescription()},
                                     {QStringLiteral("note"), ModelListModel::note(model)},
                                     {QStringLiteral("accessibleName"), ModelListModel::accessibleName(model)},
                                     {QStringLiteral("quantization"), model.details ? model.details->quantization : QString()}});
    }
    return summaries;
}

QString AppViewModel::noModelsMessage()
{
    QStringList names;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all())
        names.append(definition.displayName);
    const QString listed = names.size() < 2 ? names.join(QString())
                                            : names.first(names.size() - 1).join(QStringLiteral(", ")) + QStringLiteral(", and ") + names.last();
    return QStringLiteral("Stashwell scans %1 automatically. Add a custom folder to include additional model files.").arg(listed);
}

QVariantList AppViewModel::builtInSources() const
{
    QVariantList sources;
    for (const SourceStatus &source : m_sources) {
        // A library cache belongs to no one application that could be missing.
        const ModelSourceDefinition *definition = ModelSourceDefinition::find(source.tool);
        const QString status = source.installedAppPath ? QStringLiteral("App installed")
            : definition && definition->libraryCache   ? QStringLiteral("Library cache")
                                                       : QStringLiteral("App not found");
        QVariantList installations;
        QStringList otherFolders = source.folders;
        for (const InstallationStatus &installation : source.installations) {
            installations.append(QVariantMap{{QStringLiteral("path"), installation.path},
                                             {QStringLiteral("folders"), installation.folders}});
            for (const QString &folder : installation.folders)
                otherFolders.removeAll(folder);
        }
        sources.append(QVariantMap{{QStringLiteral("displayName"), source.displayName},
                                   {QStringLiteral("sourceKind"), source.tool.key()},
                                   {QStringLiteral("path"), source.folders.value(0)},
                                   {QStringLiteral("folders"), otherFolders},
                                   {QStringLiteral("installed"), source.installedAppPath.has_value()},
                                   {QStringLiteral("statusText"), status},
                                   {QStringLiteral("libraryCache"), definition && definition->libraryCache},
                                   {QStringLiteral("modelCount"), source.modelCount},
                                   {QStringLiteral("iconName"), source.iconName},
                                   {QStringLiteral("symbol"), definition ? definition->symbol : QString()},
                                   {QStringLiteral("searchesInstallations"), definition && !definition->installation.isEmpty()},
                                   {QStringLiteral("installations"), installations}});
    }
    return sources;
}

QString AppViewModel::sourceIconName(const QString &sourceKey) const
{
    for (const SourceStatus &source : m_sources) {
        if (source.tool.key() == sourceKey)
            return source.iconName;
    }
    return {};
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
    m_differentGroups.clear();
    m_splitGroups.clear();
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
        // Badges that vanish need a word: these turned out not to be duplicates.
        QStringList said;
        if (!m_differentGroups.isEmpty())
            said.append(QStringLiteral("Not duplicates, their contents differ: %1.").arg(m_differentGroups.join(QStringLiteral("; "))));
        if (!m_splitGroups.isEmpty())
            said.append(QStringLiteral("Only some copies are identical: %1.").arg(m_splitGroups.join(QStringLiteral("; "))));
        if (!said.isEmpty())
            emit notice(said.join(QLatin1Char(' ')));
        return;
    }
    const QUuid groupID = m_verifyQueue.takeFirst();
    const quint64 generation = m_scanGeneration;
    const int done = m_verifyGroupsTotal - int(m_verifyQueue.size()) - 1;
    QFuture<VerificationOutcome> verification = runOnPool<VerificationOutcome>(
        m_pool, [core = m_core, cancelled = m_verifyCancelled, models = m_models, groupID](QPromise<VerificationOutcome> &promise) {
            return core->verifyGroup(groupID, models,
                                     [&promise](double fraction) { promise.setProgressValue(int(fraction * 1000)); },
                                     cancelled.get());
        });
    QFutureWatcher<VerificationOutcome> *watcher = whenFinished<VerificationOutcome>(
        this, verification, [this, generation, groupID, done](QFuture<VerificationOutcome> future) {
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
    const QString members = StashwellCore::describeGroup(m_models, groupID);
    const QList<QUuid> newGroups = StashwellCore::applyVerification(m_models, groupID, outcome);
    if (outcome.kind == VerificationOutcomeKind::different)
        m_differentGroups.append(members);
    if (outcome.kind == VerificationOutcomeKind::split) {
        QStringList sets;
        for (const QUuid &group : newGroups)
            sets.append(StashwellCore::describeGroup(m_models, group));
        m_splitGroups.append(sets.join(QStringLiteral("; ")));
    }
    m_modelList.refreshModelRows();
    emit modelsChanged();
}

void AppViewModel::setDeleting(bool deleting)
{
    if (m_deleting == deleting)
        return;
    m_deleting = deleting;
    emit deletingChanged();
}

void AppViewModel::deleteSelectedModels()
{
    setShowDeleteConfirmation(false);
    if (m_deleting)
        return; // one deletion at a time: the next one must see what this one moved
    const QList<DetectedModel> toDelete = selectedModels();
    const std::optional<qint64> spaceFreed =
        m_spaceFreed && m_spaceFreed->first == idsOf(toDelete) ? std::optional(m_spaceFreed->second) : std::nullopt;
    clearSelection();
    setDeleting(true);
    QFuture<DeletionResult> deletion = runOnPool<DeletionResult>(
        m_pool, [core = m_core, toDelete](QPromise<DeletionResult> &) { return core->deleteModels(toDelete); });
    whenFinished<DeletionResult>(this, deletion, [this, spaceFreed](QFuture<DeletionResult> future) {
        DeletionResult result;
        try {
            result = future.result();
        } catch (const std::exception &error) {
            result.failures.append({QStringLiteral("Stashwell"), QString::fromLocal8Bit(error.what())});
        }
        setDeleting(false);
        // The list is rebuilt from disk, never edited: sizes, groups and orphans are recomputed.
        startScan();
        emit deletionFinished(result);
        if (result.needsAlert())
            emit deletionAlert(result.messageText(), result.informativeText());
        else
            emit notice(spaceFreed ? result.successText(*spaceFreed) : result.successText());
    });
}
