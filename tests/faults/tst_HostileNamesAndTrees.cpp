#include "preferences/PersistenceService.h"
#include "support/FileTreeSnapshot.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
const QByteArray ollamaManifest =
    R"({"config":{"digest":"sha256:1","mediaType":"c","size":4},"layers":[{"digest":"sha256:2","mediaType":"m","size":6}]})";

// Creates the folders `names` one inside the next below `folder`, each relative to the
// one above, so the chain may go deeper than the longest path the system accepts; after
// the folder at position i (counted from 1) a file `files[i]` of `size` bytes.
void makeChain(const QString &folder, const QList<QByteArray> &names, const QMap<int, QByteArray> &files, qint64 size)
{
    QVERIFY(QDir().mkpath(folder));
    int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QVERIFY(fd >= 0);
    const QByteArray content(size, 'x');
    for (int level = 1; level <= names.size(); ++level) {
        const QByteArray &name = names[level - 1];
        QVERIFY(::mkdirat(fd, name.constData(), 0755) == 0);
        const int next = ::openat(fd, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
        QVERIFY(fd >= 0);
        if (files.contains(level)) {
            const int file = ::openat(fd, files[level].constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            QVERIFY(file >= 0 && ::write(file, content.constData(), size_t(size)) == size);
            ::close(file);
        }
    }
    ::close(fd);
}

// Trees too deep for one path, and names that are not text, are beyond QDir's removal.
void removeTree(const QString &folder)
{
    QCOMPARE(QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), QStringLiteral("--"), folder}), 0);
}

void link(const TempHome &home, const QString &target, const QString &relative)
{
    QVERIFY(QDir().mkpath(QFileInfo(home.filePath(relative)).path()));
    QVERIFY(QFile::link(target, home.filePath(relative)));
}

// Every file a report names exists under exactly that name: none stands for another file.
bool namesOnlyExistingFiles(const QJsonObject &report)
{
    for (const QJsonValue &model : report.value(QStringLiteral("models")).toArray()) {
        for (const QJsonValue &file : model.toObject().value(QStringLiteral("filePaths")).toArray()) {
            struct stat info {};
            if (::lstat(QFile::encodeName(file.toString()).constData(), &info) != 0) {
                qWarning("a reported path names no file: %s", qPrintable(file.toString().left(300)));
                return false;
            }
        }
    }
    return true;
}

QString line(const char *source, const QString &name, qint64 size, const QStringList &files)
{
    return HomeScan::line(QLatin1String(source), name, size, files);
}
} // namespace

// File names and trees made to break a scanner or whatever later acts on its paths:
// shell and control characters, names that are not text, link loops, trees deeper and
// paths longer than the system handles in one piece. The scan ends, lists every model it
// can address exactly, names no other file, and changes nothing on disk.
class TestHostileNamesAndTrees : public QObject
{
    Q_OBJECT

    void scanLeavesHomeUnchanged(const TempHome &home, const QStringList &expected)
    {
        const FileTreeSnapshot before(home.path());
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        QVERIFY(HomeScan::same(scan.scannerLines(), expected));
        const QJsonObject report = scan.cliReport();
        QVERIFY(HomeScan::same(scan.lines(report), expected));
        QVERIFY(namesOnlyExistingFiles(report));
        QCOMPARE(FileTreeSnapshot(home.path()).differencesFrom(before), QStringList());
    }

private slots:
    void initTestCase()
    {
        // Ten thousand folders take a minute on a journalling disk and a second in memory;
        // the walks behave the same on both.
        const QFileInfo memory(QStringLiteral("/dev/shm"));
        if (memory.isDir() && memory.isWritable())
            qputenv("TMPDIR", "/dev/shm");
    }

    void shellAndControlCharactersAreJustNames()
    {
        TempHome home;
        const QStringList hostile{QStringLiteral("line\nbreak"), QStringLiteral("-rf"), QStringLiteral("--help"),
                                  QStringLiteral("$(touch pwned)"), QStringLiteral("`touch pwned`;rm -rf ~"),
                                  QStringLiteral("a'b\"c|&<>*?[x]{y}\\z"), QStringLiteral(" spaced \t"),
                                  QStringLiteral("\x1b[2Jescape")};
        QStringList expected;
        for (const QString &name : hostile) {
            const QString custom = QStringLiteral("Models/") + name + QStringLiteral(".gguf");
            home.writeFile(custom, 3);
            expected << line("Models", name, 3, {custom});
            const QString gpt4All = QStringLiteral(".cache/gpt4all/") + name + QStringLiteral(".gguf");
            home.writeFile(gpt4All, 4);
            expected << line("GPT4All", name, 4, {gpt4All});
        }
        // The same kind of names as the folders of the stores that keep a model per folder.
        const QString lmStudio = QStringLiteral(".lmstudio/models/-pub/$(touch pwned)/w.gguf");
        home.writeFile(lmStudio, 5);
        expected << line("LM Studio", QStringLiteral("$(touch pwned)"), 5, {lmStudio});
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/line\nbreak/--help");
        home.writeFile(jan, 7);
        expected << line("Jan", QStringLiteral("line\nbreak"), 7, {jan});
        const QString manifest = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/-x/`id`/$(touch pwned)");
        home.writeFile(manifest, ollamaManifest);
        expected << line("Ollama", QStringLiteral("-x/`id`:$(touch pwned)"), 10, {manifest});
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        scanLeavesHomeUnchanged(home, expected);
        QVERIFY(!QFile::exists(home.filePath(QStringLiteral("pwned"))));
    }

    void namesThatAreNotTextNeverStandForOtherFiles()
    {
        TempHome home;
        // Latin-1 and stray bytes: as text they read as replacement characters, a name no
        // file has. Beside each, a model with a proper name that must still be found.
        const QByteArray latin1 = "caf\xe9", stray = "bad\xff\xfe";
        home.writeRawFile("Models/" + latin1 + ".gguf", QByteArray(3, 'x'));
        home.writeFile(QStringLiteral("Models/ok.gguf"), 2);
        home.writeRawFile(".cache/gpt4all/" + stray + ".gguf", QByteArray(4, 'x'));
        home.writeFile(QStringLiteral(".cache/gpt4all/ok.gguf"), 5);
        home.writeRawFile("Library/Containers/com.liuliu.draw-things/Data/Documents/Models/" + latin1 + ".ckpt", QByteArray(6, 'x'));
        home.writeRawFile(".lmstudio/models/pub/" + latin1 + "/w.gguf", QByteArray(8, 'x'));
        home.writeRawFile(".lmstudio/models/" + stray + "/m/w.gguf", QByteArray(8, 'x'));
        home.writeFile(QStringLiteral(".lmstudio/models/pub/fine/w.gguf"), 7);
        home.writeRawFile(".local/share/Jan/data/llamacpp/models/" + stray + "/model.gguf", QByteArray(9, 'x'));
        home.writeFile(QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen/model.gguf"), 7);
        const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/m/");
        home.writeRawFile(QFile::encodeName(registry) + stray, ollamaManifest);
        home.writeRawFile(".ollama/models/manifests/registry.ollama.ai/" + latin1 + "/m/latest", ollamaManifest);
        home.writeFile(registry + QStringLiteral("latest"), ollamaManifest);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        // A model file whose own name is not text is listed without any path, with the
        // reason; a folder of such a name above the model folders is passed over.
        const QString cafe = QStringLiteral("caf\uFFFD"), bad = QStringLiteral("bad\uFFFD\uFFFD");
        scanLeavesHomeUnchanged(home, {line("Ollama", QStringLiteral("m:latest"), 10, {registry + QStringLiteral("latest")}),
                                       line("LM Studio", QStringLiteral("fine"), 7, {QStringLiteral(".lmstudio/models/pub/fine/w.gguf")}),
                                       line("Jan", QStringLiteral("qwen"), 7,
                                            {QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen/model.gguf")}),
                                       line("Jan", bad, 9, {}),
                                       line("GPT4All", QStringLiteral("ok"), 5, {QStringLiteral(".cache/gpt4all/ok.gguf")}),
                                       line("GPT4All", bad, 4, {}),
                                       line("Draw Things", cafe, 6, {}),
                                       line("Models", QStringLiteral("ok"), 2, {QStringLiteral("Models/ok.gguf")}),
                                       line("Models", cafe, 3, {})});
        const HomeScan scan(home, QStringLiteral(STASHWELL_CLI_PATH));
        int withProblem = 0;
        for (const QJsonValue &value : scan.cliReport().value(QStringLiteral("models")).toArray()) {
            const QJsonObject model = value.toObject();
            const bool unnamed = model.value(QStringLiteral("filePaths")).toArray().isEmpty();
            QCOMPARE(model.value(QStringLiteral("problem")).isString(), unnamed);
            withProblem += unnamed;
            if (unnamed)
                QVERIFY(model.value(QStringLiteral("problem")).toString().contains(QStringLiteral("is not valid text")));
        }
        QCOMPARE(withProblem, 4);
        for (const char *tree : {"Models", ".cache", "Library", ".lmstudio", ".local", ".ollama"})
            removeTree(home.filePath(QLatin1String(tree)));
    }

    void linkLoopsAreNeverFollowed()
    {
        TempHome home;
        home.writeFile(QStringLiteral("Models/a.gguf"), 3);
        link(home, QStringLiteral(".."), QStringLiteral("Models/sub/up"));
        link(home, QStringLiteral("loop2.gguf"), QStringLiteral("Models/loop1.gguf"));
        link(home, QStringLiteral("loop1.gguf"), QStringLiteral("Models/loop2.gguf"));
        link(home, QStringLiteral("self.gguf"), QStringLiteral("Models/self.gguf"));
        link(home, QStringLiteral("Loop"), QStringLiteral("Loop")); // a custom folder that is a loop itself
        home.writeFile(QStringLiteral(".lmstudio/models/pub/m/w.gguf"), 5);
        link(home, QStringLiteral("../../.."), QStringLiteral(".lmstudio/models/pub/m/up"));
        link(home, QStringLiteral("../.."), QStringLiteral(".lmstudio/models/pub/up-model"));
        link(home, QStringLiteral("."), QStringLiteral(".lmstudio/models/pub2"));
        home.writeFile(QStringLiteral(".omlx/models/org/m/weights"), 4);
        link(home, QStringLiteral("../../.."), QStringLiteral(".omlx/models/org/m/up"));
        home.writeFile(QStringLiteral(".cache/gpt4all/g.gguf"), 9);
        link(home, QStringLiteral(".."), QStringLiteral(".cache/gpt4all/up"));
        // Jan counts a link as a file of its folder's model, without following it.
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen/");
        home.writeFile(jan + QStringLiteral("model.gguf"), 7);
        link(home, QStringLiteral(".."), jan + QStringLiteral("up"));
        const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/");
        home.writeFile(registry + QStringLiteral("library/m/latest"), ollamaManifest);
        link(home, QStringLiteral("../.."), registry + QStringLiteral("library/m/up"));
        // The last custom folder is a link the user chose: followed once, to Models itself.
        PersistenceService().save({home.filePath(QStringLiteral("Models")), home.filePath(QStringLiteral("Loop")),
                                   home.filePath(QStringLiteral("Models/sub/up"))});

        // Jan's link "up" counts with its own size: the length of the text it points to.
        scanLeavesHomeUnchanged(
            home, {line("Ollama", QStringLiteral("m:latest"), 10, {registry + QStringLiteral("library/m/latest")}),
                   line("LM Studio", QStringLiteral("m"), 5, {QStringLiteral(".lmstudio/models/pub/m/w.gguf")}),
                   line("oMLX", QStringLiteral("m"), 4, {QStringLiteral(".omlx/models/org/m/weights")}),
                   line("Jan", QStringLiteral("qwen"), 9, {jan + QStringLiteral("model.gguf"), jan + QStringLiteral("up")}),
                   line("GPT4All", QStringLiteral("g"), 9, {QStringLiteral(".cache/gpt4all/g.gguf")}),
                   line("Models", QStringLiteral("a"), 3, {QStringLiteral("Models/a.gguf")}),
                   line("up", QStringLiteral("a"), 3, {QStringLiteral("Models/sub/up/a.gguf")})});
    }

    void treesThousandsOfLevelsDeep()
    {
        TempHome home;
        // Files at depths whose paths stay within the system's limit are found; deeper
        // down no path can address them, and the walk goes on without them.
        makeChain(home.filePath(QStringLiteral("Models")), QList<QByteArray>(5000, "d"),
                  {{1, "level1.gguf"}, {1900, "level1900.gguf"}, {4999, "level4999.gguf"}}, 3);
        makeChain(home.filePath(QStringLiteral(".lmstudio/models/pub/deep")), QList<QByteArray>(3000, "d"),
                  {{2, "part2.gguf"}, {1500, "part1500.gguf"}, {2999, "part2999.gguf"}}, 5);
        makeChain(home.filePath(QStringLiteral(".local/share/Jan/data/llamacpp/models/deep")), QList<QByteArray>(2500, "d"),
                  {{1000, "part1000.gguf"}, {2400, "part2400.gguf"}}, 7);
        makeChain(home.filePath(QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/m")),
                  QList<QByteArray>(3000, "d"), {{1000, "tag"}}, 0);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        const QString d = QStringLiteral("/d");
        const QString lmStudio = QStringLiteral(".lmstudio/models/pub/deep");
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/deep");
        const QString ollama = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/library/m");
        scanLeavesHomeUnchanged(
            home, {line("LM Studio", QStringLiteral("deep"), 10,
                        {lmStudio + d.repeated(2) + QStringLiteral("/part2.gguf"),
                         lmStudio + d.repeated(1500) + QStringLiteral("/part1500.gguf")}),
                   line("Jan", QStringLiteral("d"), 7, {jan + d.repeated(1000) + QStringLiteral("/part1000.gguf")}),
                   line("Models", QStringLiteral("level1"), 3, {QStringLiteral("Models/d/level1.gguf")}),
                   line("Models", QStringLiteral("level1900"), 3, {QStringLiteral("Models") + d.repeated(1900) + QStringLiteral("/level1900.gguf")})});
        // The Ollama manifest 1000 folders down is no manifest (it is empty), so no model.
        Q_UNUSED(ollama);

        for (const char *tree : {"Models", ".lmstudio", ".local", ".ollama"})
            removeTree(home.filePath(QLatin1String(tree)));
    }

    void namesAndPathsAsLongAsTheSystemAllows()
    {
        TempHome home;
        // Names of 253 bytes in folders of such names: a file in the deepest folder whose
        // path still fits the system's limit of 4095 bytes, and one in the first folder
        // beyond it, which no path reaches.
        const QByteArray longName = QByteArray(249, 'n') + ".gguf";
        const QByteArray folderName = QByteArray(249, 'n') + "_dir";
        const qsizetype base = QFile::encodeName(home.filePath(QStringLiteral("Models"))).size();
        const auto folderPathSize = [&](int level) { return base + level * (folderName.size() + 1); };
        int reachable = 0;
        while (folderPathSize(reachable + 1) + 1 + longName.size() <= 4095)
            ++reachable;
        int beyond = reachable;
        while (folderPathSize(beyond) <= 4095)
            ++beyond;
        makeChain(home.filePath(QStringLiteral("Models")), QList<QByteArray>(beyond, folderName),
                  {{reachable, longName}, {beyond, "out-of-reach.gguf"}}, 3);
        QString file = QStringLiteral("Models");
        for (int level = 0; level < reachable; ++level)
            file += QLatin1Char('/') + QString::fromLatin1(folderName);
        file += QLatin1Char('/') + QString::fromLatin1(longName);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        scanLeavesHomeUnchanged(home, {line("Models", QString(249, QLatin1Char('n')), 3, {file})});
        removeTree(home.filePath(QStringLiteral("Models")));
    }
};

QTEST_GUILESS_MAIN(TestHostileNamesAndTrees)
#include "tst_HostileNamesAndTrees.moc"
