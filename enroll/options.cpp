// The keys of the enrolment commands.
#include "enroll/options.h"

#include <cstdlib>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "front/core/secret.h"
#include "front/core/state.h"

namespace kestrel {

namespace {

constexpr char kExtensionWord[] = "ext";

DWORD TakeNumber(const char* word, DWORD fallback) {
    const char* value = nullptr;
    return TakeKey(word, &value) ? static_cast<DWORD>(std::atoi(value)) : fallback;
}

KeySpecChoice TakeKeySpec() {
    if (TakeKey("ex")) return KeySpecChoice::Exchange;
    if (TakeKey("sg")) return KeySpecChoice::Signature;
    TakeKey("both");
    return KeySpecChoice::Both;
}

// Whichever of a pair stands first in this order leaves the other behind, as a wrong key.
Reported TakeRequestKeys(EnrollOptions& options) {
    const char* usage = nullptr;
    if (TakeKey("CertUsage", &usage)) options.certUsage = usage;
    TakeKey("thumbprint", &options.thumbprint);
    TakeKey("token", &options.tokenId);
    TakeSecret("tpassword", options.tokenPassword);
    if (!TakeKey("dn", &options.subjectDn)) return ReportError(kNoRequiredKey, "-dn");
    options.noKeyGen = TakeKey("nokeygen");
    if (!options.noKeyGen) options.exportable = TakeKey("exprt");
    options.smime = TakeKey("smime");
    if (TakeKey("silent")) options.provFlags = CRYPT_SILENT;
    options.keySpecChoice = TakeKeySpec();
    options.keySize = TakeNumber("keysize", 0);
    return 0;
}

void TakeInstallKeys(EnrollOptions& options) {
    options.userStore = !TakeKey("dm", &options.storeName);
    if (options.userStore) TakeKey("du", &options.storeName);
    options.noCsp = TakeKey("noCSP");
}

void TakeProviderKeys(EnrollOptions& options) {
    if (TakeKey("km")) {
        options.provFlags |= CRYPT_MACHINE_KEYSET;
    } else {
        TakeKey("ku");
    }
    options.provType = TakeNumber("provtype", options.provType);
    TakeKey("provname", &options.provName);
}

Reported FindContainer(EnrollOptions& options, KeyGroups groups) {
    const char* name = nullptr;
    if (TakeKey("cont", &name)) {
        options.container = name;
        return 0;
    }
    const bool unneeded = groups.install && options.noCsp;
    const bool fresh = groups.request && !options.noKeyGen;
    if (unneeded || fresh) return 0;
    std::unique_ptr<char[]> chosen;
    const Reported failure =
        ChooseContainer(options.provType, options.provName, options.provFlags, chosen);
    if (!failure) options.container = chosen.get();
    return failure;
}

// enroll-2: whatever the help says, only keys that are there have a password to give.
Reported TakePin(EnrollOptions& options) {
    if (!FindKey("pin")) return 0;
    TakeSecret("pin", options.pin);
    if (!options.noKeyGen) return ReportError(kWrongKey, "pin");
    return 0;
}

Reported RejectAllButExtensions() {
    for (const GivenKey& key : *state.givenKeys) {
        if (std::string_view(key.word) != kExtensionWord) return ReportError(kWrongKey, key.word);
    }
    return 0;
}

}  // namespace

void TakeSecret(const char* word, SecureText& secret) {
    const char* value = nullptr;
    if (!TakeKey(word, &value)) return;
    secret.Assign(value);
    WipeText(const_cast<char*>(value));  // the process's own copy of the argument
}

Reported ParseEnrollKeys(EnrollOptions& options, KeyGroups groups) {
    if (groups.request) {
        if (const Reported failure = TakeRequestKeys(options)) return failure;
    }
    if (groups.install) TakeInstallKeys(options);
    TakeProviderKeys(options);
    if (const Reported failure = FindContainer(options, groups)) return failure;
    if (const Reported failure = TakePin(options)) return failure;
    return RejectAllButExtensions();
}

}  // namespace kestrel
