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

    // The identifiers of every matching model, in list order; a selector that matches
    // nothing is reported in `unmatched`.
    QList<QUuid> match(const QList<DetectedModel> &models, QStringList *unmatched) const;

    bool dryRun = false;
    bool assumeYes = false;
    bool asJson = false;

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
