// The keys by which a signing command asks for time stamps.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

struct StampKeys {
    const char* contentUrl = nullptr;    // -sd; null when the key is absent
    const char* signatureUrl = nullptr;  // -ss
    bool noStampCert = false;            // -nostampcert
};

// A key without a value has the empty text.
const char* TakeStampKey(const char* word);

// Takes the three keys. One address serves both stamps when only one of two keys has it.
StampKeys TakeStampKeys();

// When a stamp is wanted, whether one can be requested. 0 or a reported code.
Reported CheckStampTransport(const StampKeys& keys);

// An empty address goes to the client as none.
const char* StampUrl(const char* value);

}  // namespace kestrel
