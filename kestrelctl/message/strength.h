// Names of algorithms, and which of them no longer prove anything (docs/verdicts.md, "Strength").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kestrelctl/message/reasons.h"
#include "platform/base/ticks.h"
#include "platform/certs/certificate.h"
#include "platform/cms/model.h"

namespace kestrelctl::message {

// A name for people; empty when none is known.
std::string AlgorithmName(std::string_view oid);

struct KeyFacts {
    std::string oid;
    unsigned long bits = 0;  // 0: not known
    bool open = false;       // RSA whose exponent is 1 or even: it keeps no secret
};
KeyFacts KeyOf(const CERT_PUBLIC_KEY_INFO& info);

// Why a digest, or a key of that length, proved nothing any more at `time`; none for what held.
std::optional<Detail> WeaknessOfDigest(std::string_view oid, platform::Ticks time);
std::optional<Detail> WeaknessOfKey(const KeyFacts& key, platform::Ticks time);
// The digest of a signature, and the one of its mask.
std::optional<Detail> WeaknessOfSignature(const platform::Algorithm& digest,
                                          const platform::Algorithm& signature,
                                          platform::Ticks time);
// The same of a certificate's own.
std::optional<Detail> WeaknessOfIssue(const platform::Certificate& certificate,
                                      platform::Ticks time);

}  // namespace kestrelctl::message
