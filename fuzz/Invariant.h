#pragma once

#include <cstdio>
#include <cstdlib>

namespace CompanionFuzz {

/// Ends the process when an invariant does not hold, so libFuzzer keeps the input as a crash and the
/// corpus replay fails its test.
inline void require(bool holds, const char* invariant) {
    if (!holds) {
        std::fprintf(stderr, "broken invariant: %s\n", invariant);
        std::abort();
    }
}

} // namespace CompanionFuzz
