#pragma once

#include <QDBusConnection>
#include <QObject>

// "Show in File Manager": asks the desktop's file manager to open the folder holding
// an item with the item selected (org.freedesktop.FileManager1.ShowItems over D-Bus,
// which Nautilus, Dolphin, Nemo, Caja and Thunar offer). Without such a file manager
// the item's folder is opened with the desktop's default handler instead. A path is
// only ever handed over as a file URL, never put into a command line.
class FileManagerReveal : public QObject
{
    Q_OBJECT
public:
    explicit FileManagerReveal(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    // Does nothing for an empty path.
    Q_INVOKABLE void reveal(const QString &path);

signals:
    // After the file manager accepted the request, or after the folder was opened instead.
    void revealed(const QString &path, bool byFileManager);

private:
    void openFolderOf(const QString &path);

    QDBusConnection m_bus;
};
