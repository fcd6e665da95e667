#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <variant>

// A regular file opened for reading, closed when this goes. Everything Stashwell reads
// of a model file (whole files, samples, headers) and its own digest cache is opened
// here, so the same rules hold everywhere: a FIFO, socket or device is never opened
// (reading it could block forever or never end), and a symbolic link is not followed.
class RegularFile
{
public:
    // The open file, or the reason it was not opened, as shown to the user.
    static std::variant<RegularFile, QString> open(const QString &path);

    RegularFile(RegularFile &&other) noexcept;
    RegularFile &operator=(RegularFile &&) = delete;
    ~RegularFile();

    int descriptor() const { return m_descriptor; }
    // The size when it was opened.
    qint64 size() const { return m_size; }

    // The whole of a regular file opened as above, or nothing when it is larger than
    // `maximumSize`, grew while it was read, or cannot be read.
    static std::optional<QByteArray> readWhole(const QString &path, qint64 maximumSize);

    // The C library's text for an errno value (strerror_r, in the process's locale).
    static QString systemReason(int error);
    static QString notRegularFileReason();
    static QString symbolicLinkReason();

private:
    RegularFile(int descriptor, qint64 size) : m_descriptor(descriptor), m_size(size) {}

    int m_descriptor = -1;
    qint64 m_size = 0;
};
