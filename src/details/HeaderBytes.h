#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QtEndian>
#include <QtGlobal>

// The header of one file, as a header reader asks for it. The file is read through a
// window of 256 KiB (small enough to stay in the processor's cache while the reader
// walks it) that moves forward as the reader does, so the values a reader
// skips by arithmetic (large arrays of numbers) are never read at all, and nothing is
// read past the end of the file or past a cap: a header that claims more than the file
// holds ends the reading instead of reading on. The readers ask only through at(),
// which is what keeps every read of theirs in bounds.
class HeaderBytes
{
public:
    // No header Stashwell reads may reach further into a file than this.
    static constexpr qint64 maximumHeaderSize = 64 * 1024 * 1024;
    static constexpr qint64 windowSize = 256 * 1024;
    // The first read only has to show which format a file is in (and most files the scan
    // meets are in none).
    static constexpr qint64 firstReadSize = 4096;

    // A regular file open for reading (RegularFile::descriptor()) of the given size.
    HeaderBytes(int descriptor, qint64 fileSize, qint64 cap = maximumHeaderSize);
    // Bytes already in memory, standing for a whole file (tests and fuzzing).
    explicit HeaderBytes(QByteArrayView bytes, qint64 cap = maximumHeaderSize);

    HeaderBytes(const HeaderBytes &) = delete;
    HeaderBytes &operator=(const HeaderBytes &) = delete;

    qint64 fileSize() const { return m_fileSize; }
    // The bytes [offset, offset + length), or null when any of them lies past the end of
    // the file or the cap, or could not be read. Valid until the next call.
    const uchar *at(qint64 offset, qint64 length)
    {
        if (offset < 0 || length < 0 || offset > m_limit || length > m_limit - offset)
            return nullptr;
        if ((offset < m_start || offset + length > m_start + m_held) && !load(offset, length))
            return nullptr;
        return m_data + (offset - m_start);
    }

    // Every byte held from `offset` on, at least `minimum` of them (reading when needed);
    // empty when fewer than that lie before the end of the file or the cap. For walks
    // that would otherwise ask for each of many small values.
    QByteArrayView held(qint64 offset, qint64 minimum)
    {
        const uchar *bytes = at(offset, minimum);
        return bytes ? QByteArrayView(bytes, m_start + m_held - offset) : QByteArrayView();
    }

    // A little-endian integer at an offset; false when out of bounds.
    template<typename Integer>
    bool read(qint64 offset, Integer &value)
    {
        const uchar *bytes = at(offset, qint64(sizeof value));
        if (!bytes)
            return false;
        value = qFromLittleEndian<Integer>(bytes);
        return true;
    }

    // The end of the furthest bytes read from the file so far.
    qint64 furthestRead() const { return m_furthest; }

private:
    bool load(qint64 offset, qint64 length);

    int m_descriptor = -1;
    qint64 m_fileSize = 0;
    qint64 m_limit = 0; // the smaller of the file's size and the cap
    qint64 m_start = 0; // the window: [m_start, m_start + m_held)
    qint64 m_held = 0;
    qint64 m_furthest = 0;
    QByteArray m_buffer;
    const uchar *m_data = nullptr;
};
