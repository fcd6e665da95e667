#pragma once

#include <QString>
#include <optional>

// Sizes and ages as a person types them to pick models, each read exactly or refused.
namespace FilterValues {

// Bytes from "4096" (bytes), "500MB", "2gb", "1.5GiB", "2G": K, M, G and T, with or
// without a B, are powers of 1000 as Stashwell shows sizes; KiB, MiB, GiB and TiB powers of
// 1024; any case. A fraction needs a unit; negative values and values beyond 2^63 are refused.
std::optional<qint64> parseSize(const QString &text);

// Seconds from "90d", "12h", "2w", "30m", "45s", "1.5d": a number and one of s, m
// (minutes), h, d, w. Units are lower case only, so "6M" is never taken for six minutes
// when months were meant; a bare number has no unit and is refused.
std::optional<qint64> parseAge(const QString &text);

} // namespace FilterValues
