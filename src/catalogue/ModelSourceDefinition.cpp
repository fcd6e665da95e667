#include "catalogue/ModelSourceDefinition.h"

namespace {
QString s(const char16_t *text) { return QString::fromUtf16(text); }

QList<ModelSourceDefinition> makeDefinitions()
{
    using K = SourceTool::Kind;
    const QString gpt4AllMaker = s(SourceFolders::gpt4AllMaker);
    QList<ModelSourceDefinition> list;

    list.append({K::ollama, s(u"Ollama"),
                 {s(u"~/.ollama/models/"), s(u"/usr/share/ollama/.ollama/models/")},
                 {s(u"Ollama.app")}, {s(u"com.electron.ollama")},
                 {{s(u"ollama")}, {}, {}, {}, {s(u"ollama")}, {}}});

    list.append({K::lmStudio, s(u"LM Studio"),
                 {s(u"~/.lmstudio/models/"), s(u"~/.cache/lm-studio/models/")},
                 {s(u"LM Studio.app"), s(u"Bionic.app")},
                 {s(u"ai.elementlabs.lmstudio"), s(u"ai.elementlabs.bionic")},
                 {{s(u"lm-studio"), s(u"lmstudio")},
                  {s(u"LM-Studio*.AppImage"), s(u"LM_Studio*.AppImage"), s(u"LM Studio*.AppImage"),
                   s(u"LMStudio*.AppImage")},
                  {s(u"lm-studio.desktop"), s(u"lmstudio.desktop"), s(u"LM Studio.desktop")},
                  {}, {}, {s(u".lmstudio/bin/lms")}}});

    list.append({K::omlx, s(u"oMLX"), {s(u"~/.omlx/models/")}, {s(u"oMLX.app")}, {s(u"app.omlx")},
                 {{s(u"omlx")}, {}, {}, {}, {}, {}}});

    list.append({K::jan, s(u"Jan"),
                 {s(u"~/Library/Application Support/Jan/data/llamacpp/models/"),
                  s(u"~/Library/Application Support/Jan/data/mlx/models/"),
                  s(u"~/.local/share/Jan/data/llamacpp/models/"),
                  s(u"~/.local/share/Jan/data/mlx/models/")},
                 {s(u"Jan.app")}, {},
                 {{s(u"jan"), s(u"Jan"), s(u"Jan-Desktop")}, {s(u"jan*.AppImage"), s(u"Jan*.AppImage")},
                  {s(u"jan.desktop"), s(u"Jan.desktop")}, {s(u"ai.jan.Jan")}, {s(u"jan")}, {}}});

    list.append({K::gpt4All, s(u"GPT4All"),
                 {s(u"~/Library/Application Support/") + gpt4AllMaker + s(u"/GPT4All/"),
                  s(u"~/.cache/gpt4all/"), s(u"~/.local/share/") + gpt4AllMaker + s(u"/GPT4All/"),
                  s(u"~/.var/app/io.gpt4all.gpt4all/data/") + gpt4AllMaker + s(u"/GPT4All/")},
                 {s(u"GPT4All.app")}, {},
                 {{s(u"gpt4all")}, {s(u"gpt4all*.AppImage"), s(u"GPT4All*.AppImage")},
                  {s(u"GPT4All.desktop"), s(u"gpt4all.desktop"), s(u"io.gpt4all.gpt4all.desktop")},
                  {s(u"io.gpt4all.gpt4all")}, {s(u"gpt4all")}, {s(u"gpt4all/bin/chat")}}});

    list.append({K::drawThings, s(u"Draw Things"),
                 {s(u"~/Library/Containers/com.liuliu.draw-things/Data/Documents/Models/")},
                 {s(u"Draw Things.app")}, {s(u"com.liuliu.draw-things")}, {}});
    return list;
}
} // namespace

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
