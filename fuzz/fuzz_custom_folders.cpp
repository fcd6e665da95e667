// Any bytes stored as the custom folder list: reading never fails or writes, and saving
// whatever was read, then reading again, gives the same folders.
#include "FuzzCheck.h"
#include "FuzzTempDir.h"

#include "preferences/PersistenceService.h"

#include <QSettings>

#include <cstddef>
#include <cstdint>

namespace {
QByteArray storedValue()
{
    return QSettings(PersistenceService::settingsFilePath(), QSettings::IniFormat)
        .value(QString::fromUtf16(PersistenceService::customFoldersKey))
        .toByteArray();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzTempDir::instance();
    const QByteArray value(reinterpret_cast<const char *>(data), qsizetype(size));
    {
        QSettings settings(PersistenceService::settingsFilePath(), QSettings::IniFormat);
        settings.setValue(QString::fromUtf16(PersistenceService::customFoldersKey), value);
        settings.sync();
        require(settings.status() == QSettings::NoError, "the value can be stored");
    }
    const PersistenceService persistence;
    const QStringList folders = persistence.load();
    require(storedValue() == value, "reading leaves the stored value as it was");

    persistence.save(folders);
    require(persistence.load() == folders, "what was read, saved, reads the same");
    return 0;
}
