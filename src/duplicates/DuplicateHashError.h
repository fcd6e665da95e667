#pragma once

#include <QString>

// Why one group member's file could not be hashed.
class DuplicateHashError
{
public:
    enum class Kind { unreadable, missingPrimaryFile };

    // The file could not be opened, read or finished; `reason` is the text shown to the user.
    static DuplicateHashError unreadable(const QString &path, const QString &reason);
    // A member of the group has no file at all.
    static DuplicateHashError missingPrimaryFile();

    Kind kind() const { return m_kind; }
    QString path() const { return m_path; }
    QString reason() const { return m_reason; }

    // "<file name>: <reason>", or "A primary model file could not be found.".
    QString message() const;

    friend bool operator==(const DuplicateHashError &, const DuplicateHashError &) = default;

private:
    DuplicateHashError(Kind kind, const QString &path, const QString &reason)
        : m_kind(kind), m_path(path), m_reason(reason) {}

    Kind m_kind;
    QString m_path;
    QString m_reason;
};
