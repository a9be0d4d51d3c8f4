// Judges a message: each signer, each stamp, and the message as a whole.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kestrelctl/message/chains.h"
#include "kestrelctl/message/countersigner.h"
#include "kestrelctl/message/signer.h"
#include "kestrelctl/message/token.h"

namespace kestrelctl::message {

struct StampVerdict {
    StampOf of = StampOf::Signature;
    std::optional<StampFacts> facts;  // none: it cannot be read
    std::shared_ptr<platform::Certificate> service;
    std::optional<ChainFacts> chain;
    Findings findings;
};

enum class TimeSource : std::uint8_t { Now, Given, Stamp };
const char* NameOf(TimeSource source);

// What a message says of a signer, without his attributes: they may hold a hundred stamps.
struct SignerHead {
    platform::KeyHolder signer;
    platform::Algorithm digest;
    platform::Algorithm signatureAlgorithm;
};

struct SignerVerdict {
    SignerHead info;
    Identity identity;
    std::optional<platform::Ticks> claimedTime;
    platform::Ticks time = 0;    // that counts
    platform::Ticks latest = 0;  // as late as that may have been: what he is judged for
    TimeSource timeSource = TimeSource::Now;
    std::vector<StampVerdict> stamps;
    std::vector<Countersignature> countersignatures;
    std::optional<ChainFacts> chain;
    Findings findings;  // of everything, the stamps included
};

// The digest of the content with an algorithm; none when there is no content. Throws NTE_BAD_ALGID.
using ContentDigest = std::function<std::optional<platform::Bytes>(const std::string& oid)>;

struct JudgeSettings {
    platform::Ticks now = 0;    // or what --at says
    platform::Ticks today = 0;  // now whatever --at says: for what stamps rest on
    bool given = false;
    bool offline = false;
};

// What a message may cost: three seconds of checks, and a minute of waiting for the network.
inline platform::Allowance ForOneMessage() {
    return {platform::Budget(3'000'000'000), std::chrono::seconds(60)};
}
inline const Detail kTooMuchWork{"too much work", "слишком много работы"};

class Judge {
  public:
    explicit Judge(const JudgeSettings& settings)
        : settings_(settings), chains_(settings.offline) {}

    [[nodiscard]] const JudgeSettings& Settings() const { return settings_; }
    std::vector<SignerVerdict> JudgeSigners(const Record& record, const ContentDigest& digest);
    // A token that stands alone, for the content beside it.
    StampVerdict JudgeToken(const Record& token, const ContentDigest& digest);

  private:
    SignerVerdict JudgeSigner(const Record& record, std::size_t index, const Surroundings& around,
                              const ContentDigest& digest);
    StampVerdict JudgeStamp(const StampPlace& place, const Surroundings& around,
                            const ContentDigest& digest);
    void JudgeTokenRecord(const Record& token, const Surroundings* around,
                          const ContentDigest& digest, StampVerdict& stamp);
    void JudgeService(const Record& token, const Surroundings& around, StampVerdict& stamp);
    void JudgeServiceAt(const Surroundings& around, StampVerdict& stamp);
    void JudgeStamps(const Surroundings& around, const platform::SignerInfo& info,
                     const ContentDigest& digest, SignerVerdict& signer);
    void JudgeCertificate(const Surroundings& around, SignerVerdict& signer);

    JudgeSettings settings_;
    Chains chains_;
    KnownCertificates known_;
    platform::Allowance allowance_ = ForOneMessage();  // of the message at hand
};

}  // namespace kestrelctl::message
