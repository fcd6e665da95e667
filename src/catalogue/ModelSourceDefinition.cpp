#include "catalogue/ModelSourceDefinition.h"

namespace {
QString s(const char16_t *text) { return QString::fromUtf16(text); }

using Base = ModelFolder::Base;
using Role = ModelFolder::Role;
using Setting = ModelFolder::Setting;

// The folders a user or an application moved models to, each read where the application keeps it.
ModelFolder jsonSetting(Base base, const QString &file, const QString &key, const QString &suffix = {})
{
    return {base, file, Role::linux, Setting::jsonKey, key, suffix};
}
ModelFolder iniSetting(Base base, const QString &file, const QString &key)
{
    return {base, file, Role::linux, Setting::iniKey, key};
}
ModelFolder variable(const QString &name, const QString &suffix = {})
{
    return {Base::environment, name, Role::linux, Setting::none, {}, suffix};
}
ModelFolder pointerFile(Base base, const QString &file)
{
    return {base, file, Role::linux, Setting::pointerFile};
}
ModelFolder inInstallation(const QString &folder)
{
    return {Base::installation, folder, Role::linux};
}
// A folder an installation's launch arguments name: `option` in the COMMANDLINE_ARGS
// of its webui-user.sh, or in a flags file of its own.
ModelFolder webuiUserArgument(const QString &option, const QString &suffix = {})
{
    return {Base::installation, s(u"webui-user.sh"), Role::linux, Setting::shellArguments,
            s(u"COMMANDLINE_ARGS"), suffix, option};
}
ModelFolder flagsFileArgument(const QString &file, const QString &option)
{
    return {Base::installation, file, Role::linux, Setting::argumentsFile, {}, {}, option};
}
InstallationMarker markerFile(const QString &name) { return {{name}, false}; }
InstallationMarker markerFolder(const QStringList &names) { return {names, true}; }

QList<ModelSourceDefinition> makeDefinitions()
{
    using K = SourceTool::Kind;
    const QString gpt4All = s(SourceFolders::gpt4AllMaker) + s(u"/GPT4All");
    QList<ModelSourceDefinition> list;

    list.append({.tool = K::ollama,
                 .displayName = s(u"Ollama"),
                 .layout = ModelLayout::ollamaManifests,
                 .folders = {{Base::home, s(u".ollama/models"), Role::linuxDefault},
                             {Base::absolute, s(u"/usr/share/ollama/.ollama/models"), Role::linux}},
                 .storesFromOllamaLocator = true,
                 .appBundleNames = {s(u"Ollama.app")},
                 .appBundleIdentifiers = {s(u"com.electron.ollama")},
                 .namedDigest = NamedDigest::blobFileName,
                 .linuxMarkers = {.executables = {s(u"ollama")}, .snapNames = {s(u"ollama")}}});

    list.append({.tool = K::lmStudio,
                 .displayName = s(u"LM Studio"),
                 .layout = ModelLayout::publisherModelFolders,
                 // "model.gguf.part", and "downloading_model.gguf.part" in newer releases
                 .unfinishedDownloads = {{.suffix = s(u".part")}},
                 .folders = {{Base::home, s(u".lmstudio/models"), Role::linuxDefault},
                             {Base::home, s(u".cache/lm-studio/models"), Role::linux}, // older releases
                             {Base::appHome, s(u"models"), Role::linux},
                             jsonSetting(Base::appHome, s(u"settings.json"), s(u"downloadsFolder")),
                             jsonSetting(Base::xdgConfig, s(u"LM Studio/settings.json"), s(u"downloadsFolder"))},
                 .homeFolders = {pointerFile(Base::home, s(u".lmstudio-home-pointer")),
                                 {Base::home, s(u".cache/lm-studio"), Role::linux},
                                 {Base::home, s(u".lmstudio"), Role::linux}},
                 .appBundleNames = {s(u"LM Studio.app"), s(u"Bionic.app")},
                 .appBundleIdentifiers = {s(u"ai.elementlabs.lmstudio"), s(u"ai.elementlabs.bionic")},
                 .linuxMarkers = {.executables = {s(u"lm-studio"), s(u"lmstudio")},
                                  .appImagePatterns = {s(u"LM-Studio*.AppImage"), s(u"LM_Studio*.AppImage"),
                                                       s(u"LM Studio*.AppImage"), s(u"LMStudio*.AppImage")},
                                  .desktopEntries = {s(u"lm-studio.desktop"), s(u"lmstudio.desktop"),
                                                     s(u"LM Studio.desktop")},
                                  .homeExecutables = {s(u".lmstudio/bin/lms")},
                                  .installRecords = {jsonSetting(Base::appHome, s(u".internal/app-install-location.json"),
                                                                 s(u"path"))}}});

    list.append({.tool = K::omlx,
                 .displayName = s(u"oMLX"),
                 .layout = ModelLayout::publisherModelFolders,
                 .folders = {{Base::home, s(u".omlx/models"), Role::linuxDefault}},
                 .appBundleNames = {s(u"oMLX.app")},
                 .appBundleIdentifiers = {s(u"app.omlx")},
                 .linuxMarkers = {.executables = {s(u"omlx")}}});

    // Jan keeps models in two folders of its data folder, wherever that is.
    QList<ModelFolder> janFolders{{Base::home, s(u"Library/Application Support/Jan/data/llamacpp/models"), Role::macOS},
                                  {Base::home, s(u"Library/Application Support/Jan/data/mlx/models"), Role::macOS},
                                  {Base::xdgData, s(u"Jan/data/llamacpp/models"), Role::linuxDefault},
                                  {Base::xdgData, s(u"Jan/data/mlx/models"), Role::linux},
                                  {Base::home, s(u".var/app/ai.jan.Jan/data/Jan/data/llamacpp/models"), Role::linux},
                                  {Base::home, s(u".var/app/ai.jan.Jan/data/Jan/data/mlx/models"), Role::linux}};
    for (const QString &models : {s(u"llamacpp/models"), s(u"mlx/models")}) {
        janFolders += {jsonSetting(Base::xdgData, s(u"Jan/settings.json"), s(u"data_folder"), models),
                       jsonSetting(Base::home, s(u".config/Jan/settings.json"), s(u"data_folder"), models), // legacy
                       variable(s(u"JAN_DATA_FOLDER"), models)};
    }
    list.append({.tool = K::jan,
                 .displayName = s(u"Jan"),
                 .layout = ModelLayout::folderPerModel,
                 .unfinishedDownloads = {{.suffix = s(u".tmp"), .companionSuffixes = {s(u".url")}}},
                 .folders = janFolders,
                 .appBundleNames = {s(u"Jan.app")},
                 .namedDigest = NamedDigest::modelYml,
                 .linuxMarkers = {.executables = {s(u"jan"), s(u"Jan"), s(u"Jan-Desktop")},
                                  .appImagePatterns = {s(u"jan*.AppImage"), s(u"Jan*.AppImage")},
                                  .desktopEntries = {s(u"jan.desktop"), s(u"Jan.desktop")},
                                  .flatpakIds = {s(u"ai.jan.Jan")},
                                  .snapNames = {s(u"jan")}}});

    list.append({.tool = K::gpt4All,
                 .displayName = s(u"GPT4All"),
                 .layout = ModelLayout::filePerModel,
                 .extensions = {s(u"gguf")},
                 .unfinishedDownloads = {{.prefix = s(u"incomplete-")}},
                 .folders = {{Base::home, s(u"Library/Application Support/") + gpt4All, Role::macOS},
                             {Base::home, s(u".cache/gpt4all"), Role::linux}, // the Python bindings
                             {Base::xdgData, gpt4All, Role::linuxDefault},
                             {Base::home, s(u".var/app/io.gpt4all.gpt4all/data/") + gpt4All, Role::linux},
                             iniSetting(Base::xdgConfig, gpt4All + s(u".ini"), s(u"modelPath")),
                             iniSetting(Base::home, s(u".var/app/io.gpt4all.gpt4all/config/") + gpt4All + s(u".ini"),
                                        s(u"modelPath"))},
                 .appBundleNames = {s(u"GPT4All.app")},
                 .linuxMarkers = {.executables = {s(u"gpt4all")},
                                  .appImagePatterns = {s(u"gpt4all*.AppImage"), s(u"GPT4All*.AppImage")},
                                  .desktopEntries = {s(u"GPT4All.desktop"), s(u"gpt4all.desktop"),
                                                     s(u"io.gpt4all.gpt4all.desktop")},
                                  .flatpakIds = {s(u"io.gpt4all.gpt4all")},
                                  .snapNames = {s(u"gpt4all")},
                                  .homeExecutables = {s(u"gpt4all/bin/chat")}}});

    list.append({.tool = K::drawThings,
                 .displayName = s(u"Draw Things"),
                 .layout = ModelLayout::filePerModel,
                 .extensions = {s(u"ckpt"), s(u"safetensors")},
                 .folders = {{Base::home, s(u"Library/Containers/com.liuliu.draw-things/Data/Documents/Models"),
                              Role::macOS}},
                 .appBundleNames = {s(u"Draw Things.app")},
                 .appBundleIdentifiers = {s(u"com.liuliu.draw-things")}});

    // Where transformers, vLLM, diffusers and llama.cpp's -hf downloads keep models and
    // datasets. The Hugging Face library names an unfinished blob "<etag>.incomplete" (or
    // "<etag>.<8 hex>.incomplete"), llama.cpp "<oid>.downloadInProgress".
    const QList<UnfinishedDownloadNames> hubDownloads{{.suffix = s(u".incomplete")},
                                                      {.suffix = s(u".downloadInProgress")}};
    list.append({.tool = K::huggingFace,
                 .displayName = s(u"Hugging Face"),
                 .layout = ModelLayout::huggingFaceRepos,
                 .unfinishedDownloads = hubDownloads,
                 .folders = {variable(s(u"HF_HUB_CACHE")), variable(s(u"HUGGINGFACE_HUB_CACHE")),
                             variable(s(u"HF_HOME"), s(u"hub")),
                             {Base::xdgCache, s(u"huggingface/hub"), Role::linuxDefault}},
                 .libraryCache = true,
                 .namedDigest = NamedDigest::blobFileName});

    // llama.cpp's own downloads: flat files, each with the ETag it was fetched with, and
    // since March 2026 repositories in the Hugging Face layout (in LLAMA_CACHE when it is
    // set, else in the hub cache above). Both kinds of download end in ".downloadInProgress".
    list.append({.tool = K::llamaCpp,
                 .displayName = s(u"llama.cpp"),
                 .layout = ModelLayout::llamaCppCache,
                 .extensions = {s(u"gguf")},
                 .sidecarSuffixes = {s(u".etag")},
                 .unfinishedDownloads = hubDownloads,
                 .folders = {variable(s(u"LLAMA_CACHE")), {Base::xdgCache, s(u"llama.cpp"), Role::linuxDefault}},
                 // Its repositories in the Hugging Face layout name their LFS blobs by digest.
                 .namedDigest = NamedDigest::blobFileName,
                 .linuxMarkers = {.executables = {s(u"llama-server"), s(u"llama-cli")}}});

    // Image generation: checkpoints, LoRAs, VAEs, text encoders and upscalers, one file each.
    const QStringList imageModelExtensions{s(u"safetensors"), s(u"ckpt"), s(u"pt"), s(u"pth"),
                                           s(u"bin"),         s(u"gguf"), s(u"sft"), s(u"onnx")};
    list.append({.tool = K::comfyUI,
                 .displayName = s(u"ComfyUI"),
                 .layout = ModelLayout::filePerModel,
                 .extensions = imageModelExtensions,
                 .folders = {inInstallation(s(u"models")),
                             {Base::installation, s(u"extra_model_paths.yaml"), Role::linux, Setting::comfyModelPaths},
                             // ComfyUI Desktop's list of model folders, kept beside its settings.
                             {Base::xdgConfig, s(u"ComfyUI/extra_models_config.yaml"), Role::linux,
                              Setting::comfyModelPaths}},
                 .installation = {.entries = {markerFile(s(u"main.py")), markerFolder({s(u"comfy")}),
                                              markerFolder({s(u"models")})},
                                  // ComfyUI Desktop's base path: its models/, input/, user/, ...
                                  .records = {jsonSetting(Base::xdgConfig, s(u"ComfyUI/config.json"), s(u"basePath"))}},
                 .symbol = s(u"photo"),
                 .linuxMarkers = {.appImagePatterns = {s(u"ComfyUI*.AppImage")},
                                  .desktopEntries = {s(u"comfyui-electron.desktop"), s(u"ComfyUI.desktop")}}});

    // AUTOMATIC1111's web UI and its Forge; a moved folder is an argument in webui-user.sh.
    QList<ModelFolder> webuiFolders{inInstallation(s(u"models")), inInstallation(s(u"embeddings"))};
    for (const QString &data : {s(u"--data-dir"), s(u"--forge-ref-a1111-home")})
        webuiFolders += {webuiUserArgument(data, s(u"models")), webuiUserArgument(data, s(u"embeddings"))};
    for (const QString &option : {s(u"--models-dir"), s(u"--ckpt-dir"), s(u"--lora-dir"), s(u"--vae-dir"),
                                  s(u"--embeddings-dir"), s(u"--text-encoder-dir")})
        webuiFolders += webuiUserArgument(option);
    list.append({.tool = K::stableDiffusionWebUI,
                 .displayName = s(u"Stable Diffusion WebUI"),
                 .layout = ModelLayout::filePerModel,
                 .extensions = imageModelExtensions,
                 .folders = webuiFolders,
                 .installation = {.entries = {markerFile(s(u"webui.py")), markerFile(s(u"launch.py")),
                                              markerFolder({s(u"modules")})}},
                 .symbol = s(u"photo")});

    // oobabooga's web UI: a folder per model (Transformers, EXL2, ...) or a single GGUF
    // file; user_data/ since 2025, the installation itself before.
    list.append({.tool = K::textGenerationWebUI,
                 .displayName = s(u"text-generation-webui"),
                 .layout = ModelLayout::entryPerModel,
                 .extensions = {s(u"gguf")},
                 .folders = {inInstallation(s(u"user_data/models")), inInstallation(s(u"models")),
                             flagsFileArgument(s(u"user_data/CMD_FLAGS.txt"), s(u"--model-dir")),
                             flagsFileArgument(s(u"CMD_FLAGS.txt"), s(u"--model-dir"))},
                 .installation = {.entries = {markerFile(s(u"server.py")), markerFolder({s(u"modules")}),
                                              markerFolder({s(u"user_data/models"), s(u"models")})}},
                 .symbol = s(u"doc.text")});

    // AnythingLLM's desktop application starts an Ollama of its own, which pulls into a
    // store in Ollama's layout inside AnythingLLM's storage folder (Electron's userData).
    // Its Linux installer unpacks the AppImage into ~/AnythingLLMDesktop with a "start" link.
    list.append({.tool = K::anythingLLM,
                 .displayName = s(u"AnythingLLM"),
                 .layout = ModelLayout::ollamaManifests,
                 .folders = {{Base::xdgConfig, s(u"anythingllm-desktop/storage/models/ollama"), Role::linuxDefault},
                             {Base::home, s(u"Library/Application Support/anythingllm-desktop/storage/models/ollama"),
                              Role::macOS}},
                 .appBundleNames = {s(u"AnythingLLM.app")},
                 .namedDigest = NamedDigest::blobFileName,
                 .linuxMarkers = {.executables = {s(u"anythingllm-desktop"), s(u"anything-llm")},
                                  .appImagePatterns = {s(u"AnythingLLMDesktop*.AppImage"), s(u"AnythingLLM*.AppImage"),
                                                       s(u"anythingllm*.AppImage"), s(u"anything-llm*.AppImage")},
                                  .desktopEntries = {s(u"anythingllm-desktop.desktop"), s(u"anythingllm.desktop"),
                                                     s(u"AnythingLLM.desktop")},
                                  .homeExecutables = {s(u"AnythingLLMDesktop/start"),
                                                      s(u"AnythingLLMDesktop/anythingllm-desktop/anythingllm-desktop")}}});
    return list;
}
} // namespace

QString ModelSourceDefinition::defaultFolder() const
{
    for (const ModelFolder &folder : folders) {
        if (folder.role == Role::linuxDefault)
            return folder.path();
    }
    return folders.isEmpty() ? QString() : folders.first().path();
}

const QList<ModelSourceDefinition> &ModelSourceDefinition::all()
{
    static const QList<ModelSourceDefinition> definitions = makeDefinitions();
    return definitions;
}

const ModelSourceDefinition *ModelSourceDefinition::find(const SourceTool &tool)
{
    for (const ModelSourceDefinition &definition : all()) {
        if (definition.tool == tool)
            return &definition;
    }
    return nullptr;
}
