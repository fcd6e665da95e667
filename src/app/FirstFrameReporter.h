#pragma once

#include <QElapsedTimer>
#include <QObject>

class AppViewModel;
class QQuickWindow;

// For the window benchmark: prints how long after the start of the process the first
// frame showing a completed scan reached the screen, then quits. Attached only when
// STASHWELL_REPORT_FIRST_FRAME is set; a normal run never sees it.
class FirstFrameReporter : public QObject
{
    Q_OBJECT
public:
    FirstFrameReporter(QQuickWindow *window, AppViewModel &viewModel, QElapsedTimer sinceStart);

    static void attachIfAsked(QQuickWindow *window, AppViewModel &viewModel, const QElapsedTimer &sinceStart);

private:
    void onFrameSwapped();

    QQuickWindow *m_window;
    AppViewModel &m_viewModel;
    QElapsedTimer m_sinceStart;
    bool m_scanComplete = false;
    bool m_frameStarted = false; // a frame began after the scan completed
};
