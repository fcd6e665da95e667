#include "preferences/PersistenceService.h"
#include "support/DeletionAudit.h"
#include "support/HomeDeletion.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>

namespace {
const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/");
const QString blobs = QStringLiteral(".ollama/models/blobs/");
const QString cli = QStringLiteral(STASHWELL_CLI_PATH);

using Front = HomeDeletion::Front;
using Pick = HomeDeletion::Pick;

// A manifest naming the given digests: the first as the config, the others as layers.
QByteArray manifest(const QList<QByteArray> &digests)
{
    QByteArray text = R"({"schemaVersion":2,"config":{"mediaType":"c","digest":")" + digests.first() + R"(","size":1},"layers":[)";
    for (qsizetype i = 1; i < digests.size(); ++i)
        text += (i > 1 ? "," : "") + QByteArray(R"({"mediaType":"m","digest":")") + digests[i] + R"(","size":10})";
    return text + "]}";
}

void addFronts()
{
    QTest::addColumn<bool>("terminal");
    QTest::newRow("window") << false;
    QTest::newRow("terminal") << true;
}

Front front(bool terminal)
{
    return terminal ? Front::terminal : Front::window;
}

void makeLink(const TempHome &home, const QString &target, const QString &relative)
{
    QVERIFY(QDir().mkpath(QFileInfo(home.filePath(relative)).path()));
    QVERIFY(QFile::link(target, home.filePath(relative)));
}

// Permissions a test takes away, given back before the home is removed (which would
// otherwise fail for a user who is not root).
class Modes
{
public:
    ~Modes()
    {
        for (auto it = m_original.crbegin(); it != m_original.crend(); ++it)
            ::chmod(QFile::encodeName(it->first).constData(), it->second);
    }
    void set(const QString &path, mode_t mode)
    {
        struct stat info {};
        QCOMPARE(::lstat(QFile::encodeName(path).constData(), &info), 0);
        m_original.append({path, info.st_mode & 07777});
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
    }

private:
    QList<std::pair<QString, mode_t>> m_original;
};

QStringList inHome(const TempHome &home, const QStringList &relative)
{
    QStringList paths;
    for (const QString &path : relative)
        paths << home.filePath(path);
    return paths;
}
} // namespace

// What a person sees when deleting goes wrong, through the window and through
// stashwell-cli trash: files gone before the deletion, folders and Trash folders the user
// may not write, Ollama manifests that cannot be read, links among a model's files,
// digests aimed outside the blobs folder, blobs shared with a model that cannot go. In
// every case only the selected models' files leave, each one into the Trash with a record
// of where it was, and nothing else in the home changes.
class TestDeletionFaults : public QObject
{
    Q_OBJECT

private slots:
    void filesThatVanishBetweenScanAndDeletion()
    {
        TempHome home;
        home.writeFile(QStringLiteral("Models/gone.gguf"), 3);
        home.writeFile(QStringLiteral("Models/kept.gguf"), 4);
        for (const QString &model : {QStringLiteral("pair-a"), QStringLiteral("pair-b")}) {
            home.writeFile(QStringLiteral(".lmstudio/models/pub/") + model + QStringLiteral("/x.gguf"), 5);
            home.writeFile(QStringLiteral(".lmstudio/models/pub/") + model + QStringLiteral("/y.gguf"), 6);
        }
        for (const char *blob : {"cfg", "shared", "ghost-own", "thin-own1", "thin-own2"})
            home.writeFile(blobs + QStringLiteral("sha256-") + QLatin1String(blob), 10);
        home.writeFile(registry + QStringLiteral("library/ghost/latest"), manifest({"sha256:cfg", "sha256:shared", "sha256:ghost-own"}));
        home.writeFile(registry + QStringLiteral("library/thin/latest"),
                       manifest({"sha256:cfg", "sha256:shared", "sha256:thin-own1", "sha256:thin-own2"}));
        home.writeFile(registry + QStringLiteral("library/other/latest"), manifest({"sha256:cfg"}));
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        // Only the window has a moment between its scan and the deletion.
        HomeDeletion deletion(home, Front::window, cli);
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [ghost:latest]"), QStringLiteral("Ollama [thin:latest]"),
                                                   QStringLiteral("Ollama [other:latest]"), QStringLiteral("LM Studio [pair-a]"),
                                                   QStringLiteral("LM Studio [pair-b]"), QStringLiteral("Models [gone]"),
                                                   QStringLiteral("Models [kept]")}));
        const QStringList pairA = deletion.filesOf({QStringLiteral("lmStudio"), QStringLiteral("pair-a")});
        const QStringList pairB = deletion.filesOf({QStringLiteral("lmStudio"), QStringLiteral("pair-b")});
        QCOMPARE(pairA.size(), 2);
        QCOMPARE(pairB.size(), 2);

        // While the list is on screen, another program removes files: a whole model, the
        // first and the last file of a model, an Ollama manifest, one blob of another.
        const QString ghost = home.filePath(registry + QStringLiteral("library/ghost/latest"));
        for (const QString &path : {home.filePath(QStringLiteral("Models/gone.gguf")), pairA[0], pairB[1], ghost,
                                    home.filePath(blobs + QStringLiteral("sha256-thin-own2"))})
            QVERIFY(QFile::remove(path));

        // The vanished manifest no longer names the shared blob, so the model that goes
        // takes it; the blob only the vanished manifest named stays where it is.
        const DeletionAudit audit({home.path()}, inHome(home, {registry + QStringLiteral("library/thin/latest"),
                                                               blobs + QStringLiteral("sha256-shared"),
                                                               blobs + QStringLiteral("sha256-thin-own1")})
                                                         + QStringList{pairB[0]});
        const QStringList shown = deletion.deleteModels({{QStringLiteral("custom"), QStringLiteral("gone")},
                                                         {QStringLiteral("lmStudio"), QStringLiteral("pair-a")},
                                                         {QStringLiteral("lmStudio"), QStringLiteral("pair-b")},
                                                         {QStringLiteral("ollama"), QStringLiteral("ghost:latest")},
                                                         {QStringLiteral("ollama"), QStringLiteral("thin:latest")}});
        const auto name = [](const QString &path) { return QFileInfo(path).fileName(); };
        QVERIFY(HomeDeletion::sameAlert(
            shown, {QStringLiteral("1 of 5 models moved to Trash. 4 failed."),
                    QStringLiteral("ghost:latest - The Ollama manifest \u201c%1\u201d could not be read: no such file or directory.").arg(ghost),
                    QStringLiteral("pair-a - Failed to move %1 to Trash: No such file or directory").arg(name(pairA[0])),
                    QStringLiteral("pair-b - Failed to move %1 to Trash: No such file or directory").arg(name(pairB[1])),
                    QStringLiteral("gone - Failed to move gone.gguf to Trash: No such file or directory")}));
        QCOMPARE(deletion.moved(), 1);
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [other:latest]"), QStringLiteral("LM Studio [pair-a]"),
                                                   QStringLiteral("Models [kept]")}));
    }

    void aFolderTheUserCannotWrite_data() { addFronts(); }
    void aFolderTheUserCannotWrite()
    {
        QFETCH(bool, terminal);
        TempHome home;
        Modes modes;
        home.writeFile(QStringLiteral("Models/open.gguf"), 3);
        home.writeFile(QStringLiteral("Models/locked/weights.gguf"), 4);
        home.writeFile(blobs + QStringLiteral("sha256-cfg"), 1);
        home.writeFile(blobs + QStringLiteral("sha256-frozen"), 10);
        home.writeFile(registry + QStringLiteral("library/frozen/latest"), manifest({"sha256:cfg", "sha256:frozen"}));
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});
        HomeDeletion::giveToUnprivileged(home.path());

        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(true), {QStringLiteral("Ollama [frozen:latest]"), QStringLiteral("Models [open]"),
                                                       QStringLiteral("Models [weights]")}));
        modes.set(home.filePath(QStringLiteral("Models/locked")), 0555);
        modes.set(home.filePath(registry + QStringLiteral("library/frozen")), 0555);

        const DeletionAudit audit({home.path()}, {home.filePath(QStringLiteral("Models/open.gguf"))});
        const QStringList shown = deletion.deleteModels({{QStringLiteral("custom"), QStringLiteral("open")},
                                                         {QStringLiteral("custom"), QStringLiteral("weights")},
                                                         {QStringLiteral("ollama"), QStringLiteral("frozen:latest")}},
                                                        true);
        QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("1 of 3 models moved to Trash. 2 failed."),
                                                QStringLiteral("frozen:latest - Failed to move latest to Trash: Permission denied"),
                                                QStringLiteral("weights - Failed to move weights.gguf to Trash: Permission denied")}));
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(true), {QStringLiteral("Ollama [frozen:latest]"), QStringLiteral("Models [weights]")}));
    }

    void aTrashTheUserCannotWrite_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("closed");
        // The record cannot be written; or it can, but the item cannot follow it into files/.
        QTest::newRow("window, info/") << false << QStringLiteral("info");
        QTest::newRow("window, files/") << false << QStringLiteral("files");
        QTest::newRow("terminal, info/") << true << QStringLiteral("info");
        QTest::newRow("terminal, files/") << true << QStringLiteral("files");
    }
    void aTrashTheUserCannotWrite()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, closed);
        TempHome home;
        Modes modes;
        home.writeFile(QStringLiteral("Models/a.gguf"), 3);
        home.writeFile(QStringLiteral("Models/b.gguf"), 4);
        // A Trash that earlier deletions made, with something in it already.
        const QString trash = home.filePath(QStringLiteral(".local/share/Trash"));
        home.writeFile(QStringLiteral(".local/share/Trash/files/old.gguf"), 5);
        home.writeFile(QStringLiteral(".local/share/Trash/info/old.gguf.trashinfo"),
                       QByteArray("[Trash Info]\nPath=") + QFile::encodeName(home.filePath(QStringLiteral("old.gguf")))
                           + "\nDeletionDate=2024-01-01T00:00:00\n");
        for (const QString &folder : {trash, trash + QStringLiteral("/files"), trash + QStringLiteral("/info")})
            QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0700), 0);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});
        HomeDeletion::giveToUnprivileged(home.path());
        modes.set(trash + QLatin1Char('/') + closed, 0500);

        HomeDeletion deletion(home, front(terminal), cli);
        const DeletionAudit audit({home.path()}, {});
        const QStringList shown = deletion.deleteModels(
            {{QStringLiteral("custom"), QStringLiteral("a")}, {QStringLiteral("custom"), QStringLiteral("b")}}, true);
        QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("No models were moved to Trash"),
                                                QStringLiteral("a - Failed to move a.gguf to Trash: Permission denied"),
                                                QStringLiteral("b - Failed to move b.gguf to Trash: Permission denied")}));
        // No half-written record is left behind, and what the Trash held stays.
        QVERIFY_AS_AUDITED(audit.problems());
    }

    void aBlobsFolderTheUserCannotWrite_data() { addFronts(); }
    void aBlobsFolderTheUserCannotWrite()
    {
        QFETCH(bool, terminal);
        TempHome home;
        Modes modes;
        home.writeFile(blobs + QStringLiteral("sha256-cfg"), 1);
        home.writeFile(blobs + QStringLiteral("sha256-own"), 10);
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:cfg", "sha256:own"}));
        HomeDeletion::giveToUnprivileged(home.path());
        modes.set(home.filePath(blobs), 0555);

        // The manifest goes first and reaches the Trash; the blobs cannot follow. The model
        // is reported as failed, and putting the manifest back makes it whole again.
        HomeDeletion deletion(home, front(terminal), cli);
        const DeletionAudit audit({home.path()}, {home.filePath(registry + QStringLiteral("library/m/latest"))});
        const QStringList shown = deletion.deleteModels({{QStringLiteral("ollama"), QStringLiteral("m:latest")}}, true);
        QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("No models were moved to Trash"),
                                                QStringLiteral("m:latest - Failed to move sha256-cfg to Trash: Permission denied")}));
        QVERIFY_AS_AUDITED(audit.problems());
        QCOMPARE(deletion.listed(true), QStringList());
    }

    void unreadableManifestsStopTheOllamaDeletion_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("closed");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("reason"); // %1: the file or folder it names

        const QString manifestReason = QStringLiteral("The Ollama manifest \u201c%1\u201d could not be read: permission denied.");
        const QString folderReason = QStringLiteral("The Ollama manifests folder \u201c%1\u201d could not be read, so it is "
                                                    "unknown which blobs other models still use.");
        for (const bool terminal : {false, true}) {
            const char *front = terminal ? "terminal" : "window";
            QTest::addRow("%s: another model's manifest", front)
                << terminal << registry + QStringLiteral("someone/private/latest") << 0 << manifestReason.arg(registry + QStringLiteral("someone/private/latest"));
            QTest::addRow("%s: a namespace folder", front)
                << terminal << registry + QStringLiteral("someone") << 0 << folderReason.arg(registry + QStringLiteral("someone"));
            QTest::addRow("%s: a folder that can be listed but not entered", front)
                << terminal << registry + QStringLiteral("someone") << 0444 << folderReason.arg(registry + QStringLiteral("someone/private"));
        }
        // Only the window's scan can list a model whose manifest becomes unreadable later.
        QTest::addRow("window: the model's own manifest")
            << false << registry + QStringLiteral("library/m/latest") << 0 << manifestReason.arg(registry + QStringLiteral("library/m/latest"));
    }
    void unreadableManifestsStopTheOllamaDeletion()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, closed);
        QFETCH(int, mode);
        QFETCH(QString, reason);
        TempHome home;
        Modes modes;
        for (const char *blob : {"cfg", "shared", "m-own", "p-own"})
            home.writeFile(blobs + QStringLiteral("sha256-") + QLatin1String(blob), 10);
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:cfg", "sha256:shared", "sha256:m-own"}));
        home.writeFile(registry + QStringLiteral("someone/private/latest"), manifest({"sha256:cfg", "sha256:shared", "sha256:p-own"}));
        home.writeFile(QStringLiteral("Models/plain.gguf"), 3);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});
        HomeDeletion::giveToUnprivileged(home.path());

        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(true), {QStringLiteral("Ollama [m:latest]"), QStringLiteral("Ollama [someone/private:latest]"),
                                                       QStringLiteral("Models [plain]")}));
        modes.set(home.filePath(closed), mode_t(mode));

        // Which blobs the other manifests need is unknown, so nothing of the model moves;
        // the rest of the selection still goes.
        const DeletionAudit audit({home.path()}, {home.filePath(QStringLiteral("Models/plain.gguf"))});
        const QStringList shown = deletion.deleteModels(
            {{QStringLiteral("ollama"), QStringLiteral("m:latest")}, {QStringLiteral("custom"), QStringLiteral("plain")}}, true);
        QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("1 of 2 models moved to Trash. 1 failed."),
                                                QStringLiteral("m:latest - ") + reason.replace(registry, home.filePath(registry))}));
        QVERIFY_AS_AUDITED(audit.problems());
    }

    void linksAmongAModelsFilesMoveAsLinks_data() { addFronts(); }
    void linksAmongAModelsFilesMoveAsLinks()
    {
        QFETCH(bool, terminal);
        TempHome home;
        // A Jan model whose folder holds a link to another model's file and one to its own parent.
        const QString qwen = QStringLiteral(".local/share/Jan/data/llamacpp/models/qwen/");
        home.writeFile(qwen + QStringLiteral("model.gguf"), 7);
        home.writeFile(QStringLiteral("Models/big.gguf"), 9);
        makeLink(home, home.filePath(QStringLiteral("Models/big.gguf")), qwen + QStringLiteral("shared.gguf"));
        makeLink(home, QStringLiteral(".."), qwen + QStringLiteral("up"));
        // Ollama blobs that are links: to a file, to a folder full of documents, to nothing.
        home.writeFile(QStringLiteral("outside.bin"), 4);
        home.writeFile(QStringLiteral("Documents/notes.txt"), 4);
        home.writeFile(blobs + QStringLiteral("sha256-cfg"), 1);
        makeLink(home, home.filePath(QStringLiteral("outside.bin")), blobs + QStringLiteral("sha256-linked"));
        makeLink(home, home.filePath(QStringLiteral("Documents")), blobs + QStringLiteral("sha256-dirlink"));
        makeLink(home, home.filePath(QStringLiteral("nowhere")), blobs + QStringLiteral("sha256-dangling"));
        home.writeFile(registry + QStringLiteral("library/l/latest"),
                       manifest({"sha256:cfg", "sha256:linked", "sha256:dirlink", "sha256:dangling"}));
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [l:latest]"), QStringLiteral("Jan [qwen]"), QStringLiteral("Models [big]")}));
        // Each link leaves as itself; what it points to stays, checked with the rest of the home.
        const DeletionAudit audit({home.path()},
                                  inHome(home, {qwen + QStringLiteral("model.gguf"), qwen + QStringLiteral("shared.gguf"), qwen + QStringLiteral("up"),
                                                registry + QStringLiteral("library/l/latest"), blobs + QStringLiteral("sha256-cfg"),
                                                blobs + QStringLiteral("sha256-linked"), blobs + QStringLiteral("sha256-dirlink")}));
        const QStringList shown = deletion.deleteModels({{QStringLiteral("jan"), QStringLiteral("qwen")}, {QStringLiteral("ollama"), QStringLiteral("l:latest")}});
        QCOMPARE(shown, QStringList());
        QCOMPARE(deletion.moved(), 2);
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Models [big]")}));
    }

    void craftedDigestsNeverReachOutsideTheBlobsFolder_data() { addFronts(); }
    void craftedDigestsNeverReachOutsideTheBlobsFolder()
    {
        QFETCH(bool, terminal);
        TempHome home;
        // Files a crafted digest aims at, each of which exists.
        home.writeFile(QStringLiteral(".ollama/models/secret"), 1);
        home.writeFile(QStringLiteral("outside"), 1);
        home.writeFile(QStringLiteral("Models/x.gguf"), 1);
        home.writeFile(registry + QStringLiteral("library/bystander/latest"), manifest({"sha256:b"}));
        home.writeFile(blobs + QStringLiteral("sha256-b"), 1);
        home.writeFile(blobs + QStringLiteral("sha256-a"), 7);
        home.writeFile(blobs + QStringLiteral("sha256-"), 1); // what a bare "sha256:" would name
        home.writeFile(blobs + QStringLiteral("sha256-dir/inside"), 1);
        makeLink(home, home.filePath(QStringLiteral("outside")), blobs + QStringLiteral("sha256-linked"));
        const QByteArray absolute = QFile::encodeName(home.filePath(QStringLiteral("Models/x.gguf")));
        const QByteArray manifestsFolder = QFile::encodeName(home.filePath(QStringLiteral(".ollama/models/manifests")));
        const QList<QByteArray> crafted{"sha256:a", "../secret", "sha256:../secret", "sha256:../../../outside", absolute,
                                        "sha256:" + absolute, "..", ".", "", "sha256:", "sha256:a/../a", "sha256:\\u0000a",
                                        "sha256:a\\/..\\/..\\/secret", "sha256:\\u002e\\u002e", "sha256:\\ud800", "sha256:..",
                                        "sha256:" + manifestsFolder + "/registry.ollama.ai/library/bystander/latest",
                                        "sha256:linked", "sha256:dir", "sha256:b/../b"};
        home.writeFile(registry + QStringLiteral("library/crafted/latest"), manifest(crafted));
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});

        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [crafted:latest]"), QStringLiteral("Ollama [bystander:latest]"),
                                                   QStringLiteral("Models [x]")}));
        // Only the manifest and what lies inside the blobs folder under a digest's own name
        // goes: a link as the link, a folder whole. The bystander keeps its blob.
        const DeletionAudit audit({home.path()}, inHome(home, {registry + QStringLiteral("library/crafted/latest"), blobs + QStringLiteral("sha256-a"),
                                                               blobs + QStringLiteral("sha256-linked"), blobs + QStringLiteral("sha256-dir")}));
        const QStringList shown = deletion.deleteModels({{QStringLiteral("ollama"), QStringLiteral("crafted:latest")}});
        QCOMPARE(shown, QStringList());
        QCOMPARE(deletion.moved(), 1);
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [bystander:latest]"), QStringLiteral("Models [x]")}));
    }

    void linksInTheManifestsFolder_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("link");   // made inside the registry folder
        QTest::addColumn<QString>("target"); // relative to the home
        QTest::addColumn<bool>("refused");
        for (const bool terminal : {false, true}) {
            const char *front = terminal ? "terminal" : "window";
            // Ollama reads manifests through links, so what lies behind one outside the
            // folder names blobs that no count sees.
            QTest::addRow("%s: a manifest kept elsewhere", front)
                << terminal << QStringLiteral("library/alias/latest") << QStringLiteral("Backups/alias-manifest") << true;
            QTest::addRow("%s: a namespace folder kept elsewhere", front)
                << terminal << QStringLiteral("someone") << QStringLiteral("Backups/someone") << true;
            // Behind these there is nothing more to count.
            QTest::addRow("%s: another name for a manifest of the folder", front)
                << terminal << QStringLiteral("library/alias/latest") << registry + QStringLiteral("library/m/latest") << false;
            QTest::addRow("%s: a link to nothing", front)
                << terminal << QStringLiteral("library/alias/latest") << QStringLiteral("nowhere") << false;
        }
    }
    void linksInTheManifestsFolder()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, link);
        QFETCH(QString, target);
        QFETCH(bool, refused);
        TempHome home;
        for (const char *blob : {"cfg", "shared", "m-own", "other-own"})
            home.writeFile(blobs + QStringLiteral("sha256-") + QLatin1String(blob), 10);
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:cfg", "sha256:shared", "sha256:m-own"}));
        home.writeFile(registry + QStringLiteral("library/keep/latest"), manifest({"sha256:cfg"}));
        // What the links outside lead to: a manifest, and a namespace folder holding one.
        home.writeFile(QStringLiteral("Backups/alias-manifest"), manifest({"sha256:cfg", "sha256:shared", "sha256:other-own"}));
        home.writeFile(QStringLiteral("Backups/someone/private/latest"), manifest({"sha256:cfg", "sha256:shared", "sha256:other-own"}));
        makeLink(home, home.filePath(target), registry + link);

        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [m:latest]"), QStringLiteral("Ollama [keep:latest]")}));
        const DeletionAudit audit({home.path()}, refused ? QStringList()
                                                         : inHome(home, {registry + QStringLiteral("library/m/latest"), blobs + QStringLiteral("sha256-shared"),
                                                                         blobs + QStringLiteral("sha256-m-own")}));
        const QStringList shown = deletion.deleteModels({{QStringLiteral("ollama"), QStringLiteral("m:latest")}});
        if (refused) {
            QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("No models were moved to Trash"),
                                                    QStringLiteral("m:latest - The Ollama manifests folder holds a link, \u201c%1\u201d, that "
                                                                   "leads outside it, so it is unknown which blobs other models still use.")
                                                        .arg(home.filePath(registry + link))}));
        } else {
            QCOMPARE(shown, QStringList());
        }
        QVERIFY_AS_AUDITED(audit.problems());
    }

    void sharedBlobsStayUntilEveryManifestNamingThemIsGone_data() { addFronts(); }
    void sharedBlobsStayUntilEveryManifestNamingThemIsGone()
    {
        QFETCH(bool, terminal);
        TempHome home;
        Modes modes;
        for (const char *blob : {"cfg", "shared", "a-own", "b-own", "c-own"})
            home.writeFile(blobs + QStringLiteral("sha256-") + QLatin1String(blob), 10);
        for (const char *model : {"a", "b", "c"}) {
            home.writeFile(registry + QStringLiteral("library/%1/latest").arg(QLatin1String(model)),
                           manifest({"sha256:cfg", "sha256:shared", "sha256:" + QByteArray(model) + "-own"}));
        }
        // A manifest of another registry, which the list does not show, also needs the shared blob.
        home.writeFile(QStringLiteral(".ollama/models/manifests/mirror.example/library/a/latest"), manifest({"sha256:shared"}));
        HomeDeletion::giveToUnprivileged(home.path());
        const QString c = home.filePath(registry + QStringLiteral("library/c"));

        // Three models that share blobs, selected together; one of them cannot go.
        HomeDeletion deletion(home, front(terminal), cli);
        QVERIFY(HomeScan::same(deletion.listed(true), {QStringLiteral("Ollama [a:latest]"), QStringLiteral("Ollama [b:latest]"),
                                                       QStringLiteral("Ollama [c:latest]")}));
        modes.set(c, 0555);
        {
            const DeletionAudit audit({home.path()}, inHome(home, {registry + QStringLiteral("library/a/latest"), registry + QStringLiteral("library/b/latest"),
                                                                   blobs + QStringLiteral("sha256-a-own"), blobs + QStringLiteral("sha256-b-own")}));
            const QStringList shown = deletion.deleteModels({{QStringLiteral("ollama"), QStringLiteral("a:latest")},
                                                             {QStringLiteral("ollama"), QStringLiteral("b:latest")},
                                                             {QStringLiteral("ollama"), QStringLiteral("c:latest")}},
                                                            true);
            QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("2 of 3 models moved to Trash. 1 failed."),
                                                    QStringLiteral("c:latest - Failed to move latest to Trash: Permission denied")}));
            QVERIFY_AS_AUDITED(audit.problems());
        }

        // Once the last listed model goes, the config blob goes with it; the shared blob
        // stays for the other registry's manifest.
        QCOMPARE(::chmod(QFile::encodeName(c).constData(), 0755), 0);
        QVERIFY(HomeScan::same(deletion.listed(true), {QStringLiteral("Ollama [c:latest]")}));
        const DeletionAudit audit({home.path()}, inHome(home, {registry + QStringLiteral("library/c/latest"), blobs + QStringLiteral("sha256-c-own"),
                                                               blobs + QStringLiteral("sha256-cfg")}));
        QCOMPARE(deletion.deleteModels({{QStringLiteral("ollama"), QStringLiteral("c:latest")}}, true), QStringList());
        QCOMPARE(deletion.moved(), 1);
        QVERIFY_AS_AUDITED(audit.problems());
    }
};

QTEST_GUILESS_MAIN(TestDeletionFaults)
#include "tst_DeletionFaults.moc"
