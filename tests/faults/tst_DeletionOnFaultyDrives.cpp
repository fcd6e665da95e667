#include "preferences/PersistenceService.h"
#include "support/DeletionAudit.h"
#include "support/HomeDeletion.h"
#include "support/HomeScan.h"
#include "support/ScratchDrive.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {
const QString registry = QStringLiteral(".ollama/models/manifests/registry.ollama.ai/");
const QString blobs = QStringLiteral(".ollama/models/blobs/");
const QString cli = QStringLiteral(STASHWELL_CLI_PATH);
constexpr qint64 driveSize = 256 * 1024;

using Front = HomeDeletion::Front;

QByteArray manifest(const QList<QByteArray> &digests)
{
    QByteArray text = R"({"config":{"mediaType":"c","digest":")" + digests.first() + R"(","size":1},"layers":[)";
    for (qsizetype i = 1; i < digests.size(); ++i)
        text += (i > 1 ? "," : "") + QByteArray(R"({"mediaType":"m","digest":")") + digests[i] + R"(","size":10})";
    return text + "]}";
}

// The files of a model in the order a scan of the home lists them, which is the order
// a deletion moves them in.
QStringList filesInScanOrder(const TempHome &home, const QString &name)
{
    for (const DetectedModel &model : HomeScan(home, cli).scanner().scanAll()) {
        if (model.displayName == name)
            return model.filePaths;
    }
    return {};
}

// The Trash folders a drive gets from its first deletion, made beforehand so that a
// drive filled afterwards has its last pages for the deletion's records alone.
void makeDriveTrash(const QString &top)
{
    const QString trash = top + QStringLiteral("/.Trash-") + QString::number(::getuid());
    for (const QString &folder : {trash, trash + QStringLiteral("/files"), trash + QStringLiteral("/info")}) {
        QVERIFY(QDir().mkdir(folder));
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0700), 0);
    }
}
} // namespace

// Deleting models that lie on drives that refuse: one mounted read-only, one so full that
// the Trash's record of an item cannot be written. LM Studio's and Ollama's stores are
// each put on a small drive of their own, whose Trash is at the drive's top; the home is
// on another. Whatever could not be moved stays where it was, nothing half-written is
// left in a Trash, and the person reads the system's reason.
class TestDeletionOnFaultyDrives : public QObject
{
    Q_OBJECT

private slots:
    void readOnlyDrivesMoveNothing_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::newRow("window") << false;
        QTest::newRow("terminal") << true;
    }
    void readOnlyDrivesMoveNothing()
    {
        QFETCH(bool, terminal);
        TempHome home;
        const ScratchDrive lmStudio(home.filePath(QStringLiteral(".lmstudio/models")), driveSize);
        if (!lmStudio.isMounted())
            QSKIP(qPrintable(lmStudio.problem()));
        const ScratchDrive ollama(home.filePath(QStringLiteral(".ollama/models")), driveSize);
        QVERIFY(ollama.isMounted());
        home.writeFile(QStringLiteral(".lmstudio/models/pub/solo/w.gguf"), 5);
        home.writeFile(blobs + QStringLiteral("sha256-cfg"), 1);
        home.writeFile(blobs + QStringLiteral("sha256-own"), 10);
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:cfg", "sha256:own"}));
        home.writeFile(QStringLiteral("Models/ok.gguf"), 3);
        PersistenceService().save({home.filePath(QStringLiteral("Models"))});
        if (!lmStudio.remountReadOnly() || !ollama.remountReadOnly())
            QSKIP("the test drives cannot be remounted read-only here");

        HomeDeletion deletion(home, terminal ? Front::terminal : Front::window, cli);
        const QStringList listed{QStringLiteral("Ollama [m:latest]"), QStringLiteral("LM Studio [solo]"), QStringLiteral("Models [ok]")};
        QVERIFY(HomeScan::same(deletion.listed(), listed));
        const DeletionAudit audit({home.path(), lmStudio.path(), ollama.path()}, {home.filePath(QStringLiteral("Models/ok.gguf"))});
        const QStringList shown = deletion.deleteModels({{QStringLiteral("lmStudio"), QStringLiteral("solo")},
                                                         {QStringLiteral("ollama"), QStringLiteral("m:latest")},
                                                         {QStringLiteral("custom"), QStringLiteral("ok")}});
        QVERIFY(HomeDeletion::sameAlert(shown, {QStringLiteral("1 of 3 models moved to Trash. 2 failed."),
                                                QStringLiteral("m:latest - Failed to move latest to Trash: Read-only file system"),
                                                QStringLiteral("solo - Failed to move w.gguf to Trash: Read-only file system")}));
        QVERIFY_AS_AUDITED(audit.problems());
        QVERIFY(HomeScan::same(deletion.listed(), listed.first(2)));
    }

    void fullDrives_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("store");
        QTest::addColumn<int>("pagesLeft");
        for (const bool terminal : {false, true}) {
            const char *front = terminal ? "terminal" : "window";
            QTest::addRow("%s: LM Studio drive without room", front) << terminal << QStringLiteral("lmStudio") << 0;
            QTest::addRow("%s: LM Studio drive with room for one record", front) << terminal << QStringLiteral("lmStudio") << 1;
            QTest::addRow("%s: Ollama drive with room for one record", front) << terminal << QStringLiteral("ollama") << 1;
        }
    }
    void fullDrives()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, store);
        QFETCH(int, pagesLeft);
        TempHome home;
        const bool onOllama = store == QLatin1String("ollama");
        const ScratchDrive drive(home.filePath(onOllama ? QStringLiteral(".ollama/models") : QStringLiteral(".lmstudio/models")), driveSize);
        if (!drive.isMounted())
            QSKIP(qPrintable(drive.problem()));
        home.writeFile(QStringLiteral(".lmstudio/models/pub/solo/w.gguf"), 5);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/pair/x.gguf"), 6);
        home.writeFile(QStringLiteral(".lmstudio/models/pub/pair/y.gguf"), 7);
        home.writeFile(blobs + QStringLiteral("sha256-cfg"), 1);
        home.writeFile(blobs + QStringLiteral("sha256-own"), 10);
        home.writeFile(registry + QStringLiteral("library/m/latest"), manifest({"sha256:cfg", "sha256:own"}));
        if (pagesLeft > 0)
            makeDriveTrash(drive.path());
        QVERIFY(drive.fill(drive.path() + QStringLiteral("/filler"), pagesLeft));
        const QStringList pair = filesInScanOrder(home, QStringLiteral("pair"));
        QCOMPARE(pair.size(), 2);
        const auto name = [](const QString &path) { return QFileInfo(path).fileName(); };

        // Without room nothing moves. With room for one record, the first item goes with it
        // and the next one finds no room: for Ollama that is the manifest before its blobs.
        QList<HomeDeletion::Pick> picks;
        QStringList expectedMoves;
        QStringList expected{QStringLiteral("No models were moved to Trash")};
        if (onOllama) {
            picks = {{QStringLiteral("ollama"), QStringLiteral("m:latest")}};
            expectedMoves = {home.filePath(registry + QStringLiteral("library/m/latest"))};
            expected << QStringLiteral("m:latest - Failed to move sha256-cfg to Trash: No space left on device");
        } else if (pagesLeft == 0) {
            picks = {{QStringLiteral("lmStudio"), QStringLiteral("solo")}, {QStringLiteral("lmStudio"), QStringLiteral("pair")}};
            expected << QStringLiteral("solo - Failed to move w.gguf to Trash: No space left on device")
                     << QStringLiteral("pair - Failed to move %1 to Trash: No space left on device").arg(name(pair[0]));
        } else {
            picks = {{QStringLiteral("lmStudio"), QStringLiteral("pair")}};
            expectedMoves = {pair[0]};
            expected << QStringLiteral("pair - Failed to move %1 to Trash: No space left on device").arg(name(pair[1]));
        }

        HomeDeletion deletion(home, terminal ? Front::terminal : Front::window, cli);
        QVERIFY(HomeScan::same(deletion.listed(), {QStringLiteral("Ollama [m:latest]"), QStringLiteral("LM Studio [solo]"),
                                                   QStringLiteral("LM Studio [pair]")}));
        const DeletionAudit audit({home.path(), drive.path()}, expectedMoves);
        QVERIFY(HomeDeletion::sameAlert(deletion.deleteModels(picks), expected));
        QVERIFY_AS_AUDITED(audit.problems());
    }
};

QTEST_GUILESS_MAIN(TestDeletionOnFaultyDrives)
#include "tst_DeletionOnFaultyDrives.moc"
