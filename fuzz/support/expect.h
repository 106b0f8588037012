// What holds for every input; a fuzzer reports the input for which it does not.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Expect(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}
