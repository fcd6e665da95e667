#pragma once

#include <QString>

// A small drive in memory (tmpfs), mounted for the life of the object at a folder of the
// test's choosing: inside a temporary home it puts one store on a drive of its own, with
// its own Trash at the top. Only a privileged user may mount; elsewhere problem() says
// why there is no drive, for the test to skip.
class ScratchDrive
{
public:
    ScratchDrive(const QString &mountPoint, qint64 sizeBytes);
    ~ScratchDrive();
    ScratchDrive(const ScratchDrive &) = delete;
    ScratchDrive &operator=(const ScratchDrive &) = delete;

    bool isMounted() const { return m_mounted; }
    QString problem() const { return m_problem; }
    QString path() const { return m_path; }
    QString filePath(const QString &relative) const { return m_path + QLatin1Char('/') + relative; }

    // Nothing on the drive can be changed any more; false when the system refuses.
    bool remountReadOnly() const;
    // Writes the file `filler` on the drive until no page is left, then gives back
    // `pagesLeft` pages, so the drive has exactly that much room. False on failure.
    bool fill(const QString &filler, int pagesLeft) const;

private:
    QString m_path;
    QString m_problem;
    bool m_mounted = false;
};
