#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <sys/types.h>
#include <variant>

// Where one item went: its original path, its entry in files/ and its record in info/.
struct TrashedItem
{
    QString originalPath;
    QString entryPath;
    QString recordPath;
};

// One freedesktop.org trash folder, with its files/ and info/ folders, that takes
// the items of one drive. Items only ever enter it by a rename on that drive: an
// item is never copied to another drive and never removed any other way.
class TrashCan
{
public:
    // `$XDG_DATA_HOME/Trash`, by default ~/.local/share/Trash.
    static QString homePath();

    // The trash for an item on `device` whose parent folder's real path is `realParent`:
    // the home trash when it lives on that drive, otherwise `.Trash/$uid` (only under a
    // sticky, real `.Trash` folder) or else `.Trash-$uid` at the top of the drive.
    // Missing trash folders are created with mode 0700. Gives the reason when no trash
    // on the item's own drive can be used.
    static std::variant<TrashCan, QString> forItemOn(dev_t device, const QString &realParent);

    // Records where the item at `originalPath` (real parent folder plus the item's own
    // name) came from, then renames the item itself into files/ under a name not in use.
    // The record is written under a hidden temporary name, flushed, and linked into place,
    // so a record is whole or absent; it exists before the item arrives, so no item is
    // ever in files/ without one. Gives the reason when it fails; the item then stays
    // where it was and no record of it is left.
    std::variant<TrashedItem, QString> take(const QString &originalPath) const;

    // Renames a taken item back to its original place (never over something that has
    // appeared there) and removes its record. Gives the reason when it cannot.
    static std::optional<QString> putBack(const TrashedItem &item);

    // Removes temporary records this program left in info/ when it was stopped between
    // writing one and linking it into place: those of processes that are gone, or older
    // than a minute.
    void removeStaleRecords() const;

    QString path() const { return m_path; }

private:
    TrashCan(const QString &path, const QString &topFolder);
    QByteArray infoFor(const QString &originalPath) const;

    QString m_path;
    QString m_topFolder; // empty for the home trash, which records absolute paths
};
