#pragma once

#include <QList>
#include <QString>
#include <QUuid>

enum class VerificationOutcomeKind { identical, different, failed, split };

// What checking one likely-duplicate group by content found: every member identical,
// every member different from every other, the group split into sets of identical
// members (the others being copies of none), or a failure. Only `failed` carries a
// message: the text shown to the user as the reason.
struct VerificationOutcome
{
    VerificationOutcomeKind kind = VerificationOutcomeKind::different;
    QString message;
    // Failed because two members are one file on disk (hard links, or one folder reached
    // twice): deleting one of them frees nothing.
    bool oneFileOnDisk = false;
    // split: the members (by model id) of each set of identical files, each set of two or
    // more and in list order, the sets in the order of their first members.
    QList<QList<QUuid>> identicalSets;

    static VerificationOutcome identical() { return {VerificationOutcomeKind::identical, {}, false, {}}; }
    static VerificationOutcome different() { return {VerificationOutcomeKind::different, {}, false, {}}; }
    static VerificationOutcome failed(const QString &message) { return {VerificationOutcomeKind::failed, message, false, {}}; }
    static VerificationOutcome oneFile(const QString &message) { return {VerificationOutcomeKind::failed, message, true, {}}; }
    static VerificationOutcome split(const QList<QList<QUuid>> &sets)
    {
        return {VerificationOutcomeKind::split, {}, false, sets};
    }

    friend bool operator==(const VerificationOutcome &, const VerificationOutcome &) = default;
};
