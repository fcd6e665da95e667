#include "duplicates/DuplicateHashError.h"

#include <QDir>
#include <QFileInfo>

DuplicateHashError DuplicateHashError::unreadable(const QString &path, const QString &reason)
{
    return DuplicateHashError(Kind::unreadable, path, reason);
}

DuplicateHashError DuplicateHashError::missingPrimaryFile()
{
    return DuplicateHashError(Kind::missingPrimaryFile, {}, {});
}

QString DuplicateHashError::message() const
{
    switch (m_kind) {
    case Kind::unreadable:
        // cleanPath drops a trailing "/", so a folder path still shows its own name.
        return QFileInfo(QDir::cleanPath(m_path)).fileName() + QStringLiteral(": ") + m_reason;
    case Kind::missingPrimaryFile:
        break;
    }
    return QStringLiteral("A primary model file could not be found.");
}
