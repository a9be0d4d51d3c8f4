// What the search for one chain may cost in all, so that no set of certificates and CRLs
// holds a caller up.
#pragma once

#include "platform/base/ground.h"

#include <cstdint>

#include "platform/base/bytes.h"

namespace platform {

// Counted in units of about a nanosecond, by what is to be done and not by a clock: the
// same input gets the same answer on every computer.
class Budget {
  public:
    static constexpr std::uint64_t kForSearch = 500'000'000;  // of one path
    // `whole` pays, too, so that it bounds several: it may be null, and outlives this one.
    explicit Budget(std::uint64_t units = kForSearch, Budget* whole = nullptr)
        : left_(units), whole_(whole) {}
    // False, from then on for good, when it does not reach.
    [[nodiscard]] bool Spend(std::uint64_t units);
    // For the check of one signature over `size` octets.
    [[nodiscard]] bool SpendSignature(const CERT_PUBLIC_KEY_INFO& key, std::size_t size);
    [[nodiscard]] bool Exhausted() const { return exhausted_; }

  private:
    std::uint64_t left_;
    Budget* whole_;
    bool exhausted_ = false;
};

}  // namespace platform
