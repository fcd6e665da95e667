#include "core/StashwellCore.h"

#include "core/OllamaLeftovers.h"
#include "deletion/FreedSpace.h"
#include "details/ModelDescriber.h"
#include "deletion/ModelDeleter.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/ModelScanner.h"
#include "scanning/OllamaStoreLocator.h"

StashwellCore::Machine StashwellCore::Machine::current()
{
    return {AppSearchLocations::forThisMachine(), [] { return OllamaStoreLocator::forThisMachine().allStores(); }};
}

StashwellCore::StashwellCore(Machine machine)
    : m_machine(std::move(machine)), m_detector(std::make_shared<DuplicateDetector>())
{
}

StashwellCore::~StashwellCore() = default;

ModelScanner StashwellCore::scanner() const
{
    return ModelScanner(AppDetectionService(m_machine.appLocations), OllamaScanner(m_machine.ollamaStores()));
}

ScanResult StashwellCore::scan() const
{
    ModelDescriber describer; // reads the details cache while the folders are walked
    const QList<OllamaStore> stores = m_machine.ollamaStores();
    ScanResult result = ModelScanner(AppDetectionService(m_machine.appLocations), OllamaScanner(stores)).scan();
    // Whether a blob is unused is the deletion's reference count's answer, over every store.
    result.models += OllamaLeftovers::find(stores);
    describer.describe(result.models);
    return result;
}

QStringList StashwellCore::unreadableModelFolders() const
{
    return scanner().unreadableModelFolders();
}

VerificationOutcome StashwellCore::verifyGroup(const QUuid &groupID, const QList<DetectedModel> &models,
                                               const std::function<void(double)> &progress,
                                               const std::atomic<bool> *cancelled) const
{
    return m_detector->verifyGroup(groupID, models, progress, cancelled);
}

VerificationOutcome StashwellCore::verifyGroupInBytes(const QUuid &groupID, const QList<DetectedModel> &models,
                                                      const std::function<void(VerificationProgress)> &progress) const
{
    return m_detector->verifyGroup(groupID, models, progress);
}

QList<QUuid> StashwellCore::applyVerification(QList<DetectedModel> &models, const QUuid &groupID,
                                              const VerificationOutcome &outcome)
{
    // A split gives each set of identical copies a group of its own.
    QHash<QUuid, QUuid> newGroupOf;
    QList<QUuid> newGroups;
    for (const QList<QUuid> &set : outcome.identicalSets) {
        newGroups.append(QUuid::createUuid());
        for (const QUuid &member : set)
            newGroupOf.insert(member, newGroups.last());
    }
    for (DetectedModel &model : models) {
        if (model.duplicateGroup != groupID)
            continue;
        switch (outcome.kind) {
        case VerificationOutcomeKind::identical:
            model.duplicateVerificationStatus = DuplicateVerificationStatus::verified();
            break;
        case VerificationOutcomeKind::failed:
            model.duplicateVerificationStatus = outcome.oneFileOnDisk
                ? DuplicateVerificationStatus::oneFileOnDisk(outcome.message)
                : DuplicateVerificationStatus::unableToVerify(outcome.message);
            break;
        case VerificationOutcomeKind::split:
            if (newGroupOf.contains(model.id)) {
                model.duplicateGroup = newGroupOf.value(model.id);
                model.duplicateVerificationStatus = DuplicateVerificationStatus::verified();
                break;
            }
            [[fallthrough]];
        case VerificationOutcomeKind::different:
            model.duplicateGroup.reset();
            model.duplicateVerificationStatus = DuplicateVerificationStatus::unverified();
            break;
        }
    }
    return newGroups;
}

QString StashwellCore::describeGroup(const QList<DetectedModel> &models, const QUuid &groupID)
{
    QStringList names;
    for (const DetectedModel &model : models) {
        if (model.duplicateGroup == groupID)
            names.append(model.displayName + QStringLiteral(" [") + model.sourceTool.description() + QLatin1Char(']'));
    }
    return names.join(QStringLiteral(", "));
}

DeletionResult StashwellCore::planDeletion(const QList<DetectedModel> &models) const
{
    return ModelDeleter(m_machine.ollamaStores()).plan(models);
}

DeletionResult StashwellCore::deleteModels(const QList<DetectedModel> &models) const
{
    return ModelDeleter(m_machine.ollamaStores()).deleteModels(models);
}

qint64 StashwellCore::spaceFreedBy(const QList<DetectedModel> &models) const
{
    return FreedSpace::of(planDeletion(models).trashedPaths);
}

CustomFolderList::Change StashwellCore::addCustomFolder(const QString &path) const
{
    return m_customFolders.add(path, scanner().knownModelFolders());
}
