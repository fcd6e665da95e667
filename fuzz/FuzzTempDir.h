#pragma once

#include <QString>
#include <QTemporaryDir>

// The scratch folder of one fuzz run. While it lives, HOME, XDG_CONFIG_HOME and
// XDG_DATA_HOME point into it, so no input ever reaches the real home folder.
class FuzzTempDir
{
public:
    // Made at the first call and removed when the run ends.
    static const FuzzTempDir &instance();

    QString path() const { return m_dir.path(); }
    QString filePath(const QString &relative) const { return m_dir.filePath(relative); }

private:
    FuzzTempDir();
    QTemporaryDir m_dir;
};
