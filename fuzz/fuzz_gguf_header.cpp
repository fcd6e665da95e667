// Any bytes as a GGUF file: the header reader never crashes, never reads outside the
// bytes (the address sanitizer watches), and what it gives is sane. Read again under a
// cap of half the bytes, it gives nothing or the same: a header that fits under the cap
// reads the same, one that does not is not read past it.
#include "DetailsCheck.h"

#include "details/GgufReader.h"
#include "details/HeaderBytes.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView file(data, qsizetype(size));
    HeaderBytes bytes(file);
    const std::optional<ModelDetails> details = GgufReader::read(bytes);
    checkDetails(details, ModelDetails::Format::gguf);
    HeaderBytes capped(file, file.size() / 2);
    const std::optional<ModelDetails> underCap = GgufReader::read(capped);
    require(!underCap || underCap == details, "a cap gives nothing or the same details");
    return 0;
}
