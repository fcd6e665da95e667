#pragma once

#include "catalogue/DetectedModel.h"

// LM Studio keeps each download as publisher/model folders of files.
class LMStudioScanner
{
public:
    QList<DetectedModel> scan() const;
    // ~/.lmstudio/models, then the folder older Linux releases used.
    QStringList roots() const;
};
