#pragma once

#include <QString>
#include <optional>
#include <sys/types.h>

// Keeps two deletions (two windows, or a window and the terminal) from counting and
// moving in one Ollama store at the same time: each holds this lock for the store's
// blobs folder, named by its drive and inode so that every path to one folder shares it.
// The lock file lives in Stashwell's own runtime folder, never in the store.
class StoreLock
{
public:
    // Waits until no other deletion holds the lock for that blobs folder.
    StoreLock(dev_t device, ino_t inode);
    ~StoreLock();
    StoreLock(const StoreLock &) = delete;
    StoreLock &operator=(const StoreLock &) = delete;

    // Why the lock could not be taken; nothing when it is held.
    std::optional<QString> problem() const { return m_problem; }

    // $XDG_RUNTIME_DIR/stashwell, or $XDG_CACHE_HOME/Stashwell when there is no runtime folder.
    static QString folder();

private:
    int m_fd = -1;
    std::optional<QString> m_problem;
};
