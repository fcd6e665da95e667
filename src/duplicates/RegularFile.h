#pragma once

#include "duplicates/DuplicateHashError.h"

#include <QString>
#include <variant>

// A regular file opened for reading, closed when this goes. Everything that
// verification reads (whole files, samples, the digest cache) is opened here, so
// the same rules hold everywhere: a FIFO, socket or device is never opened (reading
// it could block forever or never end), and a symbolic link is not followed.
class RegularFile
{
public:
    static std::variant<RegularFile, DuplicateHashError> open(const QString &path);

    RegularFile(RegularFile &&other) noexcept;
    RegularFile &operator=(RegularFile &&) = delete;
    ~RegularFile();

    int descriptor() const { return m_descriptor; }
    // The size when it was opened.
    qint64 size() const { return m_size; }

    // The C library's text for an errno value (strerror_r, in the process's locale).
    static QString systemReason(int error);

private:
    RegularFile(int descriptor, qint64 size) : m_descriptor(descriptor), m_size(size) {}

    int m_descriptor = -1;
    qint64 m_size = 0;
};
