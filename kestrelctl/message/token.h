// What a time-stamp token says (RFC 3161 2.4.2).
#pragma once

#include <optional>
#include <string>

#include "kestrelctl/message/record.h"
#include "platform/base/ticks.h"

namespace kestrelctl::message {

struct StampFacts {
    platform::Ticks time = 0;    // rounded down to the second
    platform::Ticks latest = 0;  // as late as its accuracy leaves room for, rounded likewise
    std::string policy;
    platform::Algorithm imprintAlgorithm;
    platform::Bytes imprint;
    platform::Bytes serial;  // big-endian
    bool criticalExtension = false;
};

// From a TSTInfo. Throws CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT.
StampFacts ReadTstInfo(platform::ByteView der);

// The tokens in the attributes of a signer. One over the content belongs among the signed ones,
// one over the signature among the others (RFC 5126 6.1.1, 5.11.4).
enum class StampOf : std::uint8_t { Content, Signature, Token };
struct StampPlace {
    StampOf of;
    bool misplaced;         // it stands where the other kind belongs
    platform::Bytes token;  // empty: an attribute without a value
};
const char* NameOf(StampOf of);  // the word for documents
std::vector<StampPlace> StampsOf(const platform::SignerInfo& signer);

}  // namespace kestrelctl::message
