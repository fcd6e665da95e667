#pragma once

#include "catalogue/DetectedModel.h"
#include "cli/DeletionFlags.h"

#include <QStringList>
#include <optional>

// Which copy `stashwell-cli keep-one` keeps of each group of duplicates: the model at a
// path (the rest of its group moves), or the one copy that each group has in a source.
class KeepSelection : public DeletionFlags
{
public:
    // Reads the arguments after "keep-one"; on bad usage returns nothing and sets `error`.
    static std::optional<KeepSelection> parse(const QStringList &arguments, QString *error);

    // The models to keep, at most one per group, in list order. What cannot be kept is said
    // in `notKept`, one line each: a --path that names no model or no duplicate (then
    // nothing is kept), a group with several copies in the source.
    QList<DetectedModel> kept(const QList<DetectedModel> &models, QStringList *notKept) const;
    // True when a --path named nothing that could be kept: bad usage rather than a failure.
    bool byPath() const { return !m_path.isEmpty(); }

private:
    QString m_path;
    std::optional<SourceTool::Kind> m_source;
};
