#include "support/GgufWriter.h"
#include "support/HomeScan.h"
#include "support/OllamaFixture.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

// Runs the real stashwell-cli over a home folder laid out like a real one.
class TestCliScan : public QObject
{
    Q_OBJECT

    // The real program, with the home's "bin" as its only programs folder.
    static HomeScan::CliRun cli(const TempHome &home, const QStringList &arguments)
    {
        return HomeScan(home, QStringLiteral(STASHWELL_CLI_PATH)).runCli(arguments);
    }

    // Ollama (installed through an executable on PATH), LM Studio (an AppImage), and
    // Jan, GPT4All, oMLX and Draw Things left behind by applications that are gone.
    void layOutRealHome(const TempHome &home)
    {
        const OllamaFixture ollama(home);
        ollama.addModel(QStringLiteral("library/llama3/latest"), {{"sha256:ccc", 100}, {"sha256:aaa", 10000}});
        ollama.addModel(QStringLiteral("someuser/phi/q4"), {{"sha256:ccc", 100}, {"sha256:bbb", 300}, {"sha256:gone", 50}}, false);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-bbb"), 300);
        // Another registry is not listed; a manifest that is no JSON is passed over.
        home.writeFile(QStringLiteral(".ollama/models/manifests/hf.co/org/repo/latest"), OllamaFixture::manifest({{"sha256:aaa", 1}}));
        home.writeFile(QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/broken/latest"), QByteArray("{oops"));
        const QString program = home.writeFile(QStringLiteral("bin/ollama"), QByteArray("#!/bin/sh\n"));
        QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeUser | QFile::ExeOther);

        // Two models say what they are: a GGUF header, and llama3's config blob (shared by phi).
        GgufWriter().text("general.architecture", "llama").number("general.file_type", 15).number("llama.context_length", 4096)
            .tensor("w", {64, 2}, GgufWriter::f32).write(home, QStringLiteral(".lmstudio/models/lmstudio-community/Llama-3-8B-GGUF/Llama-3-8B-Q4_K_M.gguf"), 2000);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-ccc"), QByteArray(R"({"model_family":"llama","model_type":"8.0B","file_type":"Q4_0"})").leftJustified(100));
        home.writeFile(QStringLiteral("Applications/LM-Studio-0.3.5-x64.AppImage"), 10);

        home.writeFile(QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen2.5-7b/model.gguf"), 700);
        home.writeFile(QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen2.5-7b/model.yml"), 7);
        home.writeFile(QStringLiteral(".local/share/nomic.ai/GPT4All/Phi-3-mini.Q4_0.gguf"), 900);
        home.writeFile(QStringLiteral(".omlx/models/mlx-community/Qwen3-4B-4bit/model.safetensors"), 400);
        home.writeFile(QStringLiteral(".omlx/models/mlx-community/Qwen3-4B-4bit/config.json"), 4);
        home.writeFile(QStringLiteral("Library/Containers/com.liuliu.draw-things/Data/Documents/Models/sd_v1.5.ckpt"), 600);

        // The user's own folders: a copy of llama3 and a file that is no model.
        home.writeFile(QStringLiteral("Models/llama3-latest.gguf"), 10100);
        home.writeFile(QStringLiteral("Models/notes.txt"), 5);
        home.writeFile(QStringLiteral("Models 10/tiny.bin"), 1);
    }

private slots:
    void scanAndVerifyReportWhatIsOnDisk()
    {
        TempHome home;
        layOutRealHome(home);
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("Models 10"))}).exitCode, 0);
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("Models/"))}).exitCode, 0);

        const HomeScan::CliRun result = cli(home, {QStringLiteral("scan"), QStringLiteral("--json")});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();
        const QJsonArray models = report.value(QStringLiteral("models")).toArray();

        QStringList seen;
        QHash<QString, QJsonObject> byName;
        for (const QJsonValue &value : models) {
            const QJsonObject model = value.toObject();
            seen << model.value(QStringLiteral("sourceKind")).toString() + QLatin1Char('/') + model.value(QStringLiteral("displayName")).toString();
            byName.insert(model.value(QStringLiteral("displayName")).toString(), model);
        }
        // Scan order: the six applications in turn, then the custom folders as stored.
        QCOMPARE(seen, (QStringList{QStringLiteral("ollama/llama3:latest"), QStringLiteral("ollama/someuser/phi:q4"),
                                    QStringLiteral("lmStudio/Llama-3-8B-GGUF"), QStringLiteral("omlx/Qwen3-4B-4bit"),
                                    QStringLiteral("jan/qwen2.5-7b"), QStringLiteral("gpt4All/Phi-3-mini.Q4_0"),
                                    QStringLiteral("drawThings/sd_v1.5"), QStringLiteral("custom/tiny"),
                                    QStringLiteral("custom/llama3-latest")}));

        const QJsonObject llama = byName.value(QStringLiteral("llama3:latest"));
        const QString store = home.filePath(QStringLiteral(".ollama/models/"));
        QCOMPARE(llama.value(QStringLiteral("filePaths")).toArray().toVariantList(),
                 (QVariantList{store + QStringLiteral("manifests/registry.ollama.ai/library/llama3/latest"),
                               store + QStringLiteral("blobs/sha256-ccc"), store + QStringLiteral("blobs/sha256-aaa")}));
        QCOMPARE(llama.value(QStringLiteral("sizeBytes")).toInteger(), 10100);
        QCOMPARE(llama.value(QStringLiteral("source")).toString(), QStringLiteral("Ollama"));
        QVERIFY(!llama.value(QStringLiteral("isOrphaned")).toBool());
        QVERIFY(byName.value(QStringLiteral("sd_v1.5")).value(QStringLiteral("isOrphaned")).toBool());

        const QJsonValue group = llama.value(QStringLiteral("duplicateGroup"));
        QVERIFY(group.isString());
        QCOMPARE(byName.value(QStringLiteral("llama3-latest")).value(QStringLiteral("duplicateGroup")), group);
        QCOMPARE(byName.value(QStringLiteral("llama3-latest")).value(QStringLiteral("source")).toString(), QStringLiteral("Models"));
        QVERIFY(byName.value(QStringLiteral("tiny")).value(QStringLiteral("duplicateGroup")).isNull());
        QCOMPARE(llama.value(QStringLiteral("verification")).toString(), QStringLiteral("unverified"));
        QCOMPARE(llama[u"details"_s].toObject(), (QJsonObject{{u"format"_s, u"ollama"_s}, {u"architecture"_s, u"llama"_s},
            {u"parameters"_s, QJsonValue()}, {u"quantization"_s, u"Q4_0"_s}, {u"contextLength"_s, QJsonValue()}, {u"sizeLabel"_s, u"8.0B"_s}}));
        QCOMPARE(byName[u"Llama-3-8B-GGUF"_s][u"details"_s].toObject(), (QJsonObject{{u"format"_s, u"gguf"_s},
            {u"architecture"_s, u"llama"_s}, {u"parameters"_s, 128}, {u"quantization"_s, u"Q4_K_M"_s}, {u"contextLength"_s, 4096}}));
        QVERIFY(byName[u"qwen2.5-7b"_s][u"details"_s].isNull());

        const qint64 total = 10100 + 450 + 2000 + 404 + 707 + 900 + 600 + 1 + 10100;
        QCOMPARE(report.value(QStringLiteral("totalSize")).toInteger(), total);
        QCOMPARE(report.value(QStringLiteral("reclaimableSize")).toInteger(), 404 + 707 + 900 + 600 + 10100);
        QCOMPARE(report.value(QStringLiteral("modelCount")).toInteger(), 9);
        QCOMPARE(report.value(QStringLiteral("permissionDenied")).toBool(), false);
        QVERIFY(report.value(QStringLiteral("models")).toArray().first().toObject().value(QStringLiteral("lastModified")).isString());

        // The text report: sections in the window's order.
        const QString text = QString::fromUtf8(cli(home, {QStringLiteral("scan")}).out);
        QStringList headers;
        for (const QString &line : text.split(QLatin1Char('\n'))) {
            if (!line.isEmpty() && !line.startsWith(QLatin1Char(' ')))
                headers << line.section(QStringLiteral(" ("), 0, 0);
        }
        QCOMPARE(headers, (QStringList{QStringLiteral("Orphaned Models"), QStringLiteral("Ollama"), QStringLiteral("LM Studio"),
                                       QStringLiteral("Models"), QStringLiteral("Models 10"), QStringLiteral("Total: 25 KB in 9 models"),
                                       QStringLiteral("Reclaimable: 13 KB")}));
        QVERIFY(text.contains(QStringLiteral("  llama3:latest  10 KB  Modified ")));
        QVERIFY(text.contains(u"  Llama-3-8B-GGUF  2 KB  Modified %1\n    llama \u00b7 128 \u00b7 Q4_K_M \u00b7 4K context\n"_s
                                  .arg(text.section(u"Llama-3-8B-GGUF  2 KB  Modified "_s, 1).section(u'\n', 0, 0))));
        QVERIFY(text.contains(QStringLiteral("(likely duplicate)")));
        QVERIFY(text.contains(QStringLiteral("  sd_v1.5  [Draw Things]  600 bytes")));

        // --paths puts each model's files under its line, in the order of filePaths.
        const QStringList lines = QString::fromUtf8(cli(home, {QStringLiteral("scan"), QStringLiteral("--paths")}).out).split(QLatin1Char('\n'));
        const qsizetype llamaLine = lines.indexOf(QRegularExpression(QStringLiteral("^  llama3:latest  .*")));
        const QString indented = QStringLiteral("      ") + store;
        QCOMPARE(lines.mid(llamaLine + 1, 4), (QStringList{indented + QStringLiteral("manifests/registry.ollama.ai/library/llama3/latest"),
                                                       indented + QStringLiteral("blobs/sha256-ccc"), indented + QStringLiteral("blobs/sha256-aaa"),
                                                       QStringLiteral("  someuser/phi:q4  450 bytes  Modified ") + lines.value(llamaLine + 4).section(QStringLiteral("Modified "), 1)}));
        QVERIFY(!text.contains(QStringLiteral("      /")));

        // --source takes kinds and names in any case, and may be given twice.
        const QList<std::pair<QStringList, QStringList>> filters{{{u"lm studio"_s}, {u"lmStudio"_s}},
            {{u"GPT4ALL"_s, u"drawThings"_s}, {u"gpt4All"_s, u"drawThings"_s}}, {{u"Draw Things"_s}, {u"drawThings"_s}},
            {{u"Custom"_s}, {u"custom"_s, u"custom"_s}}};
        for (const auto &[sources, expected] : filters) {
            QStringList arguments{u"scan"_s, u"--json"_s}, kinds;
            for (const QString &source : sources)
                arguments << u"--source"_s << source;
            for (const QJsonValue &model : QJsonDocument::fromJson(cli(home, arguments).out).object()[u"models"_s].toArray())
                kinds << model[u"sourceKind"_s].toString();
            QCOMPARE(kinds, expected);
        }

        // Verify settles the one likely pair by content (the blob and the copy differ) and
        // reports the same list, the group gone.
        const HomeScan::CliRun verified = cli(home, {QStringLiteral("verify"), QStringLiteral("--json")});
        QCOMPARE(verified.exitCode, 0);
        const QJsonArray afterVerify = QJsonDocument::fromJson(verified.out).object().value(QStringLiteral("models")).toArray();
        QCOMPARE(afterVerify.size(), 9);
        QVERIFY(verified.err.startsWith("Not duplicates (their contents differ): "));
        for (const QJsonValue &value : afterVerify)
            QVERIFY(value.toObject().value(QStringLiteral("duplicateGroup")).isNull());

        // A crafted name can neither clear the terminal nor forge a line of the report.
        home.writeFile(QStringLiteral("Models/\x1b[2Jx\nTotal: 0 bytes in 0 models.gguf"), 1);
        const QString crafted = QString::fromUtf8(cli(home, {QStringLiteral("scan")}).out);
        QVERIFY(!crafted.contains(QChar(0x1b)));
        QVERIFY(crafted.contains(QStringLiteral("\\x1b[2Jx\\x0aTotal: 0 bytes in 0 models")));
        QCOMPARE(crafted.count(QStringLiteral("\nTotal: ")), 1);
    }

    void filtersOrderAndLimitTheReport()
    {
        TempHome home;
        layOutRealHome(home);
        TempHome::setModified(home.filePath(u"Library/Containers/com.liuliu.draw-things/Data/Documents/Models/sd_v1.5.ckpt"_s),
                              QDateTime::currentDateTimeUtc().addDays(-30));
        QCOMPARE(cli(home, {u"folders"_s, u"add"_s, home.filePath(u"Models"_s)}).exitCode, 0);
        const auto json = [&](const QStringList &arguments) {
            const HomeScan::CliRun run = cli(home, arguments + QStringList{u"--json"_s});
            QJsonObject report = QJsonDocument::fromJson(run.out).object();
            QStringList names;
            for (const QJsonValue &model : report[u"models"_s].toArray())
                names << model[u"displayName"_s].toString();
            report.insert(u"names"_s, QJsonArray::fromStringList(names));
            report.insert(u"err"_s, QString::fromUtf8(run.err));
            return report;
        };

        // Equal sizes keep the window's order; the totals are the three shown.
        QJsonObject report = json({u"scan"_s, u"--sort"_s, u"size"_s, u"--limit"_s, u"3"_s});
        QCOMPARE(report[u"names"_s].toArray().toVariantList(), (QVariantList{u"llama3:latest"_s, u"llama3-latest"_s, u"Llama-3-8B-GGUF"_s}));
        QCOMPARE(report[u"totalSize"_s].toInteger(), 10100 + 10100 + 2000);
        QCOMPARE(report[u"modelCount"_s].toInteger(), 3);
        QCOMPARE(report[u"filters"_s].toObject(), (QJsonObject{{u"sort"_s, u"size"_s}, {u"limit"_s, 3}}));
        const QStringList text = QString::fromUtf8(cli(home, {u"scan"_s, u"--sort"_s, u"size"_s, u"--limit"_s, u"3"_s}).out).split(u'\n');
        QCOMPARE(text.first(), u"Largest first (3)  22 KB"_s);
        QVERIFY(text[1].startsWith(u"  llama3:latest  [Ollama]  10 KB  Modified "_s));
        QVERIFY(text.contains(u"Shown: 3 of 8 entries found; the totals count only these."_s));

        report = json({u"scan"_s, u"--only"_s, u"orphans"_s, u"--older-than"_s, u"7d"_s});
        QCOMPARE(report[u"names"_s].toArray().toVariantList(), QVariantList{u"sd_v1.5"_s});
        QCOMPARE(json({u"scan"_s})[u"filters"_s].toObject(), QJsonObject());

        // Verification checks the groups the filters pick, then they pick again: the pair
        // whose contents differ is no longer among the duplicates.
        report = json({u"verify"_s, u"--only"_s, u"duplicates"_s});
        QCOMPARE(report[u"modelCount"_s].toInteger(), 0);
        QVERIFY(report[u"err"_s].toString().startsWith(u"Not duplicates"_s));
        QCOMPARE(json({u"verify"_s, u"--only"_s, u"orphans"_s})[u"err"_s].toString(), QString());

        const QList<std::pair<QStringList, QString>> badValues{{{u"--larger-than"_s, u"5XB"_s}, u"500MB"_s},
            {{u"--older-than"_s, u"yesterday"_s}, u"90d"_s}, {{u"--older-than"_s, u"6M"_s}, u"90d"_s},
            {{u"--limit"_s, u"0"_s}, u"--limit 10"_s}, {{u"--sort"_s, u"colour"_s}, u"--sort size"_s},
            {{u"--only"_s, u"orphan"_s}, u"--only leftovers"_s}};
        for (const auto &[arguments, example] : badValues) {
            const HomeScan::CliRun run = cli(home, QStringList{u"scan"_s} + arguments);
            QCOMPARE(run.exitCode, 2);
            const QString err = QString::fromUtf8(run.err);
            QVERIFY2(err.startsWith(u"stashwell-cli: scan: "_s + arguments.first() + u": "_s) && err.contains(example), qPrintable(err));
        }
    }

    void helpAndVersionAnswerOnStdout_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("named"); // lines the answer must hold, each a pattern of its start
        const QStringList sources{u"lmStudio +LM Studio$"_s, u"huggingFace +Hugging Face$"_s, u"llamaCpp +llama.cpp$"_s, u"anythingLLM +AnythingLLM$"_s, u"custom "_s, u"Exit status:$"_s};
        const QStringList scanOptions = QStringList{u"--json"_s, u"--paths"_s, u"--source KIND"_s, u"--sort KEY"_s, u"--only TYPE"_s,
                                                    u"--older-than AGE$"_s, u"SIZE is "_s} + sources;
        QTest::newRow("--help") << QStringList{u"--help"_s} << QStringList{u"scan"_s, u"verify"_s, u"trash"_s, u"folders"_s, u"--version"_s} + sources;
        QTest::newRow("scan -h") << QStringList{u"scan"_s, u"-h"_s} << scanOptions;
        QTest::newRow("help verify") << QStringList{u"help"_s, u"verify"_s} << scanOptions;
        QTest::newRow("trash --help") << QStringList{u"trash"_s, u"--name"_s, u"x"_s, u"--help"_s}
                                      << QStringList{u"--name NAME"_s, u"--path PATH"_s, u"--all-matching"_s, u"--dry-run"_s, u"--yes"_s, u"--json"_s,
                                                     u"--limit N"_s, u"AGE is "_s};
        QTest::newRow("folders --help") << QStringList{u"folders"_s, u"--help"_s} << QStringList{u"list"_s, u"add PATH"_s, u"remove PATH"_s, u"Exit status"_s};
        QTest::newRow("--version") << QStringList{u"--version"_s} << QStringList{u"stashwell-cli " STASHWELL_VERSION "$"_s};
    }

    void helpAndVersionAnswerOnStdout()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, named);
        TempHome home;
        const HomeScan::CliRun result = cli(home, arguments);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        const QString text = QString::fromUtf8(result.out);
        for (const QString &name : named)
            QVERIFY2(text.contains(QRegularExpression(QStringLiteral("^ *") + name, QRegularExpression::MultilineOption)), qPrintable(name));
        for (const QString &line : text.split(QLatin1Char('\n')))
            QVERIFY2(line.size() <= 80, qPrintable(line));
    }

    void anOutputThatCannotBeWrittenFails()
    {
        TempHome home;
        layOutRealHome(home);
        const HomeScan shell(home, QStringLiteral("/bin/sh"));
        for (const char *arguments : {"scan --paths", "verify --json", "--help", "folders add Models"}) {
            const HomeScan::CliRun result = shell.runCli({QStringLiteral("-c"), QStringLiteral("\"$0\" %1 >/dev/full").arg(QLatin1String(arguments)),
                                                          QStringLiteral(STASHWELL_CLI_PATH)});
            QVERIFY2(result.exitCode == 1, arguments);
            QVERIFY2(result.err.contains("stashwell-cli: cannot write the output: "), result.err.constData());
        }
    }

    void foldersCommandsShareThePreferencesAndRejectBadUsage()
    {
        TempHome home;
        home.makeDir(QStringLiteral("A"));
        const HomeScan::CliRun none = cli(home, {QStringLiteral("folders"), QStringLiteral("list")});
        QCOMPARE(none.out, QByteArray());
        QVERIFY(none.err.startsWith("No custom folders."));
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("A"))}).exitCode, 0);
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("A/"))}).exitCode, 0);
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("list")}).out, QFile::encodeName(home.filePath(QStringLiteral("A"))) + "\n");
        QVERIFY(QFile::exists(home.filePath(QStringLiteral(".config/Stashwell/Stashwell.conf"))));

        // Each with the hint that follows the message, or none when the message says it all.
        const QByteArray tryHelp = "Try 'stashwell-cli --help' for more information.\n";
        const QList<std::pair<QStringList, QByteArray>> badUsages{
            {{}, tryHelp}, {{u"--versions"_s}, tryHelp}, {{u"help"_s, u"frobnicate"_s}, tryHelp}, {{u"frobnicate"_s}, tryHelp},
            {{u"scan"_s, u"--yaml"_s}, "Try 'stashwell-cli scan --help' for more information.\n"},
            {{u"verify"_s, u"--source"_s, u"lmstudios"_s}, "Try 'stashwell-cli verify --help' for more information.\n"},
            {{u"folders"_s}, "Try 'stashwell-cli folders --help' for more information.\n"},
            {{u"folders"_s, u"add"_s, home.filePath(u"missing"_s)}, ""}, {{u"folders"_s, u"remove"_s, home.filePath(u"B"_s)}, ""}};
        for (const auto &[arguments, hint] : badUsages) {
            const HomeScan::CliRun result = cli(home, arguments);
            QVERIFY2(result.exitCode == 2, qPrintable(arguments.join(QLatin1Char(' '))));
            QCOMPARE(result.err.count('\n'), hint.isEmpty() ? 1 : 2);
            QVERIFY(result.err.startsWith("stashwell-cli: ") && result.err.endsWith(hint));
            QVERIFY(result.out.isEmpty());
        }
        // An unknown source is answered with the accepted ones.
        QVERIFY(cli(home, {QStringLiteral("scan"), QStringLiteral("--source"), QStringLiteral("x")}).err.contains("llamaCpp"));
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("remove"), home.filePath(QStringLiteral("A"))}).exitCode, 0);
        QVERIFY(QDir(home.filePath(QStringLiteral("A"))).exists());
        QCOMPARE(cli(home, {QStringLiteral("folders"), QStringLiteral("list")}).out, QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestCliScan)
#include "tst_CliScan.moc"
