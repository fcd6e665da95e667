#include "details/ModelFileReader.h"

#include "details/GgufReader.h"
#include "details/HeaderBytes.h"
#include "details/SafetensorsReader.h"
#include "files/RegularFile.h"

std::optional<ModelDetails> ModelFileReader::read(const QString &path)
{
    auto opened = RegularFile::open(path);
    const RegularFile *file = std::get_if<RegularFile>(&opened);
    if (!file)
        return std::nullopt;
    HeaderBytes bytes(file->descriptor(), file->size());
    return read(bytes);
}

std::optional<ModelDetails> ModelFileReader::read(HeaderBytes &bytes)
{
    if (GgufReader::hasSignature(bytes))
        return GgufReader::read(bytes);
    if (SafetensorsReader::hasSignature(bytes))
        return SafetensorsReader::read(bytes);
    return std::nullopt;
}
