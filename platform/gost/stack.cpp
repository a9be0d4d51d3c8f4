// Overwriting the stack.
#include "platform/gost/stack.h"

#include <cstddef>

#include "platform/base/bytes.h"

namespace platform::gost {
namespace {

constexpr std::size_t kDeepest = 16 * 1024;

}  // namespace

#if __has_cpp_attribute(gnu::zero_call_used_regs)
[[gnu::zero_call_used_regs("all")]]
#endif
[[gnu::noinline]] void
WipeStack() {
    unsigned char below[kDeepest];
    Wipe(below, sizeof below);
}

}  // namespace platform::gost
