// Work on secrets that leaves nothing of them behind: what the compiler keeps in registers and on
// the stack has no name and cannot be wiped by the code that works on it.
#pragma once

namespace platform::gost {

// Overwrites the stack below the caller, deeper than any work here goes,
// and the registers that calls may change.
void WipeStack();

// A frame of its own, below its caller's.
template <class Body>
[[gnu::noinline]] auto RunBelow(Body& body) {
    return body();
}

// The stack is wiped when an exception leaves, too.
template <class Body>
auto OnWipedStack(Body&& body) {
    struct Wiper {
        ~Wiper() { WipeStack(); }
    } wiper;
    return RunBelow(body);
}

}  // namespace platform::gost
