// The system modules that are loaded while the program runs: what LoadLibraryA knows.
#pragma once

#include <cstddef>
#include <span>

#include "platform/base/ground.h"

namespace platform {

struct Procedure {
    const char* name;
    FARPROC address;
};

// One row a module.
struct Module {
    const char* name;  // without ".dll"
    bool linked;       // a program has it from its start on, whatever it loads
    // Makes sure that what the calls stand on is there. Throws ERROR_DLL_NOT_FOUND.
    void (*load)();
    std::span<const Procedure> procedures;
};

const Module& WinHttpModule();
const Module& WinInetModule();

}  // namespace platform
