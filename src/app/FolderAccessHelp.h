#pragma once

#include <QObject>

// What the folder access help tells a person whose scan was limited. On Linux an
// unreadable model folder usually belongs to a service user (the system Ollama store
// belongs to "ollama"); joining that user's group and logging in again lets Stashwell
// read it. Nothing here changes any permission: it only names the group and the command.
class FolderAccessHelp : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // The group owning the deepest existing folder on the way to `folder` that can be
    // examined, or empty when that is root's group or nothing can be examined.
    Q_INVOKABLE QString owningGroup(const QString &folder) const;
    // "sudo usermod -aG <group> $USER", or empty when no group is worth joining.
    Q_INVOKABLE QString joinGroupCommand(const QString &folder) const;
};
