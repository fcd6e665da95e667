#pragma once

#include <QtGlobal>

// How far the reading of one group's files has come, in bytes, for a display of
// "bytes hashed of total, rate, time left". bytesTotal counts the primary files whose
// digests were not known when reading started; files answered from the digest cache
// or settled by their samples add nothing to either number.
struct VerificationProgress
{
    qint64 bytesDone = 0;
    qint64 bytesTotal = 0;

    friend bool operator==(const VerificationProgress &, const VerificationProgress &) = default;
};
