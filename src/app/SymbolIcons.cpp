#include "app/SymbolIcons.h"


namespace {
const QList<std::pair<QString, QStringList>> &table()
{
    static const QList<std::pair<QString, QStringList>> entries = {
        {QStringLiteral("externaldrive"), {QStringLiteral("drive-harddisk-symbolic"), QStringLiteral("drive-harddisk")}},
        {QStringLiteral("cpu"), {QStringLiteral("application-x-firmware-symbolic"), QStringLiteral("cpu")}},
        {QStringLiteral("trash"), {QStringLiteral("user-trash-symbolic"), QStringLiteral("user-trash")}},
        {QStringLiteral("exclamationmark.triangle"), {QStringLiteral("dialog-warning-symbolic"), QStringLiteral("dialog-warning")}},
        {QStringLiteral("exclamationmark.triangle.fill"), {QStringLiteral("dialog-warning-symbolic"), QStringLiteral("dialog-warning")}},
        {QStringLiteral("magnifyingglass"), {QStringLiteral("system-search-symbolic"), QStringLiteral("edit-find")}},
        {QStringLiteral("folder"), {QStringLiteral("folder-symbolic"), QStringLiteral("folder")}},
        {QStringLiteral("folder.badge.plus"), {QStringLiteral("folder-new-symbolic"), QStringLiteral("folder-new")}},
        {QStringLiteral("folder.open"), {QStringLiteral("folder-open-symbolic"), QStringLiteral("document-open")}},
        {QStringLiteral("arrow.clockwise"), {QStringLiteral("view-refresh-symbolic"), QStringLiteral("view-refresh")}},
        {QStringLiteral("arrow.counterclockwise"), {QStringLiteral("edit-undo-symbolic"), QStringLiteral("edit-undo")}},
        {QStringLiteral("checkmark.seal"), {QStringLiteral("emblem-ok-symbolic"), QStringLiteral("emblem-default")}},
        {QStringLiteral("checkmark.circle"), {QStringLiteral("emblem-default-symbolic"), QStringLiteral("emblem-default")}},
        {QStringLiteral("doc.on.doc"), {QStringLiteral("edit-copy-symbolic"), QStringLiteral("edit-copy")}},
        {QStringLiteral("questionmark.app.dashed"), {QStringLiteral("application-x-executable-symbolic"), QStringLiteral("application-x-executable")}},
        {QStringLiteral("minus.circle"), {QStringLiteral("list-remove-symbolic"), QStringLiteral("list-remove")}},
        {QStringLiteral("minus.circle.fill"), {QStringLiteral("list-remove-symbolic"), QStringLiteral("list-remove")}},
        {QStringLiteral("plus"), {QStringLiteral("list-add-symbolic"), QStringLiteral("list-add")}},
        {QStringLiteral("gearshape"), {QStringLiteral("preferences-system-symbolic"), QStringLiteral("preferences-system")}},
        {QStringLiteral("sparkles"), {QStringLiteral("starred-symbolic"), QStringLiteral("starred")}},
        {QStringLiteral("info.circle"), {QStringLiteral("help-about-symbolic"), QStringLiteral("help-about")}},
        {QStringLiteral("book"), {QStringLiteral("help-browser-symbolic"), QStringLiteral("help-browser")}},
        {QStringLiteral("photo"), {QStringLiteral("image-x-generic-symbolic"), QStringLiteral("image-x-generic")}},
        {QStringLiteral("doc.text"), {QStringLiteral("text-x-generic-symbolic"), QStringLiteral("text-x-generic")}},
    };
    return entries;
}
} // namespace

QStringList SymbolIcons::themeNames(const QString &symbol)
{
    for (const auto &[name, themeNames] : table()) {
        if (name == symbol)
            return themeNames;
    }
    return {};
}

QStringList SymbolIcons::symbols()
{
    QStringList names;
    for (const auto &entry : table())
        names.append(entry.first);
    return names;
}
