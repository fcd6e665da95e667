#include "catalogue/SourceTool.h"

#include <QList>

SourceTool SourceTool::custom(const QString &folderName)
{
    SourceTool source(Kind::custom);
    source.m_folderName = folderName;
    return source;
}

QString SourceTool::description() const
{
    switch (m_kind) {
    case Kind::ollama: return QStringLiteral("Ollama");
    case Kind::lmStudio: return QStringLiteral("LM Studio");
    case Kind::custom: return m_folderName;
    case Kind::omlx: return QStringLiteral("oMLX");
    case Kind::jan: return QStringLiteral("Jan");
    case Kind::gpt4All: return QStringLiteral("GPT4All");
    case Kind::drawThings: return QStringLiteral("Draw Things");
    case Kind::huggingFace: return QStringLiteral("Hugging Face");
    case Kind::llamaCpp: return QStringLiteral("llama.cpp");
    case Kind::comfyUI: return QStringLiteral("ComfyUI");
    case Kind::stableDiffusionWebUI: return QStringLiteral("Stable Diffusion WebUI");
    case Kind::textGenerationWebUI: return QStringLiteral("text-generation-webui");
    case Kind::anythingLLM: return QStringLiteral("AnythingLLM");
    }
    return {};
}

namespace {
struct KindKey { SourceTool::Kind kind; const char16_t *key; };
constexpr KindKey kindKeys[] = {
    {SourceTool::Kind::ollama, u"ollama"},     {SourceTool::Kind::lmStudio, u"lmStudio"},
    {SourceTool::Kind::custom, u"custom"},     {SourceTool::Kind::omlx, u"omlx"},
    {SourceTool::Kind::jan, u"jan"},           {SourceTool::Kind::gpt4All, u"gpt4All"},
    {SourceTool::Kind::drawThings, u"drawThings"}, {SourceTool::Kind::huggingFace, u"huggingFace"},
    {SourceTool::Kind::llamaCpp, u"llamaCpp"},  {SourceTool::Kind::comfyUI, u"comfyUI"},
    {SourceTool::Kind::stableDiffusionWebUI, u"stableDiffusionWebUI"},
    {SourceTool::Kind::textGenerationWebUI, u"textGenerationWebUI"}, {SourceTool::Kind::anythingLLM, u"anythingLLM"},
};
} // namespace

QString SourceTool::key() const
{
    // Looked up rather than indexed: the hashing numbers need not be contiguous.
    for (const KindKey &entry : kindKeys) {
        if (entry.kind == m_kind)
            return QString::fromUtf16(entry.key);
    }
    return {};
}

std::optional<SourceTool::Kind> SourceTool::kindFromKey(const QString &key)
{
    for (const KindKey &entry : kindKeys) {
        if (key == QString::fromUtf16(entry.key))
            return entry.kind;
    }
    return std::nullopt;
}

const QList<SourceTool::Kind> &SourceTool::builtInKinds()
{
    static const QList<Kind> kinds{Kind::ollama,     Kind::lmStudio,    Kind::omlx,
                                   Kind::jan,        Kind::gpt4All,     Kind::drawThings,
                                   Kind::huggingFace, Kind::llamaCpp, Kind::comfyUI,
                                   Kind::stableDiffusionWebUI, Kind::textGenerationWebUI, Kind::anythingLLM};
    return kinds;
}

size_t qHash(const SourceTool &source, size_t seed)
{
    seed = qHashMulti(seed, int(source.kind()));
    if (source.isCustom())
        seed = qHash(source.folderName(), seed);
    return seed;
}
