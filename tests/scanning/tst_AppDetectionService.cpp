#include "scanning/AppDetectionService.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {
QString q(const char *text) { return QString::fromUtf8(text); }

const ModelSourceDefinition &definition(SourceTool::Kind kind)
{
    return *ModelSourceDefinition::find(kind);
}

// A whole machine inside a temporary home: "root/..." stands for the system folders.
struct Machine
{
    TempHome home;
    AppSearchLocations locations;

    Machine()
    {
        auto at = [this](std::initializer_list<const char *> relatives) {
            QStringList paths;
            for (const char *relative : relatives)
                paths.append(home.filePath(q(relative)));
            return paths;
        };
        locations.home = home.path();
        locations.applicationFolders = at({"root/Applications", "Applications"});
        locations.executableFolders = at({"root/usr/local/bin", "root/usr/bin"});
        locations.packageFolders = at({"root/opt"});
        locations.appImageFolders = at({"Applications", ".local/bin", "root/opt"});
        locations.desktopEntryFolders = at({".local/share/applications", "root/usr/share/applications",
                                            ".local/share/flatpak/exports/share/applications"});
        locations.flatpakAppFolders = at({".local/share/flatpak/app", "root/var/lib/flatpak/app"});
        locations.snapFolders = at({"root/snap"});
        locations.otherRoots = at({"Desktop", "Downloads"});
        locations.mountParents = at({"root/Volumes", "root/media/user", "root/mnt"});
    }

    AppDetectionService service() const { return AppDetectionService(locations); }

    QString executable(const char *relative, bool runnable = true) const
    {
        const QString path = home.writeFile(q(relative), QByteArray("#!/bin/sh\n"));
        QFile::setPermissions(path, runnable ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                             : QFile::ReadOwner | QFile::WriteOwner);
        return path;
    }
};
} // namespace

class TestAppDetectionService : public QObject
{
    Q_OBJECT
private slots:
    void foundWhereInstallersPutProgramsAppImagesAndDesktopEntries()
    {
        Machine machine;
        const auto service = machine.service();
        machine.executable("root/usr/local/bin/ollama", false);
        machine.home.makeDir(q("root/usr/bin/ollama"));
        QVERIFY(!service.installedAppPath(definition(SourceTool::Kind::ollama)));
        // Installed as a link to the real program elsewhere.
        const QString real = machine.executable("root/usr/lib/ollama/ollama");
        QVERIFY(QFile::remove(machine.home.filePath(q("root/usr/local/bin/ollama"))));
        QVERIFY(QFile::link(real, machine.home.filePath(q("root/usr/local/bin/ollama"))));
        QCOMPARE(service.appPathInApplicationFolders(definition(SourceTool::Kind::ollama)),
                 machine.home.filePath(q("root/usr/local/bin/ollama")));

        const QString packaged = machine.executable("root/opt/LM-Studio/lm-studio");
        QCOMPARE(service.appPathInApplicationFolders(definition(SourceTool::Kind::lmStudio)), packaged);

        machine.home.writeFile(q("Applications/jan-0.5.AppImage.part"), 4);
        machine.home.writeFile(q("Applications/JAN-0.5.APPIMAGE"), 4);
        QVERIFY(!service.installedAppPath(definition(SourceTool::Kind::jan)));
        const QString onDisk = machine.home.writeFile(q("root/media/user/USB/Jan_0.6.1_amd64.AppImage"), 4);
        QCOMPARE(service.appPathInOtherLocations(definition(SourceTool::Kind::jan)), onDisk);
        const QString appImage = machine.home.writeFile(q("Applications/LM-Studio-0.3.5.AppImage"), 4);
        QVERIFY(QFile::remove(packaged));
        QCOMPARE(service.appPathInApplicationFolders(definition(SourceTool::Kind::lmStudio)), appImage);

        const QString installedChat = machine.executable("gpt4all/bin/chat");
        QCOMPARE(service.appPathInApplicationFolders(definition(SourceTool::Kind::gpt4All)), installedChat);

        // Desktop entries count unless their program is gone.
        const auto &jan = definition(SourceTool::Kind::jan);
        machine.home.writeFile(q(".local/share/applications/jan.desktop"),
                               QByteArray("[Desktop Entry]\nType=Application\nTryExec=jan-missing\nIcon=stale\n"));
        const QString system = machine.home.writeFile(
            q("root/usr/share/applications/jan.desktop"),
            QByteArray("# Jan\n[Desktop Entry]\nName=Jan\nExec=jan %U\nIcon = jan\nNoDisplay=true\n"
                       "[Desktop Action New]\nIcon=other\n"));
        QCOMPARE(service.appPathFromWorkspace(jan), system);
        QCOMPARE(service.desktopEntryIconName(jan), q("jan"));

        // The installer's entry points at its program by full path, quoted.
        const auto &gpt4All = definition(SourceTool::Kind::gpt4All);
        const QString chat = machine.home.filePath(q("gpt4 all/bin/chat"));
        const QString entry = machine.home.writeFile(
            q(".local/share/applications/GPT4All.desktop"),
            (q("[Desktop Entry]\nExec=\"") + chat + q("\"\nIcon=") + chat + q("-48.png\n")).toUtf8());
        QVERIFY(!service.appPathFromWorkspace(gpt4All));
        QVERIFY(!service.desktopEntryIconName(gpt4All));
        machine.executable("gpt4 all/bin/chat");
        QCOMPARE(service.appPathFromWorkspace(gpt4All), entry);
        QCOMPARE(service.desktopEntryIconName(gpt4All), chat + q("-48.png"));
    }

    void flatpakAndSnapInstallsCountInTheirTurn()
    {
        Machine machine;
        const auto service = machine.service();
        const auto &gpt4All = definition(SourceTool::Kind::gpt4All);
        machine.home.makeDir(q("root/var/lib/flatpak/app/io.gpt4all.gpt4all")); // left behind, empty
        QVERIFY(!service.installedAppPath(gpt4All));
        const QString arch = machine.home.makeDir(q("root/var/lib/flatpak/app/io.gpt4all.gpt4all/x86_64/stable"));
        QCOMPARE(service.appPathFromWorkspace(gpt4All), QFileInfo(arch).path());
        QVERIFY(QFile::link(q("x86_64/stable"),
                            machine.home.filePath(q("root/var/lib/flatpak/app/io.gpt4all.gpt4all/current"))));
        QCOMPARE(service.appPathFromWorkspace(gpt4All),
                 machine.home.filePath(q("root/var/lib/flatpak/app/io.gpt4all.gpt4all/current")));

        machine.home.writeFile(q(".local/share/flatpak/exports/share/applications/io.gpt4all.gpt4all.desktop"),
                               QByteArray("[Desktop Entry]\nExec=flatpak run io.gpt4all.gpt4all\n"
                                          "Icon=io.gpt4all.gpt4all\n"));
        QCOMPARE(service.desktopEntryIconName(gpt4All), q("io.gpt4all.gpt4all"));

        const QString snap = machine.home.makeDir(q("root/snap/ollama/current"));
        QCOMPARE(service.appPathFromWorkspace(definition(SourceTool::Kind::ollama)), snap);

        // The checks are asked in order: programs, then the workspace, then other places.
        const auto &ollama = definition(SourceTool::Kind::ollama);
        const QString third = machine.home.makeDir(q("Downloads/Ollama.app"));
        machine.home.writeFile(q("Downloads/Ollama.app/Contents/Info.plist"),
                               "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                               "<string>com.electron.ollama</string></dict></plist>");
        const QString first = machine.executable("root/usr/bin/ollama");
        QCOMPARE(service.installedAppPath(ollama), first);
        QVERIFY(QFile::remove(first));
        QCOMPARE(service.installedAppPath(ollama), snap);
        QVERIFY(QDir(machine.home.filePath(q("root/snap/ollama"))).removeRecursively());
        QCOMPARE(service.installedAppPath(ollama), third);
    }
};

QTEST_GUILESS_MAIN(TestAppDetectionService)
#include "tst_AppDetectionService.moc"
