#pragma once

#include "state/AppViewModel.h"

#include <QList>
#include <QPromise>
#include <memory>

// Scans that end when the test says so, in place of the view model's own. Each scan the
// view model starts waits as a promise, numbered in the order it was started; no thread
// runs, so which scan finishes first is the test's choice, never the scheduler's.
class ControlledScans
{
public:
    // Hands the view model this object's scans.
    void attach(AppViewModel &viewModel);
    int started() const { return int(m_scans.size()); }
    // Ends scan `index` with these models (or the real scan of `core` in finishReal).
    void finish(int index, const QList<DetectedModel> &models);
    void finish(int index, const ScanResult &result);
    void finishReal(int index, const StashwellCore &core);
    void fail(int index, const QString &message);

private:
    QList<std::shared_ptr<QPromise<ScanResult>>> m_scans;
};
