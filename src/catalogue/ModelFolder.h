#pragma once

#include <QString>

// One place where a model application keeps its models, written relative to a base
// folder that differs between machines and users, so one table serves every home.
struct ModelFolder
{
    enum class Base {
        home,     // the user's home folder
        xdgData,  // $XDG_DATA_HOME, by default ~/.local/share
        absolute, // a fixed path
    };
    // Which desktop the folder belongs to. Every folder is scanned wherever it
    // exists; only Linux ones are shown, and the default one stands in for the
    // application when none of its folders exists.
    enum class Role { macOS, linuxDefault, linux };

    Base base;
    QString relativePath;
    Role role;

    // The absolute path on this machine, without a trailing "/".
    QString path() const;
    // The path as shown to the user: "~/" for the home folder, a trailing "/".
    QString shownPath() const;
};
