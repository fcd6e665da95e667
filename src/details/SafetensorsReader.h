#pragma once

#include "catalogue/ModelDetails.h"

#include <optional>

class HeaderBytes;

// What a safetensors file (the Hugging Face format) says of its model. The file starts
// with the header's length as an 8-byte little-endian number, then the header: a JSON
// object naming each tensor with its dtype, shape and data offsets, and perhaps
// "__metadata__" (texts, not a tensor).
//
// The parameter count is the sum over tensors of the product of their shapes; the
// quantization is the dtype holding most parameters ("BF16", "F8_E4M3"). Models made
// to the Stability AI model spec also state "modelspec.architecture" and
// "modelspec.title" in their metadata, which are taken as the architecture and name.
//
// A header length past the cap or the file's end, a header that is not a JSON object,
// a tensor entry of the wrong form, a shape whose product overflows, or data offsets
// that do not fit the file or the dtype and shape, give nothing.
class SafetensorsReader
{
public:
    // The file starts like a safetensors file: a header length that fits, then "{".
    static bool hasSignature(HeaderBytes &bytes);
    static std::optional<ModelDetails> read(HeaderBytes &bytes);
};
