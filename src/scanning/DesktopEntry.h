#pragma once

#include <QHash>
#include <QString>
#include <optional>

// The "[Desktop Entry]" group of a freedesktop.org desktop entry file: how a Linux
// desktop knows an installed application, its launcher and its icon. Read only.
class DesktopEntry
{
public:
    // Nothing when the path is not a readable regular file of a sensible size or has
    // no "[Desktop Entry]" group.
    static std::optional<DesktopEntry> read(const QString &path);

    // The unlocalised value of a key with its escapes (\s, \n, \t, \r, \\) resolved;
    // empty when the key is missing.
    QString value(const QString &key) const;

    // The program that Exec= starts: its first word, with the quoting of the Exec key
    // removed. Empty when there is no Exec key.
    QString execProgram() const;

private:
    QHash<QString, QString> m_values;
};
