#include "support/HomeScan.h"
#include "support/OllamaFixture.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
QByteArray manifest(const QList<QByteArray> &layers)
{
    QList<OllamaFixture::Blob> blobs{{"sha256:cfg", 1}};
    for (const QByteArray &layer : layers)
        blobs.append({"sha256:" + layer, 1000});
    return OllamaFixture::manifest(blobs);
}

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

Run cli(const TempHome &home, const QStringList &arguments, const QString &program = QStringLiteral(STASHWELL_CLI_PATH))
{
    const HomeScan::CliRun run = HomeScan(home, program).runCli(arguments);
    return {run.exitCode, QString::fromUtf8(run.out), QString::fromUtf8(run.err)};
}
} // namespace

// stashwell-cli trash from a terminal.
class TestCliTrash : public QObject
{
    Q_OBJECT

    const QString store = QStringLiteral(".ollama/models/");
    const QString library = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/");

    void layOut(const TempHome &home)
    {
        for (const char *blob : {"cfg", "shared", "own1", "own2", "own3"})
            home.writeFile(store + QStringLiteral("blobs/sha256-") + QLatin1String(blob), QByteArray(blob).repeated(100));
        home.writeFile(library + QStringLiteral("one/latest"), manifest({"shared", "own1"}));
        home.writeFile(library + QStringLiteral("two/latest"), manifest({"shared", "own2"}));
        home.writeFile(library + QStringLiteral("three/latest"), manifest({"shared", "own3"}));
        home.writeFile(QStringLiteral("Models/llama.gguf"), QByteArray("weights"));
        home.writeFile(QStringLiteral("Other/llama.gguf"), QByteArray("other weights"));
        cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("Models"))});
        cli(home, {QStringLiteral("folders"), QStringLiteral("add"), home.filePath(QStringLiteral("Other"))});
    }

private slots:
    void aDryRunMovesNothingAndTheRealRunMovesWhatItListed()
    {
        TempHome home;
        layOut(home);
        Run result = cli(home, {QStringLiteral("trash"), QStringLiteral("--dry-run"), QStringLiteral("--json"),
                                      QStringLiteral("--name"), QStringLiteral("one:latest"),
                                      QStringLiteral("--name"), QStringLiteral("two:latest"), QStringLiteral("--source"), QStringLiteral("OLLAMA")});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject report = QJsonDocument::fromJson(result.out.toUtf8()).object();
        // A plan is never reported as done.
        QVERIFY(!report.contains(QStringLiteral("moved")) && !report.contains(QStringLiteral("trashedPaths")));
        QCOMPARE(report.value(QStringLiteral("wouldMove")).toInt(), 2);
        QStringList paths;
        for (const QJsonValue &path : report.value(QStringLiteral("wouldTrashPaths")).toArray())
            paths << path.toString().mid(home.path().size() + 1);
        // Model by model, in the order a real deletion moves them.
        QCOMPARE(paths, (QStringList{library + QStringLiteral("one/latest"), store + QStringLiteral("blobs/sha256-own1"),
                                     library + QStringLiteral("two/latest"), store + QStringLiteral("blobs/sha256-own2")}));
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("one/latest"))));
        QVERIFY(!QDir(home.filePath(QStringLiteral(".local/share/Trash/files"))).exists());

        // Without --dry-run they move; the shared blobs stay until the last model needing them goes.
        result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("one:latest"),
                                QStringLiteral("--name"), QStringLiteral("two:latest"),
                                QStringLiteral("--path"), home.filePath(QStringLiteral("Models/llama.gguf"))});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QStringLiteral("3 models moved to Trash. You can restore files from Trash if needed.\n"));
        QVERIFY(QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-shared"))));
        QVERIFY(QFile::exists(home.filePath(QStringLiteral("Other/llama.gguf")))); // same name, other path: untouched
        result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("three:latest")});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(!QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-shared"))));
        QVERIFY(!QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-cfg"))));
    }

    void refusalsQuestionsAndFailures()
    {
        TempHome home;
        layOut(home);
        Run result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("llama")});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QStringLiteral("stashwell-cli: trash: --name llama matches 2 models:\n"
                                            "  custom  %1\n  custom  %2\n"
                                            "Pick one with --source KIND or --path PATH, or add --all-matching to move them all.\n")
                                 .arg(home.filePath(QStringLiteral("Models/llama.gguf")), home.filePath(QStringLiteral("Other/llama.gguf"))));
        QVERIFY(QFile::exists(home.filePath(QStringLiteral("Models/llama.gguf"))));

        // On a terminal the question names the models and what the disk really gets back:
        // the blob "one" shares with two others stays.
        const QString command = QStringLiteral(STASHWELL_CLI_PATH " trash --name one:latest --path ") + home.filePath(QStringLiteral("Other/llama.gguf"));
        result = cli(home, {u"-c"_s, u"echo n | /usr/bin/script -qec \"$0\" /dev/null"_s, command}, u"/bin/sh"_s);
        const qint64 manifestSize = QFileInfo(home.filePath(library + QStringLiteral("one/latest"))).size();
        QVERIFY2(result.out.contains(QStringLiteral("Move 2 models (%1) to the Trash: one:latest [Ollama], llama [Other]? The disk gets back %2 bytes. [y/N]")
                                         .arg(QStringLiteral("2 KB"), QString::number(manifestSize + 400 + 13))), qPrintable(result.out));
        QVERIFY(result.out.contains(QStringLiteral("Nothing was moved.")));
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("one/latest"))));

        // A stray file in the manifests tree: every Ollama deletion stops, the rest goes on.
        home.writeFile(library + QStringLiteral("one/README"), QByteArray("not a manifest"));
        result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("one:latest"),
                                QStringLiteral("--name"), QStringLiteral("llama"), QStringLiteral("--all-matching")});
        QCOMPARE(result.exitCode, 1);
        const QStringList lines = result.out.trimmed().split(QLatin1Char('\n'));
        QCOMPARE(lines.first(), QStringLiteral("2 of 3 models moved to Trash. 1 failed."));
        QVERIFY2(lines.value(1).startsWith(QStringLiteral("one:latest - The Ollama manifest")), qPrintable(result.out));
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("one/latest"))));
        QVERIFY(!QFile::exists(home.filePath(QStringLiteral("Other/llama.gguf"))));

        const QList<QStringList> refused{{u"trash"_s, u"--name"_s, u"two:latest"_s}, // no terminal, no --yes
            {u"trash"_s, u"--yes"_s, u"--name"_s, u"nothing"_s}, {u"trash"_s, u"--yes"_s, u"--sort"_s, u"size"_s},
            {u"trash"_s, u"--yes"_s, u"--name"_s, u"two:latest"_s, u"--source"_s, u"Olama"_s}, {u"trash"_s, u"--yes"_s}};
        for (const QStringList &arguments : refused) {
            result = cli(home, arguments);
            QVERIFY2(result.exitCode == 2, qPrintable(arguments.join(QLatin1Char(' '))));
            QVERIFY(result.err.count(QLatin1Char('\n')) <= 2);
        }
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("two/latest"))));
    }

    // "Move every leftover older than a week", as a cron job would ask.
    void selectorsPickWhatMoves()
    {
        TempHome home;
        layOut(home);
        const QDateTime tenDaysAgo = QDateTime::currentDateTimeUtc().addDays(-10);
        const QString old = home.writeFile(u".cache/gpt4all/incomplete-old.gguf"_s, 4096);
        TempHome::setModified(old, tenDaysAgo);
        TempHome::setModified(home.writeFile(u".cache/gpt4all/incomplete-new.gguf"_s, 4096), tenDaysAgo.addDays(8));
        TempHome::setModified(home.filePath(u"Other/llama.gguf"_s), tenDaysAgo);
        const QStringList weekOldLeftovers{u"trash"_s, u"--only"_s, u"leftovers"_s, u"--older-than"_s, u"7d"_s};

        Run result = cli(home, weekOldLeftovers + QStringList{u"--dry-run"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject plan = QJsonDocument::fromJson(result.out.toUtf8()).object();
        QCOMPARE(plan[u"wouldTrashPaths"_s].toArray().toVariantList(), QVariantList{old});
        QCOMPARE(plan[u"filters"_s].toObject(), (QJsonObject{{u"only"_s, QJsonArray{u"leftovers"_s}}, {u"olderThan"_s, 604800}}));
        QCOMPARE(cli(home, weekOldLeftovers).exitCode, 2); // no terminal, no --yes
        QVERIFY(QFile::exists(old));

        QCOMPARE(cli(home, weekOldLeftovers + QStringList{u"--yes"_s}).exitCode, 0);
        QVERIFY(!QFile::exists(old));
        QVERIFY(QFile::exists(home.filePath(u".cache/gpt4all/incomplete-new.gguf"_s)));
        result = cli(home, weekOldLeftovers + QStringList{u"--yes"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, u"stashwell-cli: trash: no model matches --only leftovers --older-than 7d; nothing was moved\n"_s);

        // Filters narrow a name that alone matches two models, so it is no longer refused.
        const QList<std::pair<QStringList, QString>> narrowed{
            {{u"--older-than"_s, u"7d"_s}, u"Other/llama.gguf"_s},
            {{u"--sort"_s, u"date"_s, u"--limit"_s, u"1"_s}, u"Models/llama.gguf"_s}};
        for (const auto &[selectors, moved] : narrowed) {
            result = cli(home, QStringList{u"trash"_s, u"--dry-run"_s, u"--name"_s, u"llama"_s} + selectors);
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, u"Would move to the Trash:\n  "_s + home.filePath(moved) + u"\n"_s);
        }
        result = cli(home, {u"trash"_s, u"--dry-run"_s, u"--name"_s, u"llama"_s, u"--larger-than"_s, u"1GB"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, u"stashwell-cli: trash: no model matches --name llama with --larger-than 1GB\n"_s);
    }

    // keep-one: only the copies verified identical to the kept one move, the question says
    // where the kept one stays, and each copy names the others in the JSON report.
    void keepOneMovesOnlyVerifiedCopies()
    {
        TempHome home;
        const QByteArray weights(3 << 20, 'w');
        QByteArray almost = weights;
        almost[1 << 20] = 'x'; // alike in every sample
        for (const char *file : {"Models/kept.gguf", "Other/copy.gguf", "Third/almost.gguf"}) {
            home.writeFile(QLatin1String(file), QByteArrayView(file).startsWith("Third") ? almost : weights);
            cli(home, {u"folders"_s, u"add"_s, home.filePath(QString::fromLatin1(file).section(u'/', 0, 0))});
        }
        const QJsonArray models = QJsonDocument::fromJson(cli(home, {u"scan"_s, u"--json"_s}).out.toUtf8())[u"models"_s].toArray();
        QCOMPARE(models.first()[u"duplicateOf"_s].toArray(),
                 (QJsonArray{QJsonObject{{u"sourceKind"_s, u"custom"_s}, {u"displayName"_s, u"copy"_s}},
                             QJsonObject{{u"sourceKind"_s, u"custom"_s}, {u"displayName"_s, u"almost"_s}}}));

        const QString kept = home.filePath(u"Models/kept.gguf"_s);
        Run result = cli(home, {u"-c"_s, u"echo n | /usr/bin/script -qec \"$0\" /dev/null"_s, QStringLiteral(STASHWELL_CLI_PATH " keep-one --path ") + kept}, u"/bin/sh"_s);
        QVERIFY2(result.out.contains(u"Move 1 model (3.1 MB) to the Trash: copy [Other]? The disk gets back 3.1 MB. Left on disk: kept in Models. [y/N]"_s),
                 qPrintable(result.out));
        result = cli(home, {u"keep-one"_s, u"--yes"_s, u"--path"_s, kept});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.contains(u"Only some are identical: kept [Models], copy [Other]."_s), qPrintable(result.err));
        QVERIFY(!QFile::exists(home.filePath(u"Other/copy.gguf"_s)));
        QVERIFY(QFile::exists(kept) && QFile::exists(home.filePath(u"Third/almost.gguf"_s)));
        // What is left only looks alike: verification finds no copy, and nothing moves.
        result = cli(home, {u"keep-one"_s, u"--yes"_s, u"--path"_s, kept});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.contains(u"kept [Models]: no identical copy, nothing moves"_s));
        QVERIFY(QFile::exists(home.filePath(u"Third/almost.gguf"_s)));
    }
};

QTEST_GUILESS_MAIN(TestCliTrash)
#include "tst_CliTrash.moc"
