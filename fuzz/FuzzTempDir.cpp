#include "FuzzTempDir.h"

#include "FuzzCheck.h"

#include <QFile>

const FuzzTempDir &FuzzTempDir::instance()
{
    static const FuzzTempDir dir;
    return dir;
}

FuzzTempDir::FuzzTempDir()
{
    require(m_dir.isValid(), "a scratch folder can be made");
    qputenv("HOME", QFile::encodeName(m_dir.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(filePath(QStringLiteral(".config"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(filePath(QStringLiteral(".local/share"))));
}
