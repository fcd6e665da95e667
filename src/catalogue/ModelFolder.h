#pragma once

#include <QString>

// One place where a model application keeps its models, written relative to a base
// folder that differs between machines and users, so one table serves every home.
// Applications that let the user move their folder write the new place into a file
// of their own or read it from the environment; `setting` says how to read it there.
struct ModelFolder
{
    enum class Base {
        home,        // the user's home folder
        xdgData,     // $XDG_DATA_HOME, by default ~/.local/share
        xdgConfig,   // $XDG_CONFIG_HOME, by default ~/.config
        xdgCache,    // $XDG_CACHE_HOME, by default ~/.cache
        absolute,    // a fixed path
        environment, // the folder named by the environment variable `relativePath`
        appHome,     // the application's own folder (ModelSourceDefinition::homeFolders)
        installation, // each installation of the application found (ModelSourceDefinition::installation)
    };
    // Which desktop the folder belongs to. Every folder is scanned wherever it
    // exists; only Linux ones are shown, and the default one stands in for the
    // application when none of its folders exists.
    enum class Role { macOS, linuxDefault, linux };
    // How the place found from base and relativePath leads to the folder.
    enum class Setting {
        none,        // it is the folder
        jsonKey,     // a JSON settings file whose top-level string `key` names the folder
        iniKey,      // an INI settings file whose `key` (top level or [General]) names the folder
        pointerFile, // a file holding nothing but the folder's path
        // ComfyUI's extra_model_paths.yaml: every folder its sections name (many folders)
        comfyModelPaths,
        // A shell script whose assignment to the variable `key` holds command-line
        // arguments (webui-user.sh's COMMANDLINE_ARGS); the folder is the value of `option`
        shellArguments,
        // A file of command-line arguments, one or more a line, "#" starting a comment
        // line (CMD_FLAGS.txt); the folder is the value of `option`
        argumentsFile,
    };

    Base base;
    QString relativePath;
    Role role;
    Setting setting = Setting::none;
    QString key = {};
    QString suffix = {}; // appended to the folder a setting or variable names
    QString option = {}; // the command-line option naming the folder ("--ckpt-dir")

    // Whether the path depends on what a file or the environment says.
    bool isRelocation() const { return setting != Setting::none || base == Base::environment; }
    // The fixed place base and relativePath name (a folder, or the settings file);
    // empty for an unset variable, appHome and installation.
    QString location() const;
    // The path on this machine of a folder that is not a relocation, without a trailing "/".
    QString path() const { return location(); }
};
