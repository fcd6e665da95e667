#pragma once

#include "catalogue/ModelDetails.h"

#include <QString>
#include <optional>

class HeaderBytes;

// Reads what one model file says of its model. The file is opened through RegularFile
// (never a FIFO, device or link) and its first bytes decide the reader: GGUF by its
// magic, safetensors by a header length that fits and a "{". Any other file, whatever
// its name, says nothing.
class ModelFileReader
{
public:
    static std::optional<ModelDetails> read(const QString &path);
    static std::optional<ModelDetails> read(HeaderBytes &bytes);
};
