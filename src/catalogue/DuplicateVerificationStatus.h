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

    // Unable to verify because the members are one file with several names.
    static DuplicateVerificationStatus oneFileOnDisk(const QString &reason)
    {
        DuplicateVerificationStatus status(State::unableToVerify, reason);
        status.m_oneFile = true;
        return status;
    }

    State state() const { return m_state; }
    bool isOneFileOnDisk() const { return m_oneFile; }
    // Only meaningful for unableToVerify: the text shown to the user.
    QString reason() const { return m_reason; }
    // "unverified", "verified" or "unableToVerify".
    QString key() const;

    friend bool operator==(const DuplicateVerificationStatus &, const DuplicateVerificationStatus &) = default;

private:
    DuplicateVerificationStatus(State state, const QString &reason) : m_state(state), m_reason(reason) {}
    State m_state = State::unverified;
    QString m_reason;
    bool m_oneFile = false;
};
