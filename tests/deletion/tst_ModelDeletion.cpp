#include "core/ModelSummary.h"
#include "core/StashwellCore.h"
#include "deletion/ModelDeleter.h"
#include "deletion/StoreLock.h"
#include "deletion/TrashService.h"
#include "support/FileTreeSnapshot.h"
#include "support/OllamaFixture.h"
#include "support/ScratchDrive.h"
#include "support/TempHome.h"
#include "support/UnprivilegedRun.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {
const QString userStore = QStringLiteral(".ollama/models");
const QString serviceStore = QStringLiteral("system/ollama/.ollama/models"); // its blobs folder is a link to the user's
const QString anythingStore = QStringLiteral(".config/anythingllm-desktop/storage/models/ollama");

void addModel(const TempHome &home, const QString &store, const QString &name, const QList<QByteArray> &digests)
{
    QList<OllamaFixture::Blob> blobs;
    for (const QByteArray &digest : digests)
        blobs.append({digest, 100});
    OllamaFixture(home, store).addModel(QStringLiteral("library/%1/latest").arg(name), blobs);
}

// The user's store, and the service's store reaching the same blobs folder by a link.
void layOutStores(const TempHome &home)
{
    addModel(home, userStore, QStringLiteral("one"), {"sha256:cfg", "sha256:shared", "sha256:own1"});
    addModel(home, userStore, QStringLiteral("two"), {"sha256:cfg", "sha256:shared", "sha256:own2"});
    addModel(home, userStore, QStringLiteral("pair1"), {"sha256:pcfg", "sha256:pair", "sha256:p1"});
    addModel(home, userStore, QStringLiteral("pair2"), {"sha256:pcfg", "sha256:pair", "sha256:p2"});
    addModel(home, userStore, QStringLiteral("evil"), {"sha256:ecfg", "../../../secret", "sha256:../../../secret", "sha256:/etc/passwd"});
    home.writeFile(QStringLiteral("secret"), "not a blob");
    QDir().mkpath(home.filePath(serviceStore));
    QVERIFY(QFile::link(home.filePath(userStore + QStringLiteral("/blobs")), home.filePath(serviceStore + QStringLiteral("/blobs"))));
    addModel(home, serviceStore, QStringLiteral("svc"), {"sha256:svccfg", "sha256:shared"});
    // AnythingLLM's own Ollama, naming blobs of the same digests in its own store.
    addModel(home, anythingStore, QStringLiteral("any1"), {"sha256:cfg", "sha256:shared", "sha256:own1"});
    addModel(home, anythingStore, QStringLiteral("any2"), {"sha256:cfg", "sha256:a2"});
}

QList<DetectedModel> named(const QList<DetectedModel> &models, const QStringList &names)
{
    QList<DetectedModel> chosen;
    for (const DetectedModel &model : models) {
        if (names.contains(model.displayName))
            chosen << model;
    }
    return chosen;
}

QString shown(const DeletionResult &result)
{
    return result.needsAlert() ? result.messageText() + QLatin1Char('\n') + result.informativeText() : QString();
}

// Hands the home to the unprivileged user, so that it can use the home and its Trash.
void giveToUnprivileged(const QString &root)
{
    if (::geteuid() != 0)
        return;
    ::lchown(QFile::encodeName(root).constData(), 65534, 65534);
    for (const auto &entry : std::filesystem::recursive_directory_iterator(QFile::encodeName(root).toStdString()))
        ::lchown(entry.path().c_str(), 65534, 65534);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

// Deletion through the core both front ends call: what moves, what the person reads, and
// that nothing else in the home changes or is left in the Trash without its record.
class TestModelDeletion : public QObject
{
    Q_OBJECT

private slots:
    void ollamaModelsTakeOnlyTheBlobsNoOtherModelNeeds_data()
    {
        QTest::addColumn<QStringList>("models");
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QStringList>("moved"); // relative to the store's folder
        QTest::addColumn<QString>("alert");
        const QString one = QStringLiteral("manifests/registry.ollama.ai/library/one/latest");
        const QString two = QStringLiteral("manifests/registry.ollama.ai/library/two/latest");
        const QString pair1 = QStringLiteral("manifests/registry.ollama.ai/library/pair1/latest");
        const QString pair2 = QStringLiteral("manifests/registry.ollama.ai/library/pair2/latest");
        QTest::newRow("a blob another model needs stays")
            << QStringList{QStringLiteral("one:latest")} << QString() << QStringList{one, QStringLiteral("blobs/sha256-own1")} << QString();
        QTest::newRow("a blob another store's model needs stays")
            << QStringList{QStringLiteral("one:latest"), QStringLiteral("two:latest")} << QString()
            << QStringList{one, QStringLiteral("blobs/sha256-own1"), two, QStringLiteral("blobs/sha256-cfg"), QStringLiteral("blobs/sha256-own2")}
            << QString();
        QTest::newRow("models sharing only with each other free it together")
            << QStringList{QStringLiteral("pair1:latest"), QStringLiteral("pair2:latest")} << QString()
            << QStringList{pair1, QStringLiteral("blobs/sha256-p1"), pair2, QStringLiteral("blobs/sha256-pcfg"),
                           QStringLiteral("blobs/sha256-pair"), QStringLiteral("blobs/sha256-p2")}
            << QString();
        QTest::newRow("an AnythingLLM model counts only its own store's references")
            << QStringList{QStringLiteral("any1:latest")} << QString()
            << QStringList{QStringLiteral("~/manifests/registry.ollama.ai/library/any1/latest"), QStringLiteral("~/blobs/sha256-shared"),
                           QStringLiteral("~/blobs/sha256-own1")} << QString();
        QTest::newRow("digests aimed outside the blobs folder")
            << QStringList{QStringLiteral("evil:latest")} << QString()
            << QStringList{QStringLiteral("manifests/registry.ollama.ai/library/evil/latest"), QStringLiteral("blobs/sha256-ecfg")} << QString();
        QTest::newRow("a manifest that does not decode stops every model of the store")
            << QStringList{QStringLiteral("one:latest"), QStringLiteral("svc:latest")} << QStringLiteral("stray") << QStringList{}
            << QStringLiteral("No models were moved to Trash\none:latest - %1\nsvc:latest - %1");
        QTest::newRow("a link in the manifests leading out stops them too")
            << QStringList{QStringLiteral("one:latest")} << QStringLiteral("link") << QStringList{}
            << QStringLiteral("No models were moved to Trash\none:latest - %1");
    }
    void ollamaModelsTakeOnlyTheBlobsNoOtherModelNeeds()
    {
        QFETCH(QStringList, models);
        QFETCH(QString, damage);
        QFETCH(QStringList, moved);
        QFETCH(QString, alert);
        TempHome home;
        layOutStores(home);
        StashwellCore core(home.machine());
        const QList<DetectedModel> chosen = named(core.scan().models, models);
        QCOMPARE(chosen.size(), models.size());
        const QString library = home.filePath(serviceStore + QStringLiteral("/manifests/registry.ollama.ai/library/"));
        if (damage == QLatin1String("stray")) {
            home.writeFile(serviceStore + QStringLiteral("/manifests/registry.ollama.ai/library/svc/README"), "not a manifest");
            alert = alert.arg(QStringLiteral("The Ollama manifest \u201c%1svc/README\u201d could not be read: it is not valid JSON (illegal value at byte 1).").arg(library));
        } else if (damage == QLatin1String("link")) {
            QVERIFY(QFile::link(home.filePath(QStringLiteral("secret")), library + QStringLiteral("svc/elsewhere")));
            alert = alert.arg(QStringLiteral("The Ollama manifests folder holds a link, \u201c%1svc/elsewhere\u201d, that leads outside it, "
                                             "so it is unknown which blobs other models still use.").arg(library));
        }
        const QStringList expected = moved.replaceInStrings(QRegularExpression(QStringLiteral("^~/")), home.filePath(anythingStore) + u'/')
                                         .replaceInStrings(QRegularExpression(QStringLiteral("^(?!/)")), home.filePath(userStore) + u'/');

        // The dry run takes the same path and moves nothing.
        const FileTreeSnapshot before(home.path());
        const DeletionResult plan = core.planDeletion(chosen);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, {}, TrashService::homeTrashPath()), QStringList());
        const DeletionResult result = core.deleteModels(chosen);
        QVERIFY2(shown(result).startsWith(alert.section(QLatin1Char('\n'), 0, 0)), qPrintable(shown(result)));
        const QStringList failures = result.informativeText().split(u'\n');
        const QStringList expectedFailures = alert.split(u'\n').mid(alert.isEmpty() ? 0 : 1);
        QCOMPARE(QSet<QString>(failures.cbegin(), failures.cend()), QSet<QString>(expectedFailures.cbegin(), expectedFailures.cend()));
        QCOMPARE(result.trashedPaths, expected);
        QCOMPARE(plan.trashedPaths, expected);
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, expected, TrashService::homeTrashPath()), QStringList());
    }

    void aModelMovesWholeOrNotAtAll_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("alert");
        const QString noneMoved = QStringLiteral("No models were moved to Trash\nkit - Failed to move %1 to Trash: %2");
        QTest::newRow("a file gone since the scan") << QStringLiteral("gone") << noneMoved.arg(QStringLiteral("b.gguf"), QStringLiteral("No such file or directory"));
        QTest::newRow("a Trash that is a file") << QStringLiteral("trash is a file") << noneMoved.arg(QStringLiteral("a.gguf"), QStringLiteral("Not a directory"));
        QTest::newRow("a folder the user may not empty") << QStringLiteral("closed folder") << noneMoved.arg(QStringLiteral("a.gguf"), QStringLiteral("Permission denied"));
        // These two pass every check and fail while moving: what had moved comes back.
        QTest::newRow("a folder that cannot move") << QStringLiteral("unmovable folder") << noneMoved.arg(QStringLiteral("b.gguf"), QStringLiteral("Permission denied"));
        QTest::newRow("a Trash whose records cannot be written") << QStringLiteral("closed records") << noneMoved.arg(QStringLiteral("a.gguf"), QStringLiteral("Permission denied"));
    }
    void aModelMovesWholeOrNotAtAll()
    {
        QFETCH(QString, fault);
        QFETCH(QString, alert);
        TempHome home;
        const QStringList files{home.writeFile(QStringLiteral("Kit/a.gguf"), 10), home.makeDir(QStringLiteral("Kit/b.gguf")),
                                home.writeFile(QStringLiteral("Kit/c.gguf"), 30)};
        home.writeFile(QStringLiteral("Kit/b.gguf/part"), 20);
        const QString trash = TrashService::homeTrashPath();
        QDir().mkpath(trash + QStringLiteral("/info"));
        QDir().mkpath(trash + QStringLiteral("/files"));
        giveToUnprivileged(home.path());
        const QMap<QString, std::pair<QString, mode_t>> modes{{QStringLiteral("closed folder"), {home.filePath(QStringLiteral("Kit")), 0555}},
                                                              {QStringLiteral("unmovable folder"), {files[1], 0555}},
                                                              {QStringLiteral("closed records"), {trash + QStringLiteral("/info"), 0500}}};
        if (fault == QLatin1String("gone"))
            QDir(files[1]).removeRecursively();
        if (fault == QLatin1String("trash is a file"))
            QDir(trash).removeRecursively(), home.writeFile(QStringLiteral(".local/share/Trash"), "x");
        if (modes.contains(fault))
            QCOMPARE(::chmod(QFile::encodeName(modes[fault].first).constData(), modes[fault].second), 0);
        DetectedModel kit = DetectedModel::create(QStringLiteral("kit"), SourceTool::Kind::lmStudio, files, 60, {});
        const FileTreeSnapshot before(home.path());

        // As a real user: the superuser may write where the user may not.
        const QString answer = home.filePath(QStringLiteral("answer"));
        QVERIFY(runUnprivileged([&] {
            QFile out(answer);
            return out.open(QIODevice::WriteOnly) && out.write(shown(ModelDeleter(QList<OllamaStore>{}).deleteModels({kit})).toUtf8()) > 0;
        }));
        QCOMPARE(QString::fromUtf8(readAll(answer)), alert);
        QFile::remove(answer);
        const QStringList problems = FileTreeSnapshot(home.path()).problemsAfterTrashing(before, {}, trash);
        if (modes.contains(fault))
            ::chmod(QFile::encodeName(modes[fault].first).constData(), 0755);
        QCOMPARE(problems, QStringList());
    }

    void aKilledDeletionLeavesOnlyWholeRecords()
    {
        TempHome home;
        QList<QByteArray> digests{"sha256:cfg"};
        for (int i = 0; i < 400; ++i)
            digests << "sha256:b" + QByteArray::number(i);
        addModel(home, userStore, QStringLiteral("big"), digests);
        const QString info = TrashService::homeTrashPath() + QStringLiteral("/info/");
        // What a killed run left: a temporary record of a process that is gone, and one
        // of a run still going (this test), which must stay.
        home.writeFile(QStringLiteral(".local/share/Trash/info/.stashwell-999999999-x.tmp"), "[Trash Info]\n");
        const QString running = home.writeFile(QStringLiteral(".local/share/Trash/info/.stashwell-%1-y.tmp").arg(::getpid()), "[Trash Info]\n");
        for (const int delay : {5, 15, 30, 60}) {
            QProcess cli;
            cli.start(QStringLiteral(STASHWELL_CLI_PATH), {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("big:latest")});
            QVERIFY(cli.waitForStarted());
            QThread::msleep(delay);
            cli.kill();
            cli.waitForFinished();
            // Every record is whole and every item in files/ has one.
            for (const QString &name : QDir(info).entryList(QDir::Files | QDir::Hidden)) {
                QVERIFY2(name.endsWith(QLatin1String(".trashinfo")) || name.startsWith(QLatin1String(".stashwell-")), qPrintable(name));
                if (name.endsWith(QLatin1String(".trashinfo")))
                    QVERIFY2(readAll(info + name).contains("\nDeletionDate="), qPrintable(name));
            }
            for (const QString &entry : QDir(TrashService::homeTrashPath() + QStringLiteral("/files")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot))
                QVERIFY2(QFile::exists(info + entry + QStringLiteral(".trashinfo")), qPrintable(entry));
        }
        // The next deletion that runs to its end clears what the killed ones left.
        const QString tiny = home.writeFile(QStringLiteral("Models/tiny.gguf"), 10);
        QVERIFY(TrashService().moveToTrash({tiny}) == std::nullopt);
        QVERIFY(!QFile::exists(info + QStringLiteral(".stashwell-999999999-x.tmp")));
        QVERIFY(QFile::exists(running));
    }

    void oneDeletionAtATimePerBlobsFolder()
    {
        TempHome home;
        layOutStores(home);
        const QString manifest = home.filePath(userStore + QStringLiteral("/manifests/registry.ollama.ai/library/one/latest"));
        struct stat blobs {};
        // Locked through the other store's path to the same folder.
        QCOMPARE(::stat(QFile::encodeName(home.filePath(serviceStore + QStringLiteral("/blobs"))).constData(), &blobs), 0);
        auto held = std::make_unique<StoreLock>(blobs.st_dev, blobs.st_ino);
        QVERIFY(!held->problem());
        QVERIFY(QFileInfo(StoreLock::folder()).path() == home.filePath(QStringLiteral(".run")));

        QProcess cli;
        cli.start(QStringLiteral(STASHWELL_CLI_PATH), {QStringLiteral("trash"), QStringLiteral("--yes"), QStringLiteral("--name"), QStringLiteral("one:latest")});
        QVERIFY(!cli.waitForFinished(1500)); // waits for the lock
        QVERIFY(QFile::exists(manifest));
        held.reset();
        QVERIFY(cli.waitForFinished(30000));
        QCOMPARE(cli.readAllStandardOutput(), QByteArray("1 model moved to Trash. You can restore files from Trash if needed.\n"));
        QVERIFY(!QFile::exists(manifest));
    }

    // What the disk gets back: blobs other models use and files with another name free
    // nothing, so one file under two names is no duplicate worth reclaiming.
    void onlyWhatTheDiskGetsBackIsFreedOrReclaimable()
    {
        TempHome home;
        layOutStores(home);
        const QString file = home.writeFile(QStringLiteral("A/phi.gguf"), 5000);
        home.makeDir(QStringLiteral("B"));
        QCOMPARE(::link(QFile::encodeName(file).constData(), QFile::encodeName(home.filePath(QStringLiteral("B/phi.gguf"))).constData()), 0);
        home.writeFile(QStringLiteral("A/qwen.gguf"), 3000, 'q');
        home.writeFile(QStringLiteral("B/qwen.gguf"), 3000, 'q');
        home.writeFile(QStringLiteral("B/plain.gguf"), 7000);
        StashwellCore core(home.machine());
        QVERIFY(core.addCustomFolder(home.filePath(QStringLiteral("A"))).accepted);
        QVERIFY(core.addCustomFolder(home.filePath(QStringLiteral("B"))).accepted);
        QList<DetectedModel> models = core.scan().models;
        const QList<DetectedModel> phi = named(models, {QStringLiteral("phi")});
        QCOMPARE(phi.size(), 2);
        const qint64 manifestSize = QFileInfo(home.filePath(userStore + QStringLiteral("/manifests/registry.ollama.ai/library/one/latest"))).size();
        QCOMPARE(core.spaceFreedBy(named(models, {QStringLiteral("one:latest")})), 100 + manifestSize);
        QCOMPARE(core.spaceFreedBy({phi.first()}), 0);
        QCOMPARE(core.spaceFreedBy(phi), 5000);
        QCOMPARE(core.spaceFreedBy(named(models, {QStringLiteral("plain")})), 7000);

        // One file under two names is never a group: only the copy of qwen counts.
        QCOMPARE(ModelSummary::reclaimableSize(named(models, {QStringLiteral("phi"), QStringLiteral("qwen"), QStringLiteral("plain")})), 3000);
    }

    // A folder model holding a file whose name is not text is refused whole by the deletion:
    // moving the files that can be named would split it.
    void aFolderModelWithANameThatIsNotTextStaysWhole()
    {
        TempHome home;
        const QString folder = QStringLiteral(".local/share/Jan/data/llamacpp/models/m/");
        home.writeFile(folder + QStringLiteral("model.gguf"), 100);
        home.writeRawFile(QFile::encodeName(folder) + "notes-\xff.txt", "x");
        const StashwellCore core(home.machine());
        const QList<DetectedModel> jan = named(core.scan().models, {QStringLiteral("m")});
        QCOMPARE(jan.size(), 1);
        const FileTreeSnapshot before(home.path());
        const DeletionResult result = core.deleteModels(jan);
        QCOMPARE(result.moved, 0);
        QCOMPARE(result.failures.size(), 1);
        QVERIFY(result.failures.first().reason.contains(QLatin1String("is not valid text")));
        QCOMPARE(FileTreeSnapshot(home.path()).problemsAfterTrashing(before, {}, TrashService::homeTrashPath()), QStringList());
        ::unlink(QFile::encodeName(home.filePath(folder)) + "notes-\xff.txt"); // a name QDir cannot remove
    }

    // On another drive, a shared sticky .Trash is used only through a folder of the user's
    // own in it; when that cannot be used, the drive's .Trash-$uid takes the item instead.
    void sharedTrashFolderThatCannotBeUsed_data()
    {
        QTest::addColumn<QString>("own"); // what stands at .Trash/$uid
        QTest::newRow("a link") << QStringLiteral("link");
        QTest::newRow("another user's folder") << QStringLiteral("foreign");
        QTest::newRow("nothing, and it cannot be made") << QStringLiteral("closed");
    }
    void sharedTrashFolderThatCannotBeUsed()
    {
        QFETCH(QString, own);
        TempHome home;
        const ScratchDrive drive(home.filePath(QStringLiteral("drive")), 16 << 20);
        if (!drive.isMounted() || ::geteuid() != 0)
            QSKIP("needs a drive of its own and a user other than root to run the deletion as");
        const QString model = home.writeFile(QStringLiteral("drive/models/llama.gguf"), "weights");
        const QString decoy = home.makeDir(QStringLiteral("drive/decoy"));
        giveToUnprivileged(home.path());
        QCOMPARE(::chmod(QFile::encodeName(drive.path()).constData(), 01777), 0);
        const QString shared = drive.filePath(QStringLiteral(".Trash"));
        const QString ownFolder = shared + QStringLiteral("/65534");
        QVERIFY(QDir().mkdir(shared));
        QCOMPARE(::chmod(QFile::encodeName(shared).constData(), own == QLatin1String("closed") ? 01555 : 01777), 0);
        if (own == QLatin1String("link"))
            QVERIFY(QFile::link(decoy, ownFolder));
        if (own == QLatin1String("foreign"))
            QVERIFY(QDir().mkdir(ownFolder) && ::chown(QFile::encodeName(ownFolder).constData(), 65533, 65533) == 0);

        const DetectedModel llama = DetectedModel::create(QStringLiteral("llama"), SourceTool::custom(QStringLiteral("models")), {model}, 7, {});
        QVERIFY(runUnprivileged([&] { return !StashwellCore(home.machine()).deleteModels({llama}).needsAlert(); }));
        QCOMPARE(readAll(drive.filePath(QStringLiteral(".Trash-65534/files/llama.gguf"))), QByteArray("weights"));
        QVERIFY(!QFileInfo::exists(model));
        QCOMPARE(QDir(decoy).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
        QCOMPARE(QFileInfo(ownFolder).isDir() && !QFileInfo(ownFolder).isSymLink(), own == QLatin1String("foreign"));
    }
};

QTEST_GUILESS_MAIN(TestModelDeletion)
#include "tst_ModelDeletion.moc"
