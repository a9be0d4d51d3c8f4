// How a fuzz target says that something does not hold which always must.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Ends the run, so that the fuzzer keeps the input, when something that must always hold
// does not.
inline void Demand(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
