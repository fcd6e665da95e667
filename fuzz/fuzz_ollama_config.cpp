// Any bytes as an Ollama config blob: decoding never crashes, and what it gives is sane
// and never an exact parameter count (a config only states a size label).
#include "DetailsCheck.h"

#include "details/OllamaConfigReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<ModelDetails> details = OllamaConfigReader::decode(bytes);
    checkDetails(details, ModelDetails::Format::ollama);
    require(!details || !details->parameters, "a config states no exact parameter count");
    return 0;
}
