#include "app/FirstFrameReporter.h"

#include "state/AppViewModel.h"

#include <QGuiApplication>
#include <QQuickWindow>

#include <cstdio>

FirstFrameReporter::FirstFrameReporter(QQuickWindow *window, AppViewModel &viewModel, QElapsedTimer sinceStart)
    : QObject(window), m_window(window), m_viewModel(viewModel), m_sinceStart(sinceStart)
{
    connect(&viewModel, &AppViewModel::scanStateChanged, this, [this] {
        if (m_viewModel.scanState() != AppViewModel::ScanState::complete)
            return;
        m_scanComplete = true;
        m_window->update(); // the list is drawn in the next frame, whatever else happens
    });
    // A frame already being drawn when the scan completed does not count: wait for one
    // that starts (animates, then synchronises the items) after it.
    connect(window, &QQuickWindow::afterAnimating, this, [this] { m_frameStarted = m_frameStarted || m_scanComplete; });
    // Emitted on the render thread: report from the interface thread.
    connect(window, &QQuickWindow::frameSwapped, this, &FirstFrameReporter::onFrameSwapped, Qt::QueuedConnection);
}

void FirstFrameReporter::attachIfAsked(QQuickWindow *window, AppViewModel &viewModel, const QElapsedTimer &sinceStart)
{
    if (window && qEnvironmentVariableIsSet("STASHWELL_REPORT_FIRST_FRAME"))
        new FirstFrameReporter(window, viewModel, sinceStart);
}

void FirstFrameReporter::onFrameSwapped()
{
    if (!m_frameStarted)
        return;
    std::printf("first frame with the complete scan: %lld ms, %d models\n",
                static_cast<long long>(m_sinceStart.elapsed()), m_viewModel.modelCount());
    std::fflush(stdout);
    QGuiApplication::quit();
}
