#pragma once

#include <QString>

enum class VerificationOutcomeKind { identical, different, failed };

// What checking one likely-duplicate group by content found. Only `failed`
// carries a message: the text shown to the user as the reason.
struct VerificationOutcome
{
    VerificationOutcomeKind kind = VerificationOutcomeKind::different;
    QString message;
    // Failed because two members are one file on disk (hard links, or one folder reached
    // twice): deleting one of them frees nothing.
    bool oneFileOnDisk = false;

    static VerificationOutcome identical() { return {VerificationOutcomeKind::identical, {}}; }
    static VerificationOutcome different() { return {VerificationOutcomeKind::different, {}}; }
    static VerificationOutcome failed(const QString &message) { return {VerificationOutcomeKind::failed, message}; }
    static VerificationOutcome oneFile(const QString &message) { return {VerificationOutcomeKind::failed, message, true}; }

    friend bool operator==(const VerificationOutcome &, const VerificationOutcome &) = default;
};
