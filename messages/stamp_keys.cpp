// The keys that ask for time stamps.
#include "messages/stamp_keys.h"

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "stamps/stamps.h"

namespace kestrel {

const char* TakeStampKey(const char* word) {
    const char* value = nullptr;
    if (!TakeKey(word, &value)) return nullptr;
    return value != nullptr ? value : "";
}

StampKeys TakeStampKeys() {
    StampKeys keys;
    keys.noStampCert = TakeKey("nostampcert");
    keys.contentUrl = TakeStampKey("sd");
    keys.signatureUrl = TakeStampKey("ss");
    if (keys.contentUrl == nullptr || keys.signatureUrl == nullptr) return keys;
    if (*keys.contentUrl == '\0') {
        keys.contentUrl = keys.signatureUrl;
    } else if (*keys.signatureUrl == '\0') {
        keys.signatureUrl = keys.contentUrl;
    }
    return keys;
}

Reported CheckStampTransport(const StampKeys& keys) {
    if (keys.contentUrl == nullptr && keys.signatureUrl == nullptr) return 0;
    if (!CheckHttpLibrary()) return ReportError(kLastError);
    return 0;
}

const char* StampUrl(const char* value) { return *value != '\0' ? value : nullptr; }

}  // namespace kestrel
