#pragma once

#include <QString>

enum class VerificationOutcomeKind { identical, different, failed };

// What checking one likely-duplicate group by content found. Only `failed`
// carries a message: the text shown to the user as the reason.
struct VerificationOutcome
{
    VerificationOutcomeKind kind = VerificationOutcomeKind::different;
    QString message;

    static VerificationOutcome identical() { return {VerificationOutcomeKind::identical, {}}; }
    static VerificationOutcome different() { return {VerificationOutcomeKind::different, {}}; }
    static VerificationOutcome failed(const QString &message) { return {VerificationOutcomeKind::failed, message}; }

    friend bool operator==(const VerificationOutcome &, const VerificationOutcome &) = default;
};
