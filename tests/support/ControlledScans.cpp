#include "support/ControlledScans.h"

#include <stdexcept>

void ControlledScans::attach(AppViewModel &viewModel)
{
    viewModel.setScanLauncher([this] {
        auto promise = std::make_shared<QPromise<ScanResult>>();
        promise->start();
        m_scans.append(promise);
        return promise->future();
    });
}

void ControlledScans::finish(int index, const QList<DetectedModel> &models)
{
    ScanResult result;
    result.models = models;
    finish(index, result);
}

void ControlledScans::finish(int index, const ScanResult &result)
{
    m_scans.at(index)->addResult(result);
    m_scans.at(index)->finish();
}

void ControlledScans::finishReal(int index, const StashwellCore &core)
{
    finish(index, core.scan());
}

void ControlledScans::fail(int index, const QString &message)
{
    m_scans.at(index)->setException(std::make_exception_ptr(std::runtime_error(message.toStdString())));
    m_scans.at(index)->finish();
}
