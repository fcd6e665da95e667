#pragma once

#include "catalogue/DetectedModel.h"

// Scans the folders the user added by hand: every .gguf, .bin or .safetensors file
// at any depth is one model, listed under the folder's own name.
class CustomFolderScanner
{
public:
    QList<DetectedModel> scan(const QStringList &folders) const;

    static const QStringList &supportedExtensions();
    // The name a folder is listed under: its last path component, as it is.
    static QString folderName(const QString &folder);
};
