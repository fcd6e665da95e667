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

int modeOf(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

// Every name in a folder, hidden ones included.
QStringList listing(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// One trashed item as its record describes it.
struct TrashRecord
{
    QString entry;        // the name in files/ (and of the record without ".trashinfo")
    QByteArray rawPath;   // the Path= value as written
    QString deletionDate; // as written
};

// The records of a trash folder, keyed by the decoded Path= value.
QMap<QString, TrashRecord> recordsIn(const QString &trash)
{
    QMap<QString, TrashRecord> records;
    const QString infoFolder = trash + QStringLiteral("/info/");
    for (const QString &name : QDir(infoFolder).entryList({QStringLiteral("*.trashinfo")}, QDir::Files)) {
        const QList<QByteArray> lines = readAll(infoFolder + name).split('\n');
        if (lines.value(0) != "[Trash Info]" || !lines.value(1).startsWith("Path=") || !lines.value(2).startsWith("DeletionDate="))
            continue;
        const TrashRecord record{name.chopped(10), lines[1].mid(5), QString::fromLatin1(lines[2].mid(13))};
        records.insert(QFile::decodeName(QByteArray::fromPercentEncoding(record.rawPath)), record);
    }
    return records;
}

#define MOUNT_OR_SKIP(drive)                                                                       \
    const ScratchDrive drive(home.filePath(QStringLiteral("drive")), 16 << 20);                    \
    if (!drive.isMounted())                                                                        \
        QSKIP(qPrintable(drive.problem()))

} // namespace

class tst_TrashService : public QObject
{
    Q_OBJECT

private slots:
    // Names that need encoding, names too long for a record, and links, into a home
    // Trash that does not exist yet.
    void homeTrashRecordsEachItemAndReplacesNothing()
    {
        TempHome home;
        QVERIFY(!QFileInfo::exists(home.filePath(QStringLiteral(".local"))));
        // 250 bytes: fits a folder, but not with ".trashinfo" appended.
        const QString longName = QString(123, QChar(0x00e9)) + QStringLiteral(".bin");
        const QString encoded = home.writeFile(QStringLiteral("models/llama 3 100% \u00fc.gguf"), "weights");
        const QString longOne = home.writeFile(QStringLiteral("models/") + longName, "long");
        home.writeFile(QStringLiteral("store/blob/data.bin"), "target data");
        const QString link = home.filePath(QStringLiteral("models/linked"));
        QVERIFY(QFile::link(QStringLiteral("../store/blob"), link));
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);

        QVERIFY(!TrashService().moveToTrash({encoded, longOne, link}).has_value());

        const QDateTime after = QDateTime::currentDateTime().addSecs(1);
        const QString trash = TrashService::homeTrashPath();
        QCOMPARE(trash, home.filePath(QStringLiteral(".local/share/Trash")));
        for (const QString &folder : {trash, trash + QStringLiteral("/files"), trash + QStringLiteral("/info")})
            QCOMPARE(modeOf(folder), 0700);
        QCOMPARE(modeOf(home.filePath(QStringLiteral(".local"))), 0700);
        QCOMPARE(listing(home.filePath(QStringLiteral("models"))), QStringList());

        const auto records = recordsIn(trash);
        QStringList moved{encoded, longOne, link};
        moved.sort();
        QCOMPARE(records.keys(), moved);
        // The home trash records absolute, percent-encoded paths, in local time without a zone.
        QVERIFY(records[encoded].rawPath.startsWith('/'));
        QVERIFY(records[encoded].rawPath.endsWith("/llama%203%20100%25%20%C3%BC.gguf"));
        QCOMPARE(modeOf(trash + QStringLiteral("/info/") + records[encoded].entry + QStringLiteral(".trashinfo")) & 077, 0);
        const QDateTime deleted = QDateTime::fromString(records[encoded].deletionDate, QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
        QVERIFY2(deleted >= before && deleted <= after, qPrintable(records[encoded].deletionDate));
        QCOMPARE(readAll(trash + QStringLiteral("/files/") + records[encoded].entry), QByteArray("weights"));

        // Only the entry of a long name is shortened, between characters.
        const QByteArray entry = QFile::encodeName(records[longOne].entry);
        QVERIFY(entry.size() <= NAME_MAX - 10);
        QVERIFY(QString::fromUtf8(entry).toUtf8() == entry);
        QCOMPARE(readAll(trash + QStringLiteral("/files/") + records[longOne].entry), QByteArray("long"));

        // A link moves as the link, its text as written; what it pointed at is untouched.
        QCOMPARE(QDir(trash + QStringLiteral("/files")).relativeFilePath(QFileInfo(trash + QStringLiteral("/files/linked")).symLinkTarget()),
                 QStringLiteral("../store/blob"));
        QCOMPARE(listing(home.filePath(QStringLiteral("store/blob"))), QStringList{QStringLiteral("data.bin")});

        // What the Trash holds is never replaced, not even left-overs of other programs:
        // an entry whose record is gone, and a record whose entry is gone.
        home.writeFile(QStringLiteral(".local/share/Trash/files/model.gguf.2"), "orphan");
        home.writeFile(QStringLiteral(".local/share/Trash/info/model.gguf.3.trashinfo"),
                       "[Trash Info]\nPath=/elsewhere/model.gguf\nDeletionDate=2020-01-01T00:00:00\n");
        QStringList sameName;
        for (const char *folder : {"a", "b", "c"})
            sameName << home.writeFile(QLatin1String(folder) + QStringLiteral("/model.gguf"), QByteArray(folder));
        QVERIFY(!TrashService().moveToTrash(sameName).has_value());
        QCOMPARE(readAll(trash + QStringLiteral("/files/model.gguf.2")), QByteArray("orphan"));
        const auto all = recordsIn(trash);
        QCOMPARE(all.size(), 7);
        QCOMPARE(all.value(QStringLiteral("/elsewhere/model.gguf")).entry, QStringLiteral("model.gguf.3"));
        for (const QString &original : sameName)
            QCOMPARE(readAll(trash + QStringLiteral("/files/") + all.value(original).entry), QFile::encodeName(QFileInfo(original).dir().dirName()));
        QCOMPARE(listing(trash + QStringLiteral("/files")).size(), 7);
    }

    void otherDriveUsesItsOwnTrash_data()
    {
        QTest::addColumn<QString>("sharedTrash");   // what `.Trash` is at the top of the drive
        QTest::addColumn<QString>("expectedTrash"); // relative to the top of the drive
        const QString uid = QString::number(::getuid());
        QTest::newRow("no shared trash") << QString() << QStringLiteral(".Trash-") + uid;
        QTest::newRow("sticky shared trash") << QStringLiteral("sticky") << QStringLiteral(".Trash/") + uid;
        QTest::newRow("shared trash without sticky bit") << QStringLiteral("plain") << QStringLiteral(".Trash-") + uid;
        QTest::newRow("shared trash is a link") << QStringLiteral("link") << QStringLiteral(".Trash-") + uid;
    }
    void otherDriveUsesItsOwnTrash()
    {
        QFETCH(QString, sharedTrash);
        QFETCH(QString, expectedTrash);
        TempHome home;
        MOUNT_OR_SKIP(drive);

        const QString shared = drive.filePath(QStringLiteral(".Trash"));
        const QString sticky = sharedTrash == QLatin1String("link") ? drive.filePath(QStringLiteral("sticky-elsewhere")) : shared;
        if (!sharedTrash.isEmpty()) {
            QVERIFY(QDir().mkdir(sticky));
            QCOMPARE(::chmod(QFile::encodeName(sticky).constData(), sharedTrash == QLatin1String("plain") ? 0777 : 01777), 0);
        }
        if (sharedTrash == QLatin1String("link"))
            QVERIFY(QFile::link(sticky, shared));
        const QString model = home.writeFile(QStringLiteral("drive/models/llama 3.gguf"), "on another drive");

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

        // The desktop's own tools list it and put it back.
        if (QStandardPaths::findExecutable(QStringLiteral("trash-restore")).isEmpty())
            QSKIP("trash-cli is not installed: apt-get install trash-cli");
        QProcess restore;
        restore.start(QStringLiteral("trash-restore"), {model});
        restore.write("0\n"); // the only item there is number 0
        restore.closeWriteChannel();
        QVERIFY(restore.waitForFinished(60000));
        QCOMPARE(readAll(model), QByteArray("on another drive"));
    }

    void unusableDriveTrashFailsWithoutMoving_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("reason");
        const QString unsafe = QStringLiteral("The Trash folder on its drive is not safe to use");
        QTest::newRow("read-only drive") << QStringLiteral("read-only") << QStringLiteral("Read-only file system");
        QTest::newRow("full drive: no room for the record") << QStringLiteral("full") << QStringLiteral("No space left on device");
        QTest::newRow("read-only drive with a trash") << QStringLiteral("read-only with trash") << QStringLiteral("Read-only file system");
        QTest::newRow("own trash is a link") << QStringLiteral("link") << unsafe;
        QTest::newRow("own trash of another user") << QStringLiteral("foreign") << unsafe;
    }
    void unusableDriveTrashFailsWithoutMoving()
    {
        QFETCH(QString, situation);
        QFETCH(QString, reason);
        TempHome home;
        MOUNT_OR_SKIP(drive);

        const QString model = home.writeFile(QStringLiteral("drive/models/kept.gguf"), "must stay");
        const QString ownTrash = drive.filePath(QStringLiteral(".Trash-") + QString::number(::getuid()));
        const QString decoy = home.makeDir(QStringLiteral("drive/decoy"));
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
        QCOMPARE(error->description(), QStringLiteral("Failed to move kept.gguf to Trash: ") + reason);
        QCOMPARE(readAll(model), QByteArray("must stay"));
        // Never sent to the home trash on another drive, never into the link's target.
        QVERIFY(!QFileInfo::exists(TrashService::homeTrashPath()));
        QVERIFY(listing(decoy).isEmpty());
        QVERIFY(listing(ownTrash + QStringLiteral("/info")).isEmpty()); // not even half a record
    }
};

QTEST_GUILESS_MAIN(tst_TrashService)
#include "tst_TrashService.moc"
