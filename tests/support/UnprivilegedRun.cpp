#include "support/UnprivilegedRun.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sys/stat.h>

namespace {
constexpr uid_t nobodyId = 65534;
}

bool runUnprivileged(const std::function<bool()> &check)
{
    if (::geteuid() != 0)
        return check();
    const pid_t child = ::fork();
    if (child < 0)
        return false;
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setresgid(nobodyId, nobodyId, nobodyId) != 0
            || ::setresuid(nobodyId, nobodyId, nobodyId) != 0)
            ::_exit(2);
        ::_exit(check() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void shareWithUnprivileged(const char *path)
{
    // The temporary folder is private to its creator; let others pass through it.
    if (::geteuid() == 0)
        ::chmod(path, 0755);
}
