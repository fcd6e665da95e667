#include "support/OllamaFixture.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {
struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

QByteArray manifest(const QList<QByteArray> &layers)
{
    QList<OllamaFixture::Blob> blobs{{"sha256:cfg", 1}};
    for (const QByteArray &layer : layers)
        blobs.append({"sha256:" + layer, 1000});
    return OllamaFixture::manifest(blobs);
}

QProcessEnvironment environmentFor(const TempHome &home)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), home.filePath(QStringLiteral("bin")) + QStringLiteral(":/usr/bin:/bin"));
    environment.remove(QStringLiteral("OLLAMA_MODELS"));
    return environment;
}

Run run(const TempHome &home, const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.setProcessEnvironment(environmentFor(home));
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(60000);
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

Run cli(const TempHome &home, const QStringList &arguments)
{
    return run(home, QStringLiteral(STASHWELL_CLI_PATH), arguments);
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
    void dryRunListsWhatWouldMoveAndMovesNothing()
    {
        TempHome home;
        layOut(home);
        const Run result = cli(home, {QStringLiteral("trash"), QStringLiteral("--dry-run"), QStringLiteral("--json"),
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
    }

    void trashMovesTheModelsAndFreesSharedBlobsLast()
    {
        TempHome home;
        layOut(home);
        Run result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("one:latest"),
                                QStringLiteral("--name"), QStringLiteral("two:latest"),
                                QStringLiteral("--path"), home.filePath(QStringLiteral("Models/llama.gguf"))});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QStringLiteral("3 models moved to Trash. You can restore files from Trash if needed.\n"));
        QVERIFY(QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-shared"))));
        QVERIFY(QFile::exists(home.filePath(QStringLiteral("Other/llama.gguf")))); // same name, other path: untouched

        // The last model that needs the shared blobs frees them.
        result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("three:latest")});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(!QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-shared"))));
        QVERIFY(!QFile::exists(home.filePath(store + QStringLiteral("blobs/sha256-cfg"))));
    }

    void failuresAndRefusals()
    {
        TempHome home;
        layOut(home);
        // A stray file in the manifests tree: every Ollama deletion stops, the rest goes on.
        home.writeFile(library + QStringLiteral("one/README"), QByteArray("not a manifest"));
        Run result = cli(home, {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("one:latest"),
                                QStringLiteral("--name"), QStringLiteral("llama"), QStringLiteral("--all-matching")});
        QCOMPARE(result.exitCode, 1);
        const QStringList lines = result.out.trimmed().split(QLatin1Char('\n'));
        QCOMPARE(lines.first(), QStringLiteral("2 of 3 models moved to Trash. 1 failed."));
        QVERIFY2(lines.value(1).startsWith(QStringLiteral("one:latest - The Ollama manifest")), qPrintable(result.out));
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("one/latest"))));
        QVERIFY(!QFile::exists(home.filePath(QStringLiteral("Other/llama.gguf"))));

        const QList<QStringList> refused{
            {QStringLiteral("trash"), QStringLiteral("--name"), QStringLiteral("two:latest")}, // no terminal, no --yes
            {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("nothing")},
            {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--source"), QStringLiteral("ollama")},
            {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("two:latest"),
             QStringLiteral("--source"), QStringLiteral("Olama")},
            {QStringLiteral("trash"), QStringLiteral("--yes")}};
        for (const QStringList &arguments : refused) {
            result = cli(home, arguments);
            QVERIFY2(result.exitCode == 2, qPrintable(arguments.join(QLatin1Char(' '))));
            QVERIFY(result.err.count(QLatin1Char('\n')) <= 2);
        }
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("two/latest"))));
    }

    void aNameOfSeveralModelsIsRefusedAndTheQuestionNamesWhatMoves()
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
        result = run(home, QStringLiteral("script"), {QStringLiteral("-qec"), command, QStringLiteral("/dev/null")}, "n\n");
        const qint64 manifestSize = QFileInfo(home.filePath(library + QStringLiteral("one/latest"))).size();
        QVERIFY2(result.out.contains(QStringLiteral("Move 2 models (%1) to the Trash: one:latest [Ollama], llama [Other]? The disk gets back %2 bytes. [y/N]")
                                         .arg(QStringLiteral("2 KB"), QString::number(manifestSize + 400 + 13))), qPrintable(result.out));
        QVERIFY(result.out.contains(QStringLiteral("Nothing was moved.")));
        QVERIFY(QFile::exists(home.filePath(library + QStringLiteral("one/latest"))));
    }
};

QTEST_GUILESS_MAIN(TestCliTrash)
#include "tst_CliTrash.moc"
