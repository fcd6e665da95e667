// Any bytes as the whole preferences file: reading every preference never fails or
// writes, and saving the folders that were read changes nothing else and reads back
// the same.
#include "FuzzCheck.h"
#include "FuzzTempDir.h"

#include "preferences/PersistenceService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>

namespace {
QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeSettingsFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size(),
            "the preferences file can be written");
    file.close();
    // Qt re-reads a settings file only when its size or time changed; give every input
    // a time of its own so two inputs of one size written within a millisecond differ.
    static time_t stamp = 1'000'000'000;
    const struct timespec times[2] = {{++stamp, 0}, {stamp, 0}};
    require(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0, "the file time can be set");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzTempDir::instance();
    const QString path = PersistenceService::settingsFilePath();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    writeSettingsFile(path, bytes);

    const PersistenceService persistence;
    const QStringList folders = persistence.load();
    const bool seenWelcome = persistence.hasSeenWelcomeScreen();
    const AppearanceMode appearance = persistence.appearanceMode();
    require(fileBytes(path) == bytes, "reading the preferences leaves the file as it was");

    persistence.save(folders);
    require(persistence.load() == folders, "what was read, saved, reads the same");
    require(persistence.hasSeenWelcomeScreen() == seenWelcome && persistence.appearanceMode() == appearance,
            "saving the folders leaves the other preferences alone");
    return 0;
}
