// Who made a signature: candidates by name, decided by the key and by the certificate's hash.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kestrelctl/message/chains.h"
#include "kestrelctl/message/reasons.h"
#include "kestrelctl/message/record.h"

namespace kestrelctl::message {

// The certificates of the stores of both sides, read when first asked for.
class KnownCertificates {
  public:
    [[nodiscard]] const std::vector<std::shared_ptr<platform::Certificate>>& All();

  private:
    std::optional<std::vector<std::shared_ptr<platform::Certificate>>> all_;
};

// What the search for signers draws on.
struct Means {
    KnownCertificates& known;  // of the run
    platform::Budget& work;    // of the message
};

struct Identity {
    // Null when no candidate is there. Otherwise the one that fits best: to the key and the
    // hash, else to the key, else to the names alone.
    std::shared_ptr<platform::Certificate> certificate;
    std::size_t candidates = 0;  // certificates that the names fit
    bool comparedWhole = false;  // a signing-certificate attribute names this very one
    Findings findings;           // of content, attributes, signature and certificate
};

// Signature `index` of a message whose content has gone through its digests.
Identity Identify(const Record& record, std::size_t index, const Surroundings& around,
                  const Means& means);

// The same of a countersignature over the value of another signature.
Identity IdentifyCountersigner(const platform::SignerInfo& signer, platform::ByteView covered,
                               const Surroundings& around, const Means& means);

// Adds the reason when the certificate does not allow its key to sign, or an authority's in
// between leaves none of the usages with which it would.
void JudgeFitness(const platform::Path& path, Findings& findings);

}  // namespace kestrelctl::message
