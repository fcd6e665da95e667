#pragma once

#include "catalogue/DetectedModel.h"
#include "core/ModelOrder.h"
#include "core/DuplicateCopies.h"

#include <QJsonObject>
#include <QStringList>

// What a scan found, written for a terminal or as one JSON object for scripts.
struct ScanReport
{
    QList<DetectedModel> models;
    QStringList unreadableFolders; // known model folders that exist but cannot be read
    bool withPaths = false;        // the text lists each model's files under its line (not what it is)
    // An order asked for: the text is then one list in the order of `models`, each line
    // naming its source, instead of the window's sections.
    ModelOrder::Key order = ModelOrder::Key::window;
    bool reversed = false;
    std::optional<qsizetype> foundCount; // set when filters left entries out: how many the scan found
    QJsonObject filters;                 // what was asked for, as the JSON's "filters"
    // Every model of the scan, where the other copies of a model shown may be; the models
    // shown when empty.
    QList<DetectedModel> everyModel = {};
    qsizetype notComparedByContent = 0; // see ScanResult

    // Sections in the window's order (or the one list in the order asked for), each model
    // with its size, date and duplicate mark and, under it, what the model is when its
    // files say; then the totals and the reclaimable space.
    QString text() const;
    QJsonObject json() const;

    // One entry of "models"; "duplicateOf" names the other members of its group, each
    // source and name once, at most maximumDuplicateOf of them (a hostile home's group of
    // thousands must not make the report grow with the square of its size).
    static QJsonObject modelJson(const DetectedModel &model, const DuplicateCopies &copies);
    static constexpr qsizetype maximumDuplicateOf = 100;
    // Control characters escaped, so a crafted file name cannot rewrite the terminal.
    static QString printable(const QString &text);
    // "likely duplicate", "verified duplicate", "unable to verify: ..." or empty.
    static QString duplicateMark(const DetectedModel &model);
};
