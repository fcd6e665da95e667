#pragma once

#include "catalogue/DetectedModel.h"

#include <QList>

// The content rule of duplicate grouping: two models are likely copies when their primary
// files are the same size to the byte, at least minimumSize, and no cheap evidence tells
// them apart. The evidence, cheapest first: the digests the stores record (StoreDigest),
// where two that differ settle it without reading; otherwise three small blocks sampled
// from the start, the middle and the end of each file. Only files that share their size
// with another model's primary file are ever looked at, so a home without such
// collisions costs no read at all.
//
// A hostile or unusual home (millions of files of one size) is bounded: a scan looks at
// no more than fileBudget files, the sizes with the largest files first, and the models
// of a size that no longer fits are left out (counted, so the user is told).
class ContentGrouping
{
public:
    static constexpr qint64 minimumSize = 1024 * 1024;
    static constexpr qsizetype fileBudget = 1000;
    static constexpr qint64 sampleBlock = 4096;

    struct Candidates
    {
        // Positions in the list of the models sharing one primary-file size, list order
        // within each; the largest size first.
        QList<QList<qsizetype>> sameSize;
        qsizetype notCompared = 0; // models of a shared size left out for the budget
    };
    static Candidates candidates(const QList<DetectedModel> &models);

    // The sets, of two or more, that the evidence cannot tell apart among models whose
    // primary files have one size. A file that cannot be sampled (gone, changed, no longer
    // a regular file) joins no set.
    static QList<QList<qsizetype>> compare(const QList<DetectedModel> &models, const QList<qsizetype> &sameSize);
};
