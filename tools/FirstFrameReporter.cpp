#include "FirstFrameReporter.h"

#include "state/AppViewModel.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>

#include <algorithm>
#include <cstdio>

FirstFrameReporter::FirstFrameReporter(QQuickWindow *window, AppViewModel &viewModel, QElapsedTimer sinceStart, bool scroll)
    : QObject(window), m_window(window), m_viewModel(viewModel), m_sinceStart(sinceStart), m_scroll(scroll)
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
        new FirstFrameReporter(window, viewModel, sinceStart,
                               qEnvironmentVariable("STASHWELL_REPORT_FIRST_FRAME") == QLatin1String("scroll"));
}

void FirstFrameReporter::onFrameSwapped()
{
    if (!m_frameStarted)
        return;
    if (!m_reported) {
        m_reported = true;
        std::printf("first frame with the complete scan: %lld ms, %d models\n",
                    static_cast<long long>(m_sinceStart.elapsed()), m_viewModel.modelCount());
        std::fflush(stdout);
        m_list = m_window->findChild<QQuickItem *>(QStringLiteral("modelList"));
        if (!m_scroll || !m_list) {
            QGuiApplication::quit();
            return;
        }
        m_frameClock.start();
        scrollStep();
        return;
    }
    m_frameTimes.append(m_frameClock.restart());
    scrollStep();
}

void FirstFrameReporter::scrollStep()
{
    const qreal bottom = m_list->property("contentHeight").toReal() - m_list->height();
    const qreal now = m_list->property("contentY").toReal();
    if (now >= bottom - 1 && !m_frameTimes.isEmpty()) {
        QList<qint64> sorted = m_frameTimes;
        std::sort(sorted.begin(), sorted.end());
        std::printf("scrolled through the list in %lld frames: median %lld ms, slowest %lld ms\n",
                    static_cast<long long>(sorted.size()), static_cast<long long>(sorted.at(sorted.size() / 2)),
                    static_cast<long long>(sorted.last()));
        std::fflush(stdout);
        QGuiApplication::quit();
        return;
    }
    m_list->setProperty("contentY", std::min(bottom, now + m_list->height()));
    m_window->update();
}
