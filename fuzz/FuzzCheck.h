#pragma once

#include <cstdio>
#include <cstdlib>

// Stops the run when an invariant does not hold, so libFuzzer keeps the input that broke it.
inline void require(bool holds, const char *invariant)
{
    if (holds)
        return;
    std::fprintf(stderr, "invariant broken: %s\n", invariant);
    std::abort();
}
