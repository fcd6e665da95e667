// Any bytes as Stashwell's details cache: decoding never crashes or reads outside the
// bytes, and whatever it accepts is sane and comes back the same once written again.
#include "DetailsCheck.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const DetailsCacheFile::Entries entries = DetailsCacheFile::decode(QByteArrayView(data, qsizetype(size)));
    QList<std::pair<DetailsCacheFile::Key, std::optional<ModelDetails>>> written;
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        if (entry.value())
            checkDetails(entry.value(), entry.value()->format);
        written.append({entry.key(), entry.value()});
    }
    require(DetailsCacheFile::decode(DetailsCacheFile::encode(written)) == entries, "the cache reads back what it wrote");
    return 0;
}
