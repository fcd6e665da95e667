#pragma once

#include "duplicates/VerificationProgress.h"

#include <QElapsedTimer>
#include <QTextStream>

// The one line `stashwell-cli verify` keeps rewriting on a terminal while it reads
// files: which group, the bytes hashed of the total, the rate and the time left.
// Redrawn at most ten times a second; erased before anything else is printed.
class VerifyProgressLine
{
public:
    explicit VerifyProgressLine(QTextStream &terminal) : m_terminal(terminal) {}

    void startGroup(int index, int count);
    void update(const VerificationProgress &progress);
    void clear();

private:
    QTextStream &m_terminal;
    QElapsedTimer m_groupClock;
    QElapsedTimer m_drawClock;
    int m_index = 0;
    int m_count = 0;
    bool m_drawn = false;
};
