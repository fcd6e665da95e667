#pragma once

#include "catalogue/DetectedModel.h"

#include <QStringList>
#include <optional>

// Which models `stashwell-cli trash` was asked for: by display name (optionally only
// from one source) or by the first file path, each selector naming one or more models.
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

    // The identifiers of every matching model, in list order; a selector that matches
    // nothing is reported in `unmatched`, a name that matches more than one model (unless
    // all matches were asked for) in `ambiguous`.
    QList<QUuid> match(const QList<DetectedModel> &models, QStringList *unmatched, QList<Ambiguity> *ambiguous) const;

    bool dryRun = false;
    bool assumeYes = false;
    bool asJson = false;
    bool allMatching = false; // a --name may take every model of that name

private:
    struct Selector
    {
        QString name;                          // empty when selecting by path
        std::optional<SourceTool::Kind> source; // narrows a name
        QString path;
        QString describe() const;
    };
    QList<Selector> m_selectors;
};
