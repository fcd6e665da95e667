#include "cli/VerifyProgressLine.h"

#include "catalogue/ByteCountFormatter.h"

void VerifyProgressLine::startGroup(int index, int count)
{
    m_index = index;
    m_count = count;
    m_groupClock.start();
    m_drawClock.invalidate();
}

void VerifyProgressLine::update(const VerificationProgress &progress)
{
    const bool finished = progress.bytesDone >= progress.bytesTotal;
    if (!finished && m_drawClock.isValid() && m_drawClock.elapsed() < 100)
        return;
    m_drawClock.start();
    const double seconds = std::max<qint64>(m_groupClock.elapsed(), 1) / 1000.0;
    const double rate = progress.bytesDone / seconds;
    QString line = QStringLiteral("Verifying group %1 of %2: %3 of %4")
                       .arg(m_index + 1)
                       .arg(m_count)
                       .arg(ByteCountFormatter::format(progress.bytesDone), ByteCountFormatter::format(progress.bytesTotal));
    if (progress.bytesDone > 0) {
        const qint64 left = rate > 0 ? qint64((progress.bytesTotal - progress.bytesDone) / rate) : 0;
        line += QStringLiteral(", %1/s, %2 s left").arg(ByteCountFormatter::format(qint64(rate))).arg(left);
    }
    // "\r" and erase-to-end-of-line rewrite the line in place.
    m_terminal << "\r" << line << "\x1b[K";
    m_terminal.flush();
    m_drawn = true;
}

void VerifyProgressLine::clear()
{
    if (!m_drawn)
        return;
    m_terminal << "\r\x1b[K";
    m_terminal.flush();
    m_drawn = false;
}
