#pragma once

#include <QDir>
#include <QObject>

class ApplicationShell;

// Takes the README's pictures of the real windows: the main window after the first
// Takes the README's pictures of the real windows: the main window after the first
// scan, the delete confirmation over it, the keyboard's mark on a row and the
// preferences window (and, for a look at it, keep-one.png: "keep one" on the first group
// of duplicates once verified), in the light or dark appearance as stored. Attached only
// when STASHWELL_SCREENSHOT_DIR names the folder for the PNG files; the program quits
// after the last picture.
class ScreenshotTour : public QObject
{
    Q_OBJECT
public:
    ScreenshotTour(ApplicationShell &shell, const QString &folder);

    static void attachIfAsked(ApplicationShell &shell);

private:
    void start();
    void step(int index);
    bool save(QObject *window, const QString &name) const;

    ApplicationShell &m_shell;
    QDir m_folder;
    bool m_started = false;
};
