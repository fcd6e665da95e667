#pragma once

#include "catalogue/DetectedModel.h"

// Draw Things keeps one model per checkpoint or safetensors file in its container.
class DrawThingsScanner
{
public:
    QList<DetectedModel> scan() const;
    QStringList roots() const;
};
