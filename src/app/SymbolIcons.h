#pragma once

#include <QString>
#include <QStringList>

// The window names its icons by symbol ("externaldrive", "trash", ...). On the Linux
// desktop each symbol is drawn from the icon theme under a freedesktop icon name;
// this table is the one place where that choice is made.
//
//   symbol                         icon-theme names, first found wins
//   externaldrive                  drive-harddisk-symbolic, drive-harddisk
//   cpu                            application-x-firmware-symbolic (a chip), cpu
//   trash                          user-trash-symbolic, user-trash
//   exclamationmark.triangle       dialog-warning-symbolic, dialog-warning
//   exclamationmark.triangle.fill  dialog-warning-symbolic, dialog-warning
//   magnifyingglass                system-search-symbolic, edit-find
//   folder                         folder-symbolic, folder
//   folder.badge.plus              folder-new-symbolic, folder-new
//   folder.open                    folder-open-symbolic, document-open
//   arrow.clockwise                view-refresh-symbolic, view-refresh
//   arrow.counterclockwise         edit-undo-symbolic, edit-undo
//   checkmark.seal                 emblem-ok-symbolic, emblem-default
//   checkmark.circle               emblem-default-symbolic, emblem-default
//   doc.on.doc                     edit-copy-symbolic, edit-copy
//   questionmark.app.dashed        application-x-executable-symbolic, application-x-executable
//   minus.circle                   list-remove-symbolic, list-remove
//   minus.circle.fill              list-remove-symbolic, list-remove
//   plus                           list-add-symbolic, list-add
//   gearshape                      preferences-system-symbolic, preferences-system
//   sparkles                       starred-symbolic, starred
//   info.circle                    help-about-symbolic, help-about
//   book                           help-browser-symbolic, help-browser
namespace SymbolIcons {
// The icon-theme names for a symbol, most preferred first; empty for an unknown symbol.
QStringList themeNames(const QString &symbol);
// Every symbol of the table, for checks that the theme can draw them all.
QStringList symbols();
}
