#pragma once

#include "catalogue/DetectedModel.h"

// Jan keeps each model in a folder of its own; the innermost folder that directly
// holds files is one model.
class JanScanner
{
public:
    QList<DetectedModel> scan() const;
    // llamacpp/models, then mlx/models, below the macOS data folder and then the XDG one.
    QStringList roots() const;

    // Groups every non-folder entry below root by the folder it lies in; entries
    // directly in root belong to no model. Folders keep the order they were first met.
    static QList<DetectedModel> scanFilesGroupedByFolder(const QString &root, const SourceTool &source);
};
