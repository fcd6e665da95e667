// Any bytes as a safetensors file: the header reader never crashes or reads outside the
// bytes, and what it gives is sane, with a parameter count whenever it gives anything.
#include "DetailsCheck.h"

#include "details/HeaderBytes.h"
#include "details/SafetensorsReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    HeaderBytes bytes(QByteArrayView(data, qsizetype(size)));
    const std::optional<ModelDetails> details = SafetensorsReader::read(bytes);
    checkDetails(details, ModelDetails::Format::safetensors);
    require(!details || (details->parameters && !details->quantization.isEmpty()),
            "a safetensors file that says anything says its parameters and dtype");
    return 0;
}
