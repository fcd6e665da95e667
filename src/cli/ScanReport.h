#pragma once

#include "catalogue/DetectedModel.h"

#include <QJsonObject>
#include <QStringList>

// What a scan found, written for a terminal or as one JSON object for scripts.
struct ScanReport
{
    QList<DetectedModel> models;
    QStringList unreadableFolders; // known model folders that exist but cannot be read
    bool withPaths = false;        // the text lists each model's files under its line (not what it is)

    // Sections in the window's order, each model with its size, date and duplicate
    // mark and, under it, what the model is when its files say; then the totals and
    // the reclaimable space.
    QString text() const;
    QJsonObject json() const;

    static QJsonObject modelJson(const DetectedModel &model);
    // Control characters escaped, so a crafted file name cannot rewrite the terminal.
    static QString printable(const QString &text);
    // "likely duplicate", "verified duplicate", "unable to verify: ..." or empty.
    static QString duplicateMark(const DetectedModel &model);
};
