#pragma once

#include "duplicates/DuplicateHashError.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <functional>
#include <variant>

// The 32 raw bytes of a SHA-256 digest, or why it could not be computed.
using DigestResult = std::variant<QByteArray, DuplicateHashError>;

// Streams one file through SHA-256. Memory stays at one chunk whatever the file's
// size (models of tens of gigabytes are normal), and cancellation is noticed
// within one chunk.
//
// Files are opened through RegularFile: only regular files are read, and a
// symbolic link is not followed ("verified" on a link and its own target would
// invite the user to trash the target and leave the other entry dangling). Both
// end as unreadable with a reason saying so. Other reasons are the C library's
// text for the error, e.g. "No such file or directory".
class FileHasher
{
public:
    static constexpr qint64 chunkSize = 65536;
    static constexpr qint64 sampleSize = 65536;
    // Whole-file reads stop at every multiple of this to hand on the digest of what was
    // read so far (a multiple of chunkSize, so reads stay aligned).
    static constexpr qint64 stripeSize = 8 * 1024 * 1024;

    // Called after every chunk with the number of bytes hashed so far.
    using Progress = std::function<void(qint64 bytesHashed)>;
    // Called after each whole stripe with its number (from 0) and the SHA-256 of the file's
    // first (stripe + 1) * stripeSize bytes. Two files whose digests at one stripe differ
    // have different contents. Returning false stops the read: the result is then
    // unreadable with stoppedReason().
    using Checkpoint = std::function<bool(qint64 stripe, const QByteArray &prefixDigest)>;

    static DigestResult hashFile(const QString &path, const std::atomic<bool> *cancelled = nullptr,
                                 const Progress &progress = {}, const Checkpoint &checkpoint = {});

    // The SHA-256 of the file's size and of `blockSize` bytes at its start, middle and
    // end (less when the file is smaller). Two files whose sample digests differ have
    // different contents; equal sample digests prove nothing about the rest.
    static DigestResult sampleDigest(const QString &path, const std::atomic<bool> *cancelled = nullptr,
                                     qint64 blockSize = sampleSize);

    static QString cancelledReason();
    static QString stoppedReason();
};
