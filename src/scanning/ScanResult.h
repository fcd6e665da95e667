#pragma once

#include "catalogue/DetectedModel.h"

#include <QList>
#include <QStringList>
#include <optional>

// One installation of an application that runs from a folder of its own, with the
// folders the scan looked in for it (existing ones, each real folder once).
struct InstallationStatus
{
    QString path;
    QStringList folders;
};

// What one scan learned about one built-in model application on this machine.
struct SourceStatus
{
    SourceTool tool;
    QString displayName;
    // The folders the scan looked in on this machine (existing ones, each real folder
    // once); when none exists, the folder the application would use by default, if any.
    QStringList folders;
    // The installations found of an application that has them, in the order found;
    // their folders are among `folders`.
    QList<InstallationStatus> installations;
    std::optional<QString> installedAppPath; // where the application was found, if it was
    QString iconName;                        // from its desktop entry: a theme name or a path
    int modelCount = 0;
};

// Everything one scan hands to a front end: the models in list order, every built-in
// source in table order, and the known model folders that exist but cannot be read.
struct ScanResult
{
    QList<DetectedModel> models;
    QList<SourceStatus> sources;
    QStringList unreadableFolders;
    // Models whose primary files share one size with more files than a scan compares by
    // content (ContentGrouping::fileBudget): grouped by name only.
    qsizetype notComparedByContent = 0;
};
