// Chains of this process, so that many signers of one certificate cost one search.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

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

// The digest under which a chain of these inputs is kept: certificates and stores by their
// content, the stores on this computer by their generation.
Bytes KeyOf(const ChainInputs& inputs);

class PathCache {
  public:
    // The path kept under `key`, or the one that `find` answers. Kept for a few seconds,
    // since what is valid now need not be so later.
    Path Get(const Bytes& key, const std::function<Path()>& find);

  private:
    struct Entry {
        Path path;
        Ticks made = 0;
    };
    std::map<Bytes, Entry> entries_;
};

}  // namespace platform
