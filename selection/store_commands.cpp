// -copycert, -delcert and -CSPcert.
#include "selection/store_commands.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "front/core/ask_size.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/holders.h"
#include "front/core/keys.h"
#include "messages/files/files.h"
#include "selection/console.h"
#include "selection/names.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {

namespace {

constexpr DWORD kDefaultProviderType = 75;

// ---- destination -----------------------------------------------------------------

struct Destination {
    DWORD der = 0;
    DWORD toFile = 0;
    DWORD toUserStore = 0;
    const char* name = "My";
};

// The first key found decides; the others stay behind and fail as leftovers.
Destination TakeDestination() {
    Destination destination;
    const char* name = nullptr;
    if (TakeKey("dm", &name)) {
        if (name) destination.name = name;
    } else if (TakeKey("du", &name)) {
        destination.toUserStore = 1;
        if (name) destination.name = name;
    } else if (TakeKey("df", &name)) {
        destination.toFile = 1;
        destination.name = name;
        destination.der = TakeKey("der") ? 1 : 0;
    } else {
        destination.toUserStore = 1;
    }
    return destination;
}

Reported WriteTo(const Destination& destination) {
    return WriteCertificates(destination.der, destination.toFile, destination.toUserStore,
                             destination.name);
}

// ---- WriteCertificates -------------------------------------------------------------

// Changes may have waited until here, so that many are one. Stores that keep each at once may
// say that they know nothing of it.
Reported KeepChanges(HCERTSTORE store) {
    if (CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr)) return 0;
    const DWORD code = GetLastError();
    if (code == ERROR_NOT_SUPPORTED || code == ERROR_CALL_NOT_IMPLEMENTED) return 0;
    return ReportError(kLastError);
}

Reported KeepChanges(const StoreVector& stores) {
    for (const HCERTSTORE store : stores) {
        if (const Reported failure = KeepChanges(store)) return failure;
    }
    return 0;
}

Reported CopyToStore(HCERTSTORE store) {
    for (const PCCERT_CONTEXT certificate : *state.foundCertificates) {
        if (CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_NEW, nullptr)) {
            continue;
        }
        if (GetLastError() != static_cast<DWORD>(CRYPT_E_EXISTS)) return ReportError(kLastError);
        PrintMessage(say::kAlreadyThere, 1);
    }
    return KeepChanges(store);
}

Reported WriteToStore(DWORD toUserStore, const char* name) {
    std::wstring wideName;
    StoreHolder store;
    // Created when it does not exist, unlike in a search.
    if (WideName(name, wideName)) {
        *store.Fill() = CertOpenStore(
            CERT_STORE_PROV_SYSTEM_W, kMessageEncodingType, 0,
            toUserStore ? CERT_SYSTEM_STORE_CURRENT_USER : CERT_SYSTEM_STORE_LOCAL_MACHINE,
            wideName.c_str());
    }
    if (!store.Get()) return ReportError(kCannotOpenStore, name);
    return CopyToStore(store.Get());
}

BytesHolder AllocateBytes(DWORD size) { return BytesHolder(static_cast<BYTE*>(std::malloc(size))); }

Reported EncodeOne(PCCERT_CONTEXT certificate, BytesHolder& bytes, DWORD& size) {
    size = certificate->cbCertEncoded;
    bytes = AllocateBytes(size);
    if (!bytes) return ReportError(kNoMemory);
    std::memcpy(bytes.get(), certificate->pbCertEncoded, size);
    return 0;
}

// The certificates, and more than enough for what stands around them.
ULONGLONG BundleRoom(const std::vector<PCCERT_CONTEXT>& certificates) {
    constexpr ULONGLONG kFrame = 1024;
    return std::accumulate(
        certificates.begin(), certificates.end(), kFrame,
        [](ULONGLONG sum, PCCERT_CONTEXT certificate) { return sum + certificate->cbCertEncoded; });
}

// A message of certificates alone: no signer, no content.
Reported EncodeBundle(BytesHolder& bytes, DWORD& size) {
    std::vector<PCCERT_CONTEXT> certificates(state.foundCertificates->begin(),
                                             state.foundCertificates->end());
    CRYPT_SIGN_MESSAGE_PARA para{};
    para.cbSize = sizeof(para);
    para.dwMsgEncodingType = kMessageEncodingType;
    para.cMsgCert = static_cast<DWORD>(certificates.size());
    para.rgpMsgCert = certificates.data();
    // Asking for the length would put all of them in order once more.
    const ULONGLONG room = BundleRoom(certificates);
    if (room > INT32_MAX) return ReportError(kFileTooLarge);
    size = static_cast<DWORD>(room);
    bytes = AllocateBytes(size);
    if (!bytes) return ReportError(kNoMemory);
    if (!CryptSignMessage(&para, FALSE, 0, nullptr, nullptr, bytes.get(), &size)) {
        return ReportError(kLastError);
    }
    return 0;
}

Reported WriteToFile(DWORD der, const char* name) {
    BytesHolder bytes;
    DWORD size = 0;
    if (const Reported failure = state.foundCertificates->size() == 1
                                     ? EncodeOne(state.foundCertificates->front(), bytes, size)
                                     : EncodeBundle(bytes, size)) {
        return failure;
    }
    if (!der) return WriteFileBase64(name, bytes.release(), size);
    const Reported failure = WriteFileRaw(name, bytes.get(), size);
    if (failure) static_cast<void>(bytes.release());  // freed there
    return failure;
}

// ---- key containers ------------------------------------------------------------------

struct KeyCertificateSource {
    DWORD type = kDefaultProviderType;
    const char* provider = nullptr;
    const char* container = nullptr;
    DWORD flags = 0;
    DWORD keySpec = AT_KEYEXCHANGE;
    std::unique_ptr<char[]> chosenContainer;
};

void TakeContainerSide(KeyCertificateSource& source) {
    if (TakeKey("km")) {
        source.flags = CRYPT_MACHINE_KEYSET;
    } else {
        TakeKey("ku");
    }
}

Reported TakeKeyCertificateSource(KeyCertificateSource& source) {
    const char* type = nullptr;
    if (TakeKey("provtype", &type)) source.type = static_cast<DWORD>(std::atoi(type));
    TakeKey("provname", &source.provider);
    if (!TakeKey("ex") && TakeKey("sg")) source.keySpec = AT_SIGNATURE;
    if (TakeKey("cont", &source.container)) return 0;
    const Reported failure =
        ChooseContainer(source.type, source.provider, source.flags, source.chosenContainer);
    source.container = source.chosenContainer.get();
    return failure;
}

bool ReadKeyCertificate(HCRYPTKEY key, std::vector<BYTE>& encoded) {
    return FetchValue(encoded, [key](BYTE* buffer, DWORD* size) {
        return CryptGetKeyParam(key, KP_CERTIFICATE, buffer, size, 0);
    });
}

// The certificate that is kept with a key, or null with the last error set.
PCCERT_CONTEXT FetchKeyCertificate(const KeyCertificateSource& source) {
    ProviderHolder provider;
    KeyHolder key;
    std::vector<BYTE> encoded;
    if (!CryptAcquireContextA(provider.Fill(), source.container, source.provider, source.type,
                              source.flags) ||
        !CryptGetUserKey(provider.Get(), source.keySpec, key.Fill()) ||
        !ReadKeyCertificate(key.Get(), encoded)) {
        return nullptr;
    }
    return CertCreateCertificateContext(kMessageEncodingType, encoded.data(),
                                        static_cast<DWORD>(encoded.size()));
}

// ---- deleting ----------------------------------------------------------------------------

// The validity stands before the subject here, and five line ends follow it (select-2).
Reported ShowForDeletion(PCCERT_CONTEXT certificate) {
    PrintMessage(say::kDeleteThis, 1);
    PrintCertificateValidity(certificate);
    if (const Reported failure = PrintCertificateSubject(certificate, 2)) return failure;
    PrintText({}, 3);
    return 0;
}

char ReadDeleteAnswer() {
    for (;;) {
        const char answer = ReadAnswerLetter();
        if (answer == 'A' || answer == 'D' || answer == 'S' || answer == 'C') return answer;
    }
}

char AskAboutDeletion(bool& answerAll) {
    if (answerAll) return 'D';
    PrintMessage(say::kDeleteQuestion, 1);
    const char answer = ReadDeleteAnswer();
    if (answer != 'A') return answer;
    answerAll = true;
    return 'D';
}

// Takes the first found certificate out of the list; deleting consumes its context. While
// there is more to ask, no change waits.
Reported DeleteFirstFound(const StoreVector& stores, bool& answerAll) {
    const PCCERT_CONTEXT certificate = state.foundCertificates->front();
    if (const Reported failure = ShowForDeletion(certificate)) return failure;
    const char answer = AskAboutDeletion(answerAll);
    if (answer == 'C') return ReportError(kCancelled);

    state.foundCertificates->pop_front();
    if (answer == 'S') {
        CertFreeCertificateContext(certificate);
        PrintMessage(say::kNotDeleted, 1);
        return 0;
    }
    if (!CertDeleteCertificateFromStore(certificate)) return ReportError(kLastError);
    if (!answerAll) {
        if (const Reported failure = KeepChanges(stores)) return failure;
    }
    PrintMessage(say::kDeleted, 1);
    return 0;
}

// No undo: what was deleted before a cancel stays deleted. What no question comes between is
// deleted at the end, as one change (select-3).
Reported DeleteFound(const StoreVector& stores, bool answerAll) {
    while (!state.foundCertificates->empty()) {
        if (const Reported failure = DeleteFirstFound(stores, answerAll)) return failure;
    }
    return KeepChanges(stores);
}

}  // namespace

Reported WriteCertificates(DWORD der, DWORD toFile, DWORD toUserStore, const char* destination) {
    if (const Reported failure =
            toFile ? WriteToFile(der, destination) : WriteToStore(toUserStore, destination)) {
        return failure;
    }
    PrintMessage(say::kCopied, 1);  // also when every certificate was there before
    return 0;
}

DWORD RunCopyCert() {
    if (state.firstFile) return ReportError(kNoFileArgument);
    const Destination destination = TakeDestination();
    if (const Reported failure = ParseSearchCriterion(true)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    SearchStores stores;
    if (const Reported failure = SelectCertificates(stores.open, false)) return failure;
    return WriteTo(destination);
}

DWORD RunCspCert() {
    if (state.firstFile) return ReportError(kNoFileArgument);
    KeyCertificateSource source;
    TakeContainerSide(source);
    const Destination destination = TakeDestination();
    if (const Reported failure = TakeKeyCertificateSource(source)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;

    PrintMessage(say::kOpeningContainer, 1);
    const PCCERT_CONTEXT certificate = FetchKeyCertificate(source);
    if (!certificate) return ReportError(kLastError);
    state.foundCertificates = std::make_unique<FoundCertificates>(1, certificate);
    return WriteTo(destination);
}

DWORD RunDelCert() {
    const bool answerAll = TakeKey("yes");
    if (const Reported failure = ParseSearchCriterion(true)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    SearchStores stores;
    if (const Reported failure = SelectCertificates(stores.open, false)) return failure;
    return DeleteFound(stores.open, answerAll);
}

}  // namespace kestrel
