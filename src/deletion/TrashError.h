#pragma once

#include <QString>

// Why an item could not be moved to the Trash. A deletion shows `description()`
// as the reason a model was not removed.
class TrashError
{
public:
    // The item at `path` could not be moved; `reason` is a plain sentence such as
    // "No such file or directory" or "Read-only file system".
    static TrashError failedToTrash(const QString &path, const QString &reason);

    // The system's own sentence for an errno value, e.g. "Permission denied".
    static QString reasonFor(int errorNumber);

    QString path() const { return m_path; }
    QString reason() const { return m_reason; }
    // "Failed to move <name> to Trash: <reason>"
    QString description() const;

private:
    TrashError(const QString &path, const QString &reason);

    QString m_path;
    QString m_reason;
};
