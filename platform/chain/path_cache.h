// Chains of this process, so that many signers of one certificate cost one search.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/base/bytes.h"
#include "platform/base/ticks.h"
#include "platform/chain/path.h"
#include "platform/stores/store.h"

namespace platform {

// All that a chain depends on, but for the clock.
struct ChainInputs {
    const Certificate& leaf;
    std::shared_ptr<Store> additional;  // may be null
    const std::vector<Side>& sides;
    const FILETIME* time;  // null: now
    const ChainRequest& request;
    DWORD flags;
};

class PathCache {
  public:
    // The path kept for these inputs, or the one that `find` answers. Kept for five minutes, but
    // no longer than its certificates and revocation answers are in force, and until somebody
    // else changes cache/.
    Path Get(const ChainInputs& inputs, const std::function<Path()>& find);

  private:
    struct Entry {
        Path path;
        Ticks made = 0;
        Ticks until = 0;
        std::string answers;  // the generation of cache/, with what `find` put there
    };
    std::map<Bytes, Entry> entries_;
};

}  // namespace platform
