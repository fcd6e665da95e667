#pragma once

#include "core/StashwellCore.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QTemporaryDir>
#include <optional>

// A throw-away home folder for one test: HOME and the XDG data, config, cache and
// runtime folders point into it for as long as it lives, so no test ever sees the real home.
class TempHome
{
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome &) = delete;
    TempHome &operator=(const TempHome &) = delete;

    QString path() const { return m_dir.path(); }
    // An absolute path inside the home folder.
    QString filePath(const QString &relative) const;

    // Creates a file (and its folders) holding `size` bytes of `fill`, or exactly `content`.
    QString writeFile(const QString &relative, qint64 size, char fill = 'x') const;
    QString writeFile(const QString &relative, const QByteArray &content) const;
    QString makeDir(const QString &relative) const;
    // The same for a path given as raw bytes, for names that are not text.
    void writeRawFile(const QByteArray &relative, const QByteArray &content) const;
    // The machine as the core sees it: app detection looks inside this home only (so
    // nothing installed on the machine running the tests counts), and its two Ollama
    // stores are the user's ~/.ollama/models and a system service's below system/ollama,
    // beside AnythingLLM's in its storage folder.
    StashwellCore::Machine machine() const;
    // Sets a file's modification time without following a link.
    static void setModified(const QString &path, const QDateTime &when);

private:
    QTemporaryDir m_dir;
    QList<std::optional<QByteArray>> m_oldValues;
};
