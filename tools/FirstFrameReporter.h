#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>

class AppViewModel;
class QQuickItem;
class QQuickWindow;

// For the window benchmark: prints how long after the start of the process the first
// frame showing a completed scan reached the screen, then quits. With the value
// "scroll" it then also scrolls the model list from top to bottom, a screenful per
// frame, and prints the slowest and the median frame. Attached only when
// STASHWELL_REPORT_FIRST_FRAME is set; a normal run never sees it.
class FirstFrameReporter : public QObject
{
    Q_OBJECT
public:
    FirstFrameReporter(QQuickWindow *window, AppViewModel &viewModel, QElapsedTimer sinceStart, bool scroll);

    static void attachIfAsked(QQuickWindow *window, AppViewModel &viewModel, const QElapsedTimer &sinceStart);

private:
    void onFrameSwapped();
    void scrollStep();

    QQuickWindow *m_window;
    AppViewModel &m_viewModel;
    QElapsedTimer m_sinceStart;
    bool m_scroll;
    bool m_scanComplete = false;
    bool m_frameStarted = false; // a frame began after the scan completed
    bool m_reported = false;
    QQuickItem *m_list = nullptr;
    QElapsedTimer m_frameClock;
    QList<qint64> m_frameTimes;
};
