#include "details/HeaderBytes.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

HeaderBytes::HeaderBytes(int descriptor, qint64 fileSize, qint64 cap)
    : m_descriptor(descriptor), m_fileSize(std::max<qint64>(fileSize, 0)), m_limit(std::clamp<qint64>(cap, 0, m_fileSize))
{
}

HeaderBytes::HeaderBytes(QByteArrayView bytes, qint64 cap)
    : m_fileSize(bytes.size()), m_limit(std::clamp<qint64>(cap, 0, bytes.size())), m_held(m_limit), m_furthest(m_limit),
      m_data(reinterpret_cast<const uchar *>(bytes.data()))
{
}

bool HeaderBytes::load(qint64 offset, qint64 length)
{
    if (m_descriptor < 0)
        return false; // in memory: everything up to the limit is held already
    const qint64 wanted = std::min(m_limit - offset, std::max(length, m_furthest == 0 ? firstReadSize : windowSize));
    if (m_buffer.size() < wanted)
        m_buffer.resize(wanted);
    m_start = offset;
    m_held = 0;
    while (m_held < wanted) {
        const ssize_t count = ::pread(m_descriptor, m_buffer.data() + m_held, size_t(wanted - m_held), offset + m_held);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            m_limit = offset + m_held; // the file shrank or cannot be read: nothing past here counts
            break;
        }
        m_held += count;
    }
    m_data = reinterpret_cast<const uchar *>(m_buffer.constData());
    m_furthest = std::max(m_furthest, m_start + m_held);
    return length <= m_held;
}
