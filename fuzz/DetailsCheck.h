#pragma once

#include "FuzzCheck.h"

#include "catalogue/ModelDetails.h"

#include "details/DetailsCacheFile.h"

#include <optional>

// What every reader's answer must be: nothing, or details of the reader's format that
// state at least one fact, hold no negative count and no text a file could not state,
// and come back the same from the lasting cache.
inline void checkDetails(const std::optional<ModelDetails> &details, ModelDetails::Format format)
{
    if (!details)
        return;
    require(details->format == format, "details name the format that was read");
    require(!details->isEmpty(), "details state at least one fact");
    require(details->parameters.value_or(0) >= 0 && details->contextLength.value_or(0) >= 0, "counts are not negative");
    for (const QString *text : {&details->architecture, &details->quantization, &details->sizeLabel, &details->name})
        require(text->isEmpty() || ModelDetails::statedText(text->toUtf8()) == *text, "texts are as a file may state them");
    const DetailsCacheFile::Key key{SHACacheKey{QStringLiteral("/m")}, DetailsCacheFile::Reader::weights};
    const DetailsCacheFile::Entries cached = DetailsCacheFile::decode(DetailsCacheFile::encode({{key, details}}));
    require(cached.value(key) == details, "details survive the lasting cache");
}
