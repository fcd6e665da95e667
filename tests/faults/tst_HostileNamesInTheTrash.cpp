#include "preferences/PersistenceService.h"
#include "support/DeletionAudit.h"
#include "support/HomeDeletion.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
const QString cli = QStringLiteral(STASHWELL_CLI_PATH);

// Names made to trip up whatever handles a path as text: line breaks, leading dashes,
// spaces and tabs, quotes, command substitution, wildcards, percent signs, terminal escapes.
const QStringList hostileNames{QStringLiteral("line\nbreak"), QStringLiteral("-rf"), QStringLiteral("--help"),
                               QStringLiteral("$(touch pwned)"), QStringLiteral("`touch pwned`;rm -rf ~"),
                               QStringLiteral("a'b\"c|&<>*?[x]{y}\\z"), QStringLiteral(" spaced \t"), QStringLiteral("*"),
                               QStringLiteral("100% real"), QStringLiteral("\x1b[2Jescape")};

// Contents no two files share, holding every byte value.
QByteArray contentFor(const QString &path)
{
    QByteArray bytes = path.toUtf8();
    for (int value = 0; value < 256; ++value)
        bytes += char(value);
    return bytes;
}

// The reason shown for a model with a file or folder whose name is not text.
QString notText(const TempHome &home, const QString &relative)
{
    return QStringLiteral("The path \u201c%1\u201d is not valid text, so Stashwell cannot move or check this model safely. "
                          "Rename it in a file manager and scan again.")
        .arg(home.filePath(relative));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}
} // namespace

// Models whose names are hostile to anything that treats paths as text go to the Trash
// like any other, through the window and the terminal, and the desktop's own tool
// (trash-cli) puts every file back byte for byte. A model with a file or folder whose
// name is not text is listed, but refused whole: none of its files moves.
class TestHostileNamesInTheTrash : public QObject
{
    Q_OBJECT

private slots:
    void trashedAndRestoredByteForByte_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::newRow("window") << false;
        QTest::newRow("terminal") << true;
    }
    void trashedAndRestoredByteForByte()
    {
        QFETCH(bool, terminal);
        TempHome home;
        QMap<QString, QByteArray> files; // every file that is to move, with its contents
        const auto write = [&](const QString &relative) {
            files.insert(home.filePath(relative), contentFor(relative));
            home.writeFile(relative, contentFor(relative));
        };
        QStringList listed;
        QList<HomeDeletion::Pick> picks;
        for (const QString &name : hostileNames) {
            write(QStringLiteral("Models/") + name + QStringLiteral(".gguf"));
            write(QStringLiteral(".cache/gpt4all/") + name + QStringLiteral(".gguf"));
            listed << QStringLiteral("Models [") + name + QLatin1Char(']') << QStringLiteral("GPT4All [") + name + QLatin1Char(']');
            picks.append({QStringLiteral("custom"), name});
            picks.append({QStringLiteral("gpt4All"), name});
        }
        const QString lmStudio = QStringLiteral(".lmstudio/models/-pub/$(touch pwned)/");
        write(lmStudio + QStringLiteral("w*.gguf"));
        write(QStringLiteral(".local/share/Jan/data/llamacpp/models/line\nbreak/--help"));
        const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/");
        const QString manifest = registry + QStringLiteral("-x/`id`/$(touch pwned)");
        files.insert(home.filePath(manifest), R"json({"config":{"digest":"sha256:$(touch pwned)","mediaType":"c","size":1},)json"
                                              R"json("layers":[{"digest":"sha256:a*b\nc","mediaType":"m","size":2},)json"
                                              R"json({"digest":"sha256:-rf","mediaType":"m","size":3}]})json");
        home.writeFile(manifest, files.value(home.filePath(manifest)));
        for (const QString &blob : {QStringLiteral("sha256-$(touch pwned)"), QStringLiteral("sha256-a*b\nc"), QStringLiteral("sha256--rf")})
            write(QStringLiteral(".ollama/models/blobs/") + blob);
        listed << QStringLiteral("LM Studio [$(touch pwned)]") << QStringLiteral("Jan [line\nbreak]")
               << QStringLiteral("Ollama [-x/`id`:$(touch pwned)]");
        picks.append({QStringLiteral("lmStudio"), QStringLiteral("$(touch pwned)")});
        picks.append({QStringLiteral("jan"), QStringLiteral("line\nbreak")});
        picks.append({QStringLiteral("ollama"), QStringLiteral("-x/`id`:$(touch pwned)")});
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        HomeDeletion deletion(home, terminal ? HomeDeletion::Front::terminal : HomeDeletion::Front::window, cli);
        QVERIFY(HomeScan::same(deletion.listed(), listed));
        const DeletionAudit audit({home.path()}, files.keys());
        QCOMPARE(deletion.deleteModels(picks), QStringList());
        QCOMPARE(deletion.moved(), int(picks.size()));
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(!QFileInfo::exists(home.filePath(QStringLiteral("pwned"))));
        QCOMPARE(deletion.listed(), QStringList());

        if (QStandardPaths::findExecutable(QStringLiteral("trash-restore")).isEmpty())
            QSKIP("restoring is checked with trash-cli's trash-restore, which is not installed: apt-get install trash-cli");
        for (auto it = files.cbegin(); it != files.cend(); ++it) {
            // trash-restore asks which item to put back; the only one with this path is number 0.
            QProcess restore;
            restore.start(QStringLiteral("trash-restore"), {it.key()});
            restore.write("0\n");
            restore.closeWriteChannel();
            QVERIFY(restore.waitForFinished(60000));
            QVERIFY2(restore.exitStatus() == QProcess::NormalExit && restore.exitCode() == 0,
                     restore.readAllStandardError().constData());
            QVERIFY2(readAll(it.key()) == it.value(), qPrintable(it.key()));
        }
        QVERIFY_AS_AUDITED(audit.problemsOnceRestored());
        QVERIFY(HomeScan::same(deletion.listed(), listed));
    }

    void namesThatAreNotTextNeverMove_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::newRow("window") << false;
        QTest::newRow("terminal") << true;
    }
    void namesThatAreNotTextNeverMove()
    {
        QFETCH(bool, terminal);
        TempHome home;
        // Latin-1 and stray bytes: a file of its own, a file beside a proper one in a model
        // folder, a model folder, and a file of a store that keeps one model per file.
        const QString replaced1 = QStringLiteral("caf\ufffd"), replaced2 = QStringLiteral("bad\ufffd\ufffd");
        home.writeRawFile("Models/caf\xe9.gguf", "latin-1");
        home.writeFile(QStringLiteral("Models/ok.gguf"), 3);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/mixed/w.gguf"), 5);
        home.writeRawFile(".lmstudio/models/pub/mixed/caf\xe9.gguf", "beside a model");
        home.writeRawFile(".local/share/Jan/data/llamacpp/models/bad\xff\xfe/model.gguf", "in a folder");
        home.writeRawFile(".cache/gpt4all/bad\xff\xfe.gguf", "stray bytes");
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        HomeDeletion deletion(home, terminal ? HomeDeletion::Front::terminal : HomeDeletion::Front::window, cli);
        const QStringList refused{QStringLiteral("LM Studio [mixed]"), QStringLiteral("Jan [") + replaced2 + QLatin1Char(']'),
                                  QStringLiteral("GPT4All [") + replaced2 + QLatin1Char(']'), QStringLiteral("Models [") + replaced1 + QLatin1Char(']')};
        QVERIFY(HomeScan::same(deletion.listed(), refused + QStringList{QStringLiteral("Models [ok]")}));
        const DeletionAudit audit({home.path()}, {home.filePath(QStringLiteral("Models/ok.gguf"))});
        const QStringList shown = deletion.deleteModels({{QStringLiteral("custom"), QStringLiteral("ok")},
                                                         {QStringLiteral("custom"), replaced1},
                                                         {QStringLiteral("lmStudio"), QStringLiteral("mixed")},
                                                         {QStringLiteral("jan"), replaced2},
                                                         {QStringLiteral("gpt4All"), replaced2}});
        QVERIFY(HomeDeletion::sameAlert(
            shown, {QStringLiteral("1 of 5 models moved to Trash. 4 failed."),
                    replaced1 + QStringLiteral(" - ") + notText(home, QStringLiteral("Models/") + replaced1 + QStringLiteral(".gguf")),
                    QStringLiteral("mixed - ") + notText(home, QStringLiteral(".lmstudio/models/pub/mixed/") + replaced1 + QStringLiteral(".gguf")),
                    replaced2 + QStringLiteral(" - ") + notText(home, QStringLiteral(".local/share/Jan/data/llamacpp/models/") + replaced2),
                    replaced2 + QStringLiteral(" - ") + notText(home, QStringLiteral(".cache/gpt4all/") + replaced2 + QStringLiteral(".gguf"))}));
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(), refused));
        // Names that are not text are beyond QDir's removal of the home.
        for (const char *tree : {"Models", ".lmstudio", ".local", ".cache"})
            QCOMPARE(QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), QStringLiteral("--"), home.filePath(QLatin1String(tree))}), 0);
    }
};

QTEST_GUILESS_MAIN(TestHostileNamesInTheTrash)
#include "tst_HostileNamesInTheTrash.moc"
