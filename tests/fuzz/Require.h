// What a fuzz target holds an input to.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace qel::fuzz {

// Ends the program, so that the fuzzer keeps the input, unless `holds`. `sentence` says what
// should.
inline void Require(bool holds, const char* sentence) {
    if (!holds) {
        std::fprintf(stderr, "fuzz: it does not hold that %s\n", sentence);
        std::abort();
    }
}

} // namespace qel::fuzz
