#pragma once

#include "catalogue/DetectedModel.h"
#include "core/ModelOrder.h"

#include <QDateTime>
#include <QList>
#include <optional>

// Which entries of a scan a person asks for, and in which order: by kind, source, size and
// the model's date, then an order and a limit. Every filter given must hold; --only kinds
// and sources each match any of those listed. Totals are taken over what is selected.
class ModelSelection
{
public:
    // What an entry is: an orphan, a leftover, a member of a duplicate group, or a model
    // (every entry that is not a leftover, orphans included).
    enum class Kind { orphans, leftovers, duplicates, models };

    QList<Kind> kinds;                 // empty: every entry
    QList<SourceTool::Kind> sources;   // empty: every source
    std::optional<qint64> largerThan;  // bytes; only entries strictly larger
    std::optional<qint64> smallerThan; // bytes; only entries strictly smaller
    // Seconds before now. An entry whose date could not be read is neither older nor
    // newer than anything, so no age filter ever selects it.
    std::optional<qint64> olderThan;
    std::optional<qint64> newerThan;
    ModelOrder::Key order = ModelOrder::Key::window;
    bool reversed = false;         // the order backwards; ties keep the window's order
    std::optional<qsizetype> limit; // the first entries only, after ordering

    // Whether the entry passes every filter (order and limit aside).
    bool matches(const DetectedModel &model, const QDateTime &now) const;
    // The indices of the selected entries: filtered, in the window's order (orphans,
    // leftovers, then each source) or the one asked for, then cut to the limit. With no
    // order asked for, the entries kept are returned in the list's own order.
    QList<qsizetype> select(const QList<DetectedModel> &models, const QDateTime &now) const;
    // True when a filter or the limit may leave entries out.
    bool isNarrowed() const;

    static bool isKind(Kind kind, const DetectedModel &model);
    static std::optional<Kind> kindFromKey(const QString &text); // any case
    static QString key(Kind kind);                               // "orphans", ...
    static QStringList acceptedKinds();
};
