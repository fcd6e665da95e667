#pragma once

#include <QHashFunctions>
#include <QString>
#include <optional>

// Where a model was found: one of the model applications and download caches
// Stashwell knows, or a folder the user added (identified by its folder name only).
class SourceTool
{
public:
    // The numbering is the hashing discriminator; keep the order.
    enum class Kind { ollama = 0, lmStudio = 1, custom = 2, omlx = 3, jan = 4, gpt4All = 5, drawThings = 6,
                      huggingFace = 7, llamaCpp = 8, comfyUI = 9, stableDiffusionWebUI = 10,
                      textGenerationWebUI = 11, anythingLLM = 12 };

    SourceTool() = default;
    SourceTool(Kind kind) : m_kind(kind) {}
    static SourceTool custom(const QString &folderName);

    Kind kind() const { return m_kind; }
    bool isCustom() const { return m_kind == Kind::custom; }
    QString folderName() const { return m_folderName; }

    // The text shown for the source: the application name, or the folder name as given.
    QString description() const;
    // The stable machine name used by the terminal front end ("ollama", "lmStudio", ...).
    QString key() const;
    static std::optional<Kind> kindFromKey(const QString &key);

    // The built-in sources in the order they are scanned and listed.
    static const QList<Kind> &builtInKinds();

    friend bool operator==(const SourceTool &a, const SourceTool &b)
    {
        return a.m_kind == b.m_kind && (a.m_kind != Kind::custom || a.m_folderName == b.m_folderName);
    }

private:
    Kind m_kind = Kind::ollama;
    QString m_folderName;
};

size_t qHash(const SourceTool &source, size_t seed = 0);
