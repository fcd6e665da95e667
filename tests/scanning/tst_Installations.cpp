#include "core/StashwellCore.h"
#include "preferences/PersistenceService.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
using K = SourceTool::Kind;

// An installation as its own code lays it out: the entries that mark it, nothing more.
void install(const TempHome &home, K kind, const QString &folder)
{
    const QHash<K, QStringList> markers{{K::comfyUI, {u"main.py"_s, u"comfy/"_s, u"models/"_s}},
                                       {K::stableDiffusionWebUI, {u"webui.py"_s, u"launch.py"_s, u"modules/"_s}},
                                       {K::textGenerationWebUI, {u"server.py"_s, u"modules/"_s, u"user_data/models/"_s}}};
    for (const QString &marker : markers[kind]) {
        if (marker.endsWith(u'/'))
            home.makeDir(folder + u'/' + marker);
        else
            home.writeFile(folder + u'/' + marker, QByteArray("# code\n"));
    }
}

// "kind name size file file ..." for each model, paths relative to the home.
QStringList describe(const TempHome &home, const QList<DetectedModel> &models)
{
    QStringList lines;
    for (const DetectedModel &model : models) {
        QString line = u"%1 %2 %3"_s.arg(model.sourceTool.key(), model.displayName).arg(model.sizeBytes);
        for (const QString &path : model.filePaths)
            line += u' ' + path.sliced(home.path().size() + 1);
        lines.append(line);
    }
    return lines;
}

// The folders one source looked in, relative to the home.
QStringList foldersOf(const TempHome &home, const ScanResult &result, K kind)
{
    QStringList folders;
    for (const SourceStatus &status : result.sources) {
        for (const QString &folder : status.tool == SourceTool(kind) ? status.folders : QStringList())
            folders.append(folder.sliced(home.path().size() + 1));
    }
    return folders;
}

void makeFifo(const TempHome &home, const QString &relative)
{
    home.makeDir(QFileInfo(relative).path());
    QVERIFY(::mkfifo(QFile::encodeName(home.filePath(relative)).constData(), 0600) == 0);
}
} // namespace

// ComfyUI, the Stable Diffusion web UIs and text-generation-webui: found by one search
// of the home, their folders read from their own settings, never orphaned.
class TestInstallations : public QObject
{
    Q_OBJECT

private slots:
    void eachInstallationListsItsModels()
    {
        TempHome home;
        // ComfyUI in the home, sharing a folder of checkpoints through its YAML.
        install(home, K::comfyUI, u"ComfyUI"_s);
        home.writeFile(u"ComfyUI/models/checkpoints/sdxl.safetensors"_s, 3000);
        home.writeFile(u"ComfyUI/models/checkpoints/put_checkpoints_here"_s, 0);
        home.writeFile(u"ComfyUI/models/loras/style/detail.SFT"_s, 200);
        home.writeFile(u"ComfyUI/models/vae/readme.txt"_s, 5);
        home.writeFile(u"ComfyUI/extra_model_paths.yaml"_s, QByteArray("a1111:\n"
                                                                      "    base_path: ~/shared\n"
                                                                      "    checkpoints: |\n"
                                                                      "        Stable-diffusion\n"
                                                                      "        missing\n"
                                                                      "    custom_nodes: nodes\n"
                                                                      "    is_default: true\n"
                                                                      "local:\n"
                                                                      "    vae: ../vae-extra\n"
                                                                      // Forge's LoRAs stay Forge's.
                                                                      "forge:\n"
                                                                      "    base_path: ~/ai/forge\n"
                                                                      "    loras: models/Lora\n"));
        home.writeFile(u"shared/Stable-diffusion/dreamshaper.ckpt"_s, 4000);
        home.writeFile(u"shared/nodes/node.pt"_s, 10);
        home.writeFile(u"vae-extra/ae.pt"_s, 300);
        // ComfyUI Desktop: its base path named in its settings.
        home.writeFile(u".config/ComfyUI/config.json"_s, u"{\"basePath\": \"%1/Documents/ComfyUI\"}"_s.arg(home.path()).toUtf8());
        home.writeFile(u"Documents/ComfyUI/models/checkpoints/flux.safetensors"_s, 5000);
        // Forge two levels down, its checkpoints moved with --ckpt-dir.
        install(home, K::stableDiffusionWebUI, u"ai/forge"_s);
        home.writeFile(u"ai/forge/models/Lora/x.safetensors"_s, 60);
        home.writeFile(u"ai/forge/embeddings/neg.pt"_s, 7);
        home.writeFile(u"ai/forge/webui-user.sh"_s, QByteArray("#!/bin/bash\n#export COMMANDLINE_ARGS=\"--ckpt-dir /nowhere\"\n"
                                                               "export COMMANDLINE_ARGS=\"--xformers --ckpt-dir '$HOME/my ckpts'"
                                                               // named by ComfyUI's YAML too: listed once, under ComfyUI
                                                               " --vae-dir $HOME/shared/Stable-diffusion\"\n"));
        home.writeFile(u"my ckpts/juggernaut.safetensors"_s, 6000);
        // text-generation-webui three levels down: a folder per model, single GGUF files.
        install(home, K::textGenerationWebUI, u"x/y/text-generation-webui"_s);
        const QString tgw = u"x/y/text-generation-webui/user_data/"_s;
        home.writeFile(tgw + u"models/org_model/config.json"_s, 20);
        home.writeFile(tgw + u"models/org_model/model.safetensors"_s, 7000);
        home.writeFile(tgw + u"models/mistral.Q4_K_M.gguf"_s, 800);
        home.writeFile(tgw + u"models/config.yaml"_s, 30);
        QVERIFY(QFile::link(home.filePath(tgw + u"models/mistral.Q4_K_M.gguf"_s), home.filePath(tgw + u"models/link.gguf"_s)));
        home.writeFile(tgw + u"CMD_FLAGS.txt"_s, QByteArray("--api \\\n# --model-dir /nowhere\n--model-dir ../../more\n"));
        home.writeFile(u"x/more/phi.gguf"_s, 90);

        const ScanResult result = StashwellCore(home.machine()).scan();
        QVERIFY(HomeScan::same(describe(home, result.models),
                               {u"comfyUI sdxl 3000 ComfyUI/models/checkpoints/sdxl.safetensors"_s,
                                u"comfyUI detail 200 ComfyUI/models/loras/style/detail.SFT"_s,
                                u"comfyUI dreamshaper 4000 shared/Stable-diffusion/dreamshaper.ckpt"_s,
                                u"comfyUI ae 300 vae-extra/ae.pt"_s,
                                u"comfyUI flux 5000 Documents/ComfyUI/models/checkpoints/flux.safetensors"_s,
                                u"stableDiffusionWebUI x 60 ai/forge/models/Lora/x.safetensors"_s,
                                u"stableDiffusionWebUI neg 7 ai/forge/embeddings/neg.pt"_s,
                                u"stableDiffusionWebUI juggernaut 6000 my ckpts/juggernaut.safetensors"_s,
                                u"textGenerationWebUI org_model 7020 "_s + tgw + u"models/org_model/config.json "_s
                                    + tgw + u"models/org_model/model.safetensors"_s,
                                u"textGenerationWebUI mistral.Q4_K_M 800 "_s + tgw + u"models/mistral.Q4_K_M.gguf"_s,
                                u"textGenerationWebUI phi 90 x/more/phi.gguf"_s}));
        QVERIFY(std::none_of(result.models.begin(), result.models.end(), [](const DetectedModel &m) { return m.isOrphaned; }));

        // The Model tab's list: each installation with the folders the scan looked in.
        const SourceStatus &comfy = result.sources[SourceTool::builtInKinds().indexOf(K::comfyUI)];
        QCOMPARE(comfy.installations.size(), 2);
        QCOMPARE(comfy.installations[0].path, home.filePath(u"ComfyUI"_s));
        QCOMPARE(comfy.installations[0].folders, (QStringList{home.filePath(u"ComfyUI/models"_s), home.filePath(u"shared/Stable-diffusion"_s),
                                                              home.filePath(u"vae-extra"_s)}));
        QCOMPARE(comfy.installations[1].path, home.filePath(u"Documents/ComfyUI"_s));
        QCOMPARE(comfy.installedAppPath, home.filePath(u"ComfyUI"_s));

        // The terminal takes the new kinds and names.
        const HomeScan::CliRun run = HomeScan(home).runCli({u"scan"_s, u"--json"_s, u"--source"_s, u"stable diffusion webui"_s,
                                                            u"--source"_s, u"textGenerationWebUI"_s});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(run.out)[u"modelCount"_s].toInt(), 6);
        QCOMPARE(QJsonDocument::fromJson(run.out)[u"models"_s][0][u"source"_s].toString(), u"Stable Diffusion WebUI"_s);
    }

    // Damaged, hostile and odd settings: each degrades to the installation's own folders
    // (or what the rest of the file names), never a hang, a crash or a file touched.
    void badSettingsDegrade_data()
    {
        QTest::addColumn<K>("kind");
        QTest::addColumn<QString>("file"); // in the installation
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("folders"); // relative to the installation, "~/..." to the home
        const QStringList comfyModels{u"models"_s};
        const QByteArray aliases = "a: &a [\"x\",\"x\",\"x\",\"x\",\"x\",\"x\",\"x\",\"x\"]\n"
                                   + [] { QByteArray more; for (int i = 1; i < 40; ++i) more += "a" + QByteArray::number(i) + ": &a" + QByteArray::number(i) + " [*a" + (i > 1 ? QByteArray::number(i - 1) : "") + ", *a" + (i > 1 ? QByteArray::number(i - 1) : "") + "]\n"; return more; }()
                                   + "s:\n  base_path: ~/shared\n  vae: v\n";
        QTest::newRow("YAML damaged") << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray("s:\n  base_path: [~/shared\n  vae: v\n") << comfyModels;
        QTest::newRow("YAML over 1 MiB") << K::comfyUI << u"extra_model_paths.yaml"_s
                                         << "s:\n  base_path: ~/shared\n  vae: v\n#" + QByteArray(1100000, 'x') << comfyModels;
        QTest::newRow("YAML nested a million deep") << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray(1000000, '[') << comfyModels;
        QTest::newRow("YAML anchors doubling 40 times") << K::comfyUI << u"extra_model_paths.yaml"_s << aliases << QStringList{u"models"_s, u"~/shared/v"_s};
        QTest::newRow("YAML alias to itself") << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray("a: &a [*a]\n") << comfyModels;
        QTest::newRow("YAML of the wrong shape, one section right")
            << K::comfyUI << u"extra_model_paths.yaml"_s
            << QByteArray("list: [1, 2]\nscalar: text\nbad_base:\n  base_path: [x]\n  vae: shared\nok:\n  vae: {a: b}\n  loras: ../shared/v\n")
            << QStringList{u"models"_s, u"~/shared/v"_s};
        QTest::newRow("YAML top level a list") << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray("- base_path: ~/shared\n") << comfyModels;
        QTest::newRow("base_path relative: to the file's folder") << K::comfyUI << u"extra_model_paths.yaml"_s
                                                                  << QByteArray("s:\n  base_path: ../shared\n  vae: v\n") << QStringList{u"models"_s, u"~/shared/v"_s};
        QTest::newRow("base_path missing: paths relative to the file's folder")
            << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray("s:\n  vae: models/vae\n  loras: ../shared\n") << QStringList{u"models"_s, u"~/shared"_s};
        QTest::newRow("base_path / and the home: never walked whole")
            << K::comfyUI << u"extra_model_paths.yaml"_s
            << QByteArray("root:\n  base_path: /\n  vae: .\nhome:\n  base_path: $HOME\n  vae: |\n    .\n    shared/v\n") << QStringList{u"models"_s, u"~/shared/v"_s};
        QTest::newRow("YAML a FIFO") << K::comfyUI << u"extra_model_paths.yaml"_s << QByteArray() << comfyModels;
        QTest::newRow("webui-user.sh with an open quote")
            << K::stableDiffusionWebUI << u"webui-user.sh"_s << QByteArray("export COMMANDLINE_ARGS=\"--ckpt-dir ../shared/v\nexport COMMANDLINE_ARGS='--vae-dir shared'\n")
            << QStringList{u"models"_s};
        QTest::newRow("webui-user.sh running a command") << K::stableDiffusionWebUI << u"webui-user.sh"_s
                                                         << QByteArray("export COMMANDLINE_ARGS=\"--ckpt-dir $(cat dir) --vae-dir ../shared/v\"\n") << QStringList{u"models"_s};
        QTest::newRow("webui-user.sh quoted every way, the last counts")
            << K::stableDiffusionWebUI << u"webui-user.sh"_s
            << QByteArray("COMMANDLINE_ARGS=--vae-dir=nowhere\n  export COMMANDLINE_ARGS=--lora-dir\\ \"../shared/\"v' '--ckpt-dir=\"${HOME}\"/shared # note\n")
            << QStringList{u"models"_s, u"~/shared"_s};
        QTest::newRow("webui-user.sh naming the home: never walked whole")
            << K::stableDiffusionWebUI << u"webui-user.sh"_s << QByteArray("export COMMANDLINE_ARGS=\"--data-dir $HOME --embeddings-dir ..\"\n")
            << QStringList{u"models"_s};
        QTest::newRow("webui-user.sh a FIFO") << K::stableDiffusionWebUI << u"webui-user.sh"_s << QByteArray() << QStringList{u"models"_s};
        QTest::newRow("marker main.py a FIFO: no installation") << K::comfyUI << u"main.py"_s << QByteArray() << QStringList();
        QTest::newRow("CMD_FLAGS.txt naming the home's parent") << K::textGenerationWebUI << u"user_data/CMD_FLAGS.txt"_s
                                                               << QByteArray("--model-dir ../..\n") << QStringList{u"user_data/models"_s, u"models"_s};
    }

    void badSettingsDegrade()
    {
        QFETCH(K, kind);
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(QStringList, folders);
        TempHome home;
        install(home, kind, u"app"_s);
        home.makeDir(u"app/models"_s);
        home.makeDir(u"app/shared"_s);
        home.makeDir(u"shared/v"_s);
        if (content.isEmpty()) {
            QFile::remove(home.filePath(u"app/"_s + file));
            makeFifo(home, u"app/"_s + file);
        } else {
            home.writeFile(u"app/"_s + file, content);
        }
        QStringList expected;
        for (const QString &folder : folders)
            expected.append(folder.startsWith(u"~/"_s) ? folder.sliced(2) : u"app/"_s + folder);
        QCOMPARE(foldersOf(home, StashwellCore(home.machine()).scan(), kind), expected);
    }

    // One search to three levels below the home, past hidden folders, known stores and
    // installations, looking through links without following them further.
    void searchRules()
    {
        TempHome home;
        install(home, K::comfyUI, u"a/ComfyUI"_s);
        install(home, K::comfyUI, u"a/b/ComfyUI"_s);               // three levels below home
        install(home, K::comfyUI, u"a/b/c/ComfyUI"_s);             // four: not looked for
        install(home, K::comfyUI, u".hidden/ComfyUI"_s);
        install(home, K::comfyUI, u"Models/ComfyUI"_s);            // inside a custom folder
        install(home, K::comfyUI, u"a/ComfyUI/custom_nodes/ComfyUI"_s); // inside an installation
        install(home, K::comfyUI, u".cache/elsewhere/ComfyUI"_s);
        QVERIFY(QFile::link(home.filePath(u".cache/elsewhere/ComfyUI"_s), home.filePath(u"linked"_s)));
        QVERIFY(QFile::link(home.filePath(u"a/ComfyUI"_s), home.filePath(u"a/b/again"_s))); // the same one twice
        QVERIFY(QFile::link(home.filePath(u"a"_s), home.filePath(u"a/b/loop"_s)));
        install(home, K::textGenerationWebUI, u"a/text-generation-webui"_s);
        PersistenceService().save({home.filePath(u"Models"_s)});

        const ScanResult result = StashwellCore(home.machine()).scan();
        QStringList found;
        for (const SourceStatus &status : result.sources) {
            for (const InstallationStatus &installation : status.installations)
                found.append(status.tool.key() + u' ' + installation.path.sliced(home.path().size() + 1));
        }
        QCOMPARE(found, (QStringList{u"comfyUI a/ComfyUI"_s, u"comfyUI a/b/ComfyUI"_s, u"comfyUI linked"_s,
                                     u"textGenerationWebUI a/text-generation-webui"_s}));
    }
};

QTEST_GUILESS_MAIN(TestInstallations)
#include "tst_Installations.moc"
