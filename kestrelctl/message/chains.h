// Chains of signers and services, each searched once for all the files of a run.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <vector>

#include "kestrelctl/message/reasons.h"
#include "kestrelctl/message/record.h"
#include "platform/base/ticks.h"
#include "platform/chain/chain.h"
#include "platform/stores/store.h"

namespace kestrelctl::message {

// Certificates and lists that messages bring: the chain is searched among them, too.
class Surroundings {
  public:
    explicit Surroundings(const Record& record);
    // Those of the message around a token, behind its own.
    void Add(const Surroundings& others);
    [[nodiscard]] const std::vector<std::shared_ptr<platform::Certificate>>& Certificates() const {
        return bundle_.certificates;
    }
    // The same for the same certificates and lists.
    [[nodiscard]] const platform::Bytes& Key() const { return key_; }
    [[nodiscard]] std::size_t Size() const {
        return bundle_.certificates.size() + bundle_.crls.size();
    }
    [[nodiscard]] std::shared_ptr<platform::Store> CertificatesAsStore() const;
    // With the lists that are in force at `now`; null when there are none.
    [[nodiscard]] std::shared_ptr<platform::Store> WithLists(platform::Ticks now) const;

  private:
    platform::CertificateBundle bundle_;
    platform::Bytes key_;
};

struct ChainFacts {
    platform::Ticks time = 0;  // for which it was judged
    platform::Path path;
};

class Chains {
  public:
    explicit Chains(bool offline) : offline_(offline) {}
    // Null when `allowance` is used up. Throws NTE_BAD_ALGID with the identifier of an algorithm
    // that is not known.
    const ChainFacts* Of(const std::shared_ptr<platform::Certificate>& leaf, platform::Ticks time,
                         const Surroundings& around, platform::Allowance& allowance);

  private:
    [[nodiscard]] platform::Path Search(const std::shared_ptr<platform::Certificate>& leaf,
                                        platform::Ticks time, const Surroundings& around,
                                        platform::Allowance& allowance) const;

    bool offline_;
    std::map<platform::Bytes, ChainFacts> known_;
};

// The authorities between the end certificate and the root, whose own limits bind nobody here.
std::span<const platform::Link> Between(const platform::Path& path);
// What is wrong with a signer's chain.
Findings JudgeChain(const ChainFacts& chain);
// The same for a time-stamp service at the time of its stamp.
Findings JudgeServiceChain(const ChainFacts& chain);
// The weak digests under the certificates of a chain, and the weak keys of their issuers.
void AddWeakIssues(const ChainFacts& chain, platform::Ticks time, Reason reason,
                   Findings& findings);

}  // namespace kestrelctl::message
