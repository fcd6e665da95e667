#pragma once

#include "catalogue/DetectedModel.h"

// GPT4All keeps one model per .gguf file.
class GPT4AllScanner
{
public:
    QList<DetectedModel> scan() const;
    // The desktop application's data folder (macOS layout, XDG data folder, Flatpak
    // sandbox) and the Python bindings' cache.
    QStringList roots() const;
};
