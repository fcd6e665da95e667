#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

// One model that could not be moved to the Trash, and why, in words the user reads.
struct DeleteFailure
{
    QString modelName;
    QString reason;
};

// What one deletion did: how many models were asked for, which moved, which failed.
struct DeletionResult
{
    int requested = 0;
    int moved = 0;
    QList<DeleteFailure> failures;
    QStringList trashedPaths; // every file or folder that went to the Trash, in order

    // The alert is shown only when something failed.
    bool needsAlert() const { return !failures.isEmpty(); }
    // "No models were moved to Trash", or "2 of 3 models moved to Trash. 1 failed."
    QString messageText() const;
    // When every model moved: "2 models moved to Trash. You can restore files from Trash if needed."
    QString successText() const;
    // The same news with the space the drive gets back, worked out before the move:
    // "2 models moved to Trash. Emptying the Trash gives back 9.03 GB."
    QString successText(qint64 spaceFreed) const;
    // One line per failure: "name - reason".
    QString informativeText() const;
};
Q_DECLARE_METATYPE(DeletionResult)
