#pragma once

#include <QString>

// How far a likely duplicate has been confirmed by comparing file contents.
class DuplicateVerificationStatus
{
public:
    enum class State { unverified, verified, unableToVerify };

    DuplicateVerificationStatus() = default;
    static DuplicateVerificationStatus unverified() { return {}; }
    static DuplicateVerificationStatus verified() { return DuplicateVerificationStatus(State::verified, {}); }
    static DuplicateVerificationStatus unableToVerify(const QString &reason)
    {
        return DuplicateVerificationStatus(State::unableToVerify, reason);
    }

    State state() const { return m_state; }
    // Only meaningful for unableToVerify: the text shown to the user.
    QString reason() const { return m_reason; }
    // "unverified", "verified" or "unableToVerify".
    QString key() const;

    friend bool operator==(const DuplicateVerificationStatus &, const DuplicateVerificationStatus &) = default;

private:
    DuplicateVerificationStatus(State state, const QString &reason) : m_state(state), m_reason(reason) {}
    State m_state = State::unverified;
    QString m_reason;
};
