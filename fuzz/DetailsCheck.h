#pragma once

#include "FuzzCheck.h"

#include "catalogue/ModelDetails.h"

#include <QDataStream>
#include <QIODevice>

#include <optional>

// What every reader's answer must be: nothing, or details of the reader's format that
// state at least one fact, hold no negative count and no text a file could not state,
// and come back the same from the lasting cache's JSON.
inline void checkDetails(const std::optional<ModelDetails> &details, ModelDetails::Format format)
{
    if (!details)
        return;
    require(details->format == format, "details name the format that was read");
    require(!details->isEmpty(), "details state at least one fact");
    require(details->parameters.value_or(0) >= 0 && details->contextLength.value_or(0) >= 0, "counts are not negative");
    for (const QString *text : {&details->architecture, &details->quantization, &details->sizeLabel, &details->name})
        require(text->isEmpty() || ModelDetails::statedText(text->toUtf8()) == *text, "texts are as a file may state them");
    QByteArray cached;
    QDataStream out(&cached, QIODevice::WriteOnly);
    out << *details;
    QDataStream in(cached);
    ModelDetails back;
    in >> back;
    require(in.status() == QDataStream::Ok && back == *details, "details survive the lasting cache");
}
