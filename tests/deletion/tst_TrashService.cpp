#include "deletion/TrashService.h"
#include "support/ScratchDrive.h"
#include "support/TempHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

void writeAll(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(content), content.size());
}

bool existsAsItself(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

int modeOf(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

// Every name in a folder, hidden ones included.
QStringList listing(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

// What a link says, as written (a relative link is not resolved).
QString linkText(const QString &path)
{
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink(QFile::encodeName(path).constData(), buffer, sizeof buffer);
    return length < 0 ? QString() : QFile::decodeName(QByteArray(buffer, length));
}

QString uidText()
{
    return QString::number(::getuid());
}

// One trashed item as its record describes it.
struct TrashRecord
{
    QString entry;        // the name in files/ (and of the record without ".trashinfo")
    QByteArray rawPath;   // the Path= value as written
    QString path;         // decoded
    QString deletionDate; // as written
};

// The records of a trash folder, keyed by the decoded Path= value.
QMap<QString, TrashRecord> recordsIn(const QString &trash)
{
    QMap<QString, TrashRecord> records;
    const QString infoFolder = trash + QStringLiteral("/info");
    for (const QString &name : QDir(infoFolder).entryList({QStringLiteral("*.trashinfo")}, QDir::Files)) {
        TrashRecord record;
        record.entry = name.chopped(int(sizeof(".trashinfo") - 1));
        const QList<QByteArray> lines = readAll(infoFolder + QLatin1Char('/') + name).split('\n');
        if (lines.value(0) != "[Trash Info]")
            continue;
        for (const QByteArray &line : lines) {
            if (line.startsWith("Path="))
                record.rawPath = line.mid(5);
            else if (line.startsWith("DeletionDate="))
                record.deletionDate = QString::fromLatin1(line.mid(13));
        }
        record.path = QFile::decodeName(QByteArray::fromPercentEncoding(record.rawPath));
        records.insert(record.path, record);
    }
    return records;
}

struct ToolRun
{
    bool finished = false;
    int exitCode = -1;
    QString output;
    QString errors;
};

ToolRun runTool(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    ToolRun run;
    run.finished = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    run.exitCode = process.exitCode();
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

// trash-restore asks which item to put back; the only one under `original` is number 0.
ToolRun trashRestore(const QString &original)
{
    return runTool(QStringLiteral("trash-restore"), {original}, "0\n");
}

#define SKIP_WITHOUT_TRASH_CLI()                                                                   \
    if (QStandardPaths::findExecutable(QStringLiteral("trash-list")).isEmpty()                     \
        || QStandardPaths::findExecutable(QStringLiteral("trash-restore")).isEmpty())              \
        QSKIP("trash-cli (trash-list, trash-restore) is not installed: apt-get install trash-cli")

#define MOUNT_OR_SKIP(drive)                                                                       \
    const ScratchDrive drive(home.filePath(QStringLiteral("drive")), 16 << 20);                    \
    if (!drive.isMounted())                                                                        \
        QSKIP(qPrintable(drive.problem()))

} // namespace

class tst_TrashService : public QObject
{
    Q_OBJECT

private slots:
    void createsPrivateHomeTrashAndRecordsOrigin();
    void movesLinksAsLinks();
    void neverReplacesWhatTrashHolds();
    void shortensOnlyTheEntryOfLongNames();
    void otherDriveUsesItsOwnTrash_data();
    void otherDriveUsesItsOwnTrash();
    void unusableDriveTrashFailsWithoutMoving_data();
    void unusableDriveTrashFailsWithoutMoving();
};

void tst_TrashService::createsPrivateHomeTrashAndRecordsOrigin()
{
    TempHome home;
    // Neither the data folder nor the Trash exists yet.
    QVERIFY(!QFileInfo::exists(home.filePath(QStringLiteral(".local"))));
    const QString model = home.writeFile(QStringLiteral("models/llama 3 100% \u00fc.gguf"), "weights");
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);

    QVERIFY(!TrashService().moveToTrash({model}).has_value());

    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    const QString trash = TrashService::homeTrashPath();
    QCOMPARE(trash, home.filePath(QStringLiteral(".local/share/Trash")));
    for (const QString &folder : {trash, trash + QStringLiteral("/files"), trash + QStringLiteral("/info")})
        QCOMPARE(modeOf(folder), 0700);
    QCOMPARE(modeOf(home.filePath(QStringLiteral(".local"))), 0700);
    QVERIFY(!existsAsItself(model));

    const auto records = recordsIn(trash);
    QCOMPARE(records.size(), 1);
    const TrashRecord record = records.first();
    QCOMPARE(record.path, model);
    // The home trash records absolute, percent-encoded paths.
    QVERIFY(record.rawPath.startsWith('/'));
    QVERIFY(record.rawPath.endsWith("/llama%203%20100%25%20%C3%BC.gguf"));
    QCOMPARE(modeOf(trash + QStringLiteral("/info/") + record.entry + QStringLiteral(".trashinfo")) & 077, 0);
    // Local time, no zone, no fraction.
    const QDateTime deleted = QDateTime::fromString(record.deletionDate, QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
    QVERIFY2(deleted.isValid(), qPrintable(record.deletionDate));
    QVERIFY(deleted >= before && deleted <= after);
    QCOMPARE(readAll(trash + QStringLiteral("/files/") + record.entry), QByteArray("weights"));
}

void tst_TrashService::movesLinksAsLinks()
{
    TempHome home;
    home.writeFile(QStringLiteral("store/blob/data.bin"), "target data");
    const QString link = home.filePath(QStringLiteral("models/linked"));
    home.makeDir(QStringLiteral("models"));
    QVERIFY(QFile::link(QStringLiteral("../store/blob"), link));

    QVERIFY(!TrashService().moveToTrash({link}).has_value());

    const QString files = TrashService::homeTrashPath() + QStringLiteral("/files/");
    QCOMPARE(linkText(files + QStringLiteral("linked")), QStringLiteral("../store/blob"));
    QVERIFY(!existsAsItself(link));
    // The folder the link pointed at is untouched.
    QCOMPARE(readAll(home.filePath(QStringLiteral("store/blob/data.bin"))), QByteArray("target data"));
    QCOMPARE(listing(home.filePath(QStringLiteral("store/blob"))), QStringList{QStringLiteral("data.bin")});
}

void tst_TrashService::neverReplacesWhatTrashHolds()
{
    TempHome home;
    const QString trash = TrashService::homeTrashPath();
    // Left-overs of other programs: an entry whose record is gone, and a record whose entry is gone.
    writeAll(trash + QStringLiteral("/files/model.gguf.2"), "orphan");
    writeAll(trash + QStringLiteral("/info/model.gguf.3.trashinfo"), "[Trash Info]\nPath=/elsewhere/model.gguf\n");
    const QString a = home.writeFile(QStringLiteral("a/model.gguf"), "A");
    const QString b = home.writeFile(QStringLiteral("b/model.gguf"), "B");
    const QString c = home.writeFile(QStringLiteral("c/model.gguf"), "C");

    QVERIFY(!TrashService().moveToTrash({a, b, c}).has_value());

    QCOMPARE(readAll(trash + QStringLiteral("/files/model.gguf.2")), QByteArray("orphan"));
    const auto records = recordsIn(trash);
    QCOMPARE(records.size(), 4);
    QCOMPARE(records.value(QStringLiteral("/elsewhere/model.gguf")).entry, QStringLiteral("model.gguf.3"));
    QSet<QString> entries;
    for (const auto &[original, content] : {std::pair{a, "A"}, std::pair{b, "B"}, std::pair{c, "C"}}) {
        QVERIFY2(records.contains(original), qPrintable(original));
        const QString entry = records.value(original).entry;
        QCOMPARE(readAll(trash + QStringLiteral("/files/") + entry), QByteArray(content));
        entries.insert(entry);
    }
    QCOMPARE(entries.size(), 3);
    QCOMPARE(listing(trash + QStringLiteral("/files")).size(), 4);
}

void tst_TrashService::shortensOnlyTheEntryOfLongNames()
{
    TempHome home;
    // 250 bytes: fits a folder, but not with ".trashinfo" appended.
    const QString name = QString(123, QChar(0x00e9)) + QStringLiteral(".bin");
    QCOMPARE(QFile::encodeName(name).size(), 250);
    const QString model = home.writeFile(QStringLiteral("models/") + name, "long");

    QVERIFY(!TrashService().moveToTrash({model}).has_value());

    const auto records = recordsIn(TrashService::homeTrashPath());
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.firstKey(), model);
    const QByteArray entry = QFile::encodeName(records.first().entry);
    QVERIFY(entry.size() <= NAME_MAX - 10);
    QVERIFY(QString::fromUtf8(entry).toUtf8() == entry); // cut between characters
    QCOMPARE(readAll(TrashService::homeTrashPath() + QStringLiteral("/files/") + records.first().entry),
             QByteArray("long"));
}

void tst_TrashService::otherDriveUsesItsOwnTrash_data()
{
    QTest::addColumn<QString>("sharedTrash");  // what `.Trash` is at the top of the drive
    QTest::addColumn<QString>("expectedTrash"); // relative to the top of the drive

    const QString own = QStringLiteral(".Trash-") + uidText();
    QTest::newRow("no shared trash") << QString() << own;
    QTest::newRow("sticky shared trash") << QStringLiteral("sticky") << QStringLiteral(".Trash/") + uidText();
    QTest::newRow("shared trash without sticky bit") << QStringLiteral("plain") << own;
    QTest::newRow("shared trash is a link") << QStringLiteral("link") << own;
}

void tst_TrashService::otherDriveUsesItsOwnTrash()
{
    QFETCH(QString, sharedTrash);
    QFETCH(QString, expectedTrash);
    TempHome home;
    MOUNT_OR_SKIP(drive);

    const QString shared = drive.filePath(QStringLiteral(".Trash"));
    if (sharedTrash == QLatin1String("sticky") || sharedTrash == QLatin1String("plain")) {
        QVERIFY(QDir().mkdir(shared));
        QCOMPARE(::chmod(QFile::encodeName(shared).constData(), sharedTrash == QLatin1String("sticky") ? 01777 : 0777), 0);
    } else if (sharedTrash == QLatin1String("link")) {
        const QString real = drive.filePath(QStringLiteral("sticky-elsewhere"));
        QVERIFY(QDir().mkdir(real));
        QCOMPARE(::chmod(QFile::encodeName(real).constData(), 01777), 0);
        QVERIFY(QFile::link(real, shared));
    }
    const QString model = drive.filePath(QStringLiteral("models/llama 3.gguf"));
    writeAll(model, "on another drive");

    QVERIFY(!TrashService().moveToTrash({model}).has_value());

    const QString trash = drive.filePath(expectedTrash);
    QCOMPARE(readAll(trash + QStringLiteral("/files/llama 3.gguf")), QByteArray("on another drive"));
    QCOMPARE(modeOf(trash), 0700);
    const auto records = recordsIn(trash);
    QCOMPARE(records.size(), 1);
    // Recorded below the top of the drive, so it survives a different mount point.
    QCOMPARE(records.first().rawPath, QByteArray("models/llama%203.gguf"));
    QVERIFY(!QFileInfo::exists(TrashService::homeTrashPath()));
    QCOMPARE(listing(drive.filePath(QStringLiteral("models"))), QStringList());

    SKIP_WITHOUT_TRASH_CLI();
    const QString listed = runTool(QStringLiteral("trash-list"), {}).output;
    QVERIFY2(listed.contains(model), qPrintable(listed));
    const ToolRun run = trashRestore(model);
    QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.output + run.errors));
    QCOMPARE(readAll(model), QByteArray("on another drive"));
}

void tst_TrashService::unusableDriveTrashFailsWithoutMoving_data()
{
    QTest::addColumn<QString>("situation");
    QTest::addColumn<QString>("reason");

    QTest::newRow("read-only drive") << QStringLiteral("read-only") << QStringLiteral("Read-only file system");
    QTest::newRow("full drive: no room for the record") << QStringLiteral("full") << QStringLiteral("No space left on device");
    QTest::newRow("read-only drive with a trash")
        << QStringLiteral("read-only with trash") << QStringLiteral("Read-only file system");
    QTest::newRow("own trash is a link") << QStringLiteral("link")
                                         << QStringLiteral("The Trash folder on its drive is not safe to use");
    QTest::newRow("own trash of another user")
        << QStringLiteral("foreign") << QStringLiteral("The Trash folder on its drive is not safe to use");
}

void tst_TrashService::unusableDriveTrashFailsWithoutMoving()
{
    QFETCH(QString, situation);
    QFETCH(QString, reason);
    TempHome home;
    MOUNT_OR_SKIP(drive);

    const QString model = drive.filePath(QStringLiteral("models/kept.gguf"));
    writeAll(model, "must stay");
    const QString ownTrash = drive.filePath(QStringLiteral(".Trash-") + uidText());
    const QString decoy = drive.filePath(QStringLiteral("decoy"));
    QVERIFY(QDir().mkpath(decoy));
    if (situation == QLatin1String("read-only with trash") || situation == QLatin1String("full"))
        QVERIFY(QDir().mkpath(ownTrash + QStringLiteral("/files")) && QDir().mkpath(ownTrash + QStringLiteral("/info")));
    if (situation.startsWith(QLatin1String("read-only")) && !drive.remountReadOnly())
        QSKIP("the test drive cannot be remounted read-only here");
    if (situation == QLatin1String("link"))
        QVERIFY(QFile::link(decoy, ownTrash));
    if (situation == QLatin1String("full"))
        QVERIFY(drive.fill(drive.filePath(QStringLiteral("filler")), 0));
    if (situation == QLatin1String("foreign")) {
        QVERIFY(QDir().mkdir(ownTrash));
        QCOMPARE(::chown(QFile::encodeName(ownTrash).constData(), ::getuid() + 1, ::getgid()), 0);
    }

    const auto error = TrashService().moveToTrash({model});

    QVERIFY(error.has_value());
    QCOMPARE(error->reason(), reason);
    QCOMPARE(error->description(), QStringLiteral("Failed to move kept.gguf to Trash: ") + reason);
    QCOMPARE(readAll(model), QByteArray("must stay"));
    // Never sent to the home trash on another drive, never into the link's target.
    QVERIFY(!QFileInfo::exists(TrashService::homeTrashPath()));
    QVERIFY(listing(decoy).isEmpty());
    QVERIFY(listing(ownTrash + QStringLiteral("/info")).isEmpty()); // not even half a record
    QCOMPARE(listing(drive.filePath(QStringLiteral("models"))), QStringList{QStringLiteral("kept.gguf")});
}

QTEST_GUILESS_MAIN(tst_TrashService)
#include "tst_TrashService.moc"
