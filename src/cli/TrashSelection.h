#pragma once

#include "catalogue/DetectedModel.h"
#include "cli/SelectionArguments.h"

#include <QStringList>
#include <optional>

// Which models `stashwell-cli trash` was asked for: by display name (optionally only
// from one source) or by the first file path, each naming one or more models, and by the
// selectors scan takes (--only, sizes, ages, --source, --sort and --limit), each narrowing.
class TrashSelection
{
public:
    // Reads the selectors and flags after "trash"; on bad usage returns nothing and
    // sets `error` to a one-line message.
    static std::optional<TrashSelection> parse(const QStringList &arguments, QString *error);

    // A --name that matches several models, and those models, when --all-matching is absent.
    struct Ambiguity
    {
        QString selector;
        QList<DetectedModel> matches;
    };

    // Every model selected, in the order asked for (else the window's): those the
    // selectors pick and, when names or paths are given, that one of them names. A name or
    // path that names none of the models the selectors pick is reported in `unmatched`; a
    // name that still names more than one model once the selection is complete (unless
    // all matches were asked for) in `ambiguous`.
    QList<DetectedModel> match(const QList<DetectedModel> &models, const QDateTime &now, QStringList *unmatched,
                               QList<Ambiguity> *ambiguous) const;

    bool dryRun = false;
    bool assumeYes = false;
    bool asJson = false;
    bool allMatching = false; // a --name may take every model of that name
    SelectionArguments selectors;

private:
    struct Selector
    {
        QString name;                          // empty when selecting by path
        std::optional<SourceTool::Kind> source; // narrows a name
        QString path;
        QString describe() const;
        bool names(const DetectedModel &model) const;
    };
    QList<Selector> m_selectors;
};
