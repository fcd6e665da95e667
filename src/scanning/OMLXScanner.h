#pragma once

#include "catalogue/DetectedModel.h"

// oMLX keeps models in the same publisher/model layout as LM Studio.
class OMLXScanner
{
public:
    QList<DetectedModel> scan() const;
    QStringList roots() const;
};
