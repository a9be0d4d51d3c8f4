// The words of the report in both languages.
#pragma once

#include "kestrelctl/message/reasons.h"

namespace kestrelctl::message {

enum class Text : std::uint8_t {
    Title,
    Good,
    Indeterminate,
    Bad,
    None,
    Signature,
    Certificate,
    Fitness,
    Chain,
    Stamps,
    Countersignatures,
    Strength,
    File,
    ContentFile,
    Inside,
    Kind,
    Size,
    JudgedAt,
    Offline,
    Demanded,
    Signer,
    Nobody,
    Subject,
    Issuer,
    Serial,
    Valid,
    Thumbprint,
    Identified,
    ByNames,
    ByKey,
    Whole,
    OfSeveral,
    Algorithms,
    SigningTime,
    TimeThatCounts,
    FromStamp,
    FromNow,
    FromOption,
    Findings,
    Countersigned,
    Stamp,
    OfContent,
    OfSignature,
    OfToken,
    StampTime,
    Policy,
    Service,
    ChainAt,
    IssuerMissing,
    Root,
    Trusted,
    NotTrusted,
    NotRevoked,
    Revoked,
    NotTold,
    NotAsked,
    ToldBy,
    InStores,
    Foot,
};

// Plain text, not escaped.
const char* Of(Text text, bool russian);
const char* Of(Verdict verdict, bool russian);
const char* Of(Check check, bool russian);

}  // namespace kestrelctl::message
