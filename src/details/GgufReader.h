#pragma once

#include "catalogue/ModelDetails.h"

#include <optional>

class HeaderBytes;

// What a GGUF file (the ggml project's model format, versions 2 and 3) says of its model.
// Its header is the magic "GGUF", the version, the tensor and key counts, typed
// key-value pairs in any order (a tokenizer's vocabulary of 100,000+ strings often
// comes first) and one entry per tensor: name, shape, type and data offset.
//
// Every pair is walked and values are skipped without being copied; only the keys
// describing the model are read: general.architecture, general.file_type,
// general.size_label, general.name and <architecture>.context_length. The parameter
// count is the sum over tensors of the product of their dimensions. The quantization is
// llama.cpp's name of general.file_type, else the tensor type holding most parameters.
//
// A header that cannot be right gives nothing: a count, length or type that cannot fit
// the file's size, a value type ggml does not define, an array of arrays, a tensor with
// more than four dimensions or data past the end of the file, a key of interest stated
// twice, or anything past HeaderBytes' cap. Version 1 files (32-bit counts and lengths,
// written only in the format's first weeks and no longer loaded by llama.cpp) and
// big-endian files give nothing either.
class GgufReader
{
public:
    // The file starts with "GGUF".
    static bool hasSignature(HeaderBytes &bytes);
    static std::optional<ModelDetails> read(HeaderBytes &bytes);
};
