#include "app/FileManagerReveal.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace {
constexpr int fileManagerTimeoutMs = 5000;
}

FileManagerReveal::FileManagerReveal(QDBusConnection bus, QObject *parent) : QObject(parent), m_bus(std::move(bus)) {}

void FileManagerReveal::reveal(const QString &path)
{
    if (path.isEmpty())
        return;
    if (!m_bus.isConnected()) {
        openFolderOf(path);
        return;
    }
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    message << QStringList{QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)} << QString();
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, fileManagerTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, path] {
        watcher->deleteLater();
        if (watcher->isError()) {
            openFolderOf(path);
            return;
        }
        emit revealed(path, true);
    });
}

void FileManagerReveal::openFolderOf(const QString &path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
    emit revealed(path, false);
}
