#include "selection/store_commands.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

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

constexpr MessageId kCopied = 108;
constexpr MessageId kAlreadyThere = 109;
constexpr MessageId kOpeningContainer = 110;
constexpr MessageId kDeleteThis = 111;
constexpr MessageId kDeleteQuestion = 112;
constexpr MessageId kDeleted = 113;
constexpr MessageId kNotDeleted = 114;

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

DWORD WriteTo(const Destination& destination) {
    return WriteCertificates(destination.der, destination.toFile, destination.toUserStore,
                             destination.name);
}

// ---- WriteCertificates -------------------------------------------------------------

DWORD CopyToStore(HCERTSTORE store) {
    for (const PCCERT_CONTEXT certificate : *state.foundCertificates) {
        if (CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_NEW, nullptr)) {
            continue;
        }
        if (GetLastError() != static_cast<DWORD>(CRYPT_E_EXISTS)) return ReportError(kLastError);
        PrintMessage(kAlreadyThere, 1);
    }
    return 0;
}

DWORD WriteToStore(DWORD toUserStore, const char* name) {
    std::wstring wideName;
    StoreHolder store;
    // Created when it does not exist, unlike in a search.
    if (WideName(name, wideName)) {
        *store.Fill() = CertOpenStore(
            CERT_STORE_PROV_SYSTEM_W, kNameEncoding, 0,
            toUserStore ? CERT_SYSTEM_STORE_CURRENT_USER : CERT_SYSTEM_STORE_LOCAL_MACHINE,
            wideName.c_str());
    }
    if (!store.Get()) return ReportError(kCannotOpenStore, name);
    return CopyToStore(store.Get());
}

BytesHolder AllocateBytes(DWORD size) { return BytesHolder(static_cast<BYTE*>(std::malloc(size))); }

DWORD EncodeOne(PCCERT_CONTEXT certificate, BytesHolder& bytes, DWORD& size) {
    size = certificate->cbCertEncoded;
    bytes = AllocateBytes(size);
    if (!bytes) return ReportError(kNoMemory);
    std::memcpy(bytes.get(), certificate->pbCertEncoded, size);
    return 0;
}

// A message of certificates alone: no signer, no content.
DWORD EncodeBundle(BytesHolder& bytes, DWORD& size) {
    std::vector<PCCERT_CONTEXT> certificates(state.foundCertificates->begin(),
                                             state.foundCertificates->end());
    CRYPT_SIGN_MESSAGE_PARA para{};
    para.cbSize = sizeof(para);
    para.dwMsgEncodingType = kNameEncoding;
    para.cMsgCert = static_cast<DWORD>(certificates.size());
    para.rgpMsgCert = certificates.data();
    if (!CryptSignMessage(&para, FALSE, 0, nullptr, nullptr, nullptr, &size)) {
        return ReportError(kLastError);
    }
    bytes = AllocateBytes(size);
    if (!bytes) return ReportError(kNoMemory);
    if (!CryptSignMessage(&para, FALSE, 0, nullptr, nullptr, bytes.get(), &size)) {
        return ReportError(kLastError);
    }
    return 0;
}

DWORD WriteToFile(DWORD der, const char* name) {
    BytesHolder bytes;
    DWORD size = 0;
    const DWORD code = state.foundCertificates->size() == 1
                           ? EncodeOne(state.foundCertificates->front(), bytes, size)
                           : EncodeBundle(bytes, size);
    if (code) return code;
    if (!der) return WriteFileBase64(name, bytes.release(), size);
    const DWORD written = WriteFileRaw(name, bytes.get(), size);
    if (written) (void)bytes.release();  // freed there
    return written;
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

DWORD TakeKeyCertificateSource(KeyCertificateSource& source) {
    const char* type = nullptr;
    if (TakeKey("provtype", &type)) source.type = static_cast<DWORD>(std::atoi(type));
    TakeKey("provname", &source.provider);
    if (!TakeKey("ex") && TakeKey("sg")) source.keySpec = AT_SIGNATURE;
    if (TakeKey("cont", &source.container)) return 0;
    const DWORD code =
        ChooseContainer(source.type, source.provider, source.flags, source.chosenContainer);
    source.container = source.chosenContainer.get();
    return code;
}

bool ReadKeyCertificate(HCRYPTKEY key, std::vector<BYTE>& encoded) {
    DWORD size = 0;
    if (!CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0)) return false;
    encoded.resize(size);
    return CryptGetKeyParam(key, KP_CERTIFICATE, encoded.data(), &size, 0) != 0;
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
    return CertCreateCertificateContext(kNameEncoding, encoded.data(),
                                        static_cast<DWORD>(encoded.size()));
}

// ---- deleting ----------------------------------------------------------------------------

// The validity stands before the subject here, and five line ends follow it; scripts that
// read this list count on both.
DWORD ShowForDeletion(PCCERT_CONTEXT certificate) {
    PrintMessage(kDeleteThis, 1);
    PrintCertificateValidity(certificate);
    if (const DWORD code = PrintCertificateSubject(certificate, 2)) return code;
    PrintPair("\n", nullptr, 2);
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
    PrintMessage(kDeleteQuestion, 1);
    const char answer = ReadDeleteAnswer();
    if (answer != 'A') return answer;
    answerAll = true;
    return 'D';
}

// Takes the first found certificate out of the list; deleting consumes its context.
DWORD DeleteFirstFound(bool& answerAll) {
    const PCCERT_CONTEXT certificate = state.foundCertificates->front();
    if (const DWORD code = ShowForDeletion(certificate)) return code;
    const char answer = AskAboutDeletion(answerAll);
    if (answer == 'C') return ReportError(kCancelled);

    state.foundCertificates->pop_front();
    if (answer == 'S') {
        CertFreeCertificateContext(certificate);
        PrintMessage(kNotDeleted, 1);
        return 0;
    }
    if (!CertDeleteCertificateFromStore(certificate)) return ReportError(kLastError);
    PrintMessage(kDeleted, 1);
    return 0;
}

}  // namespace

DWORD WriteCertificates(DWORD der, DWORD toFile, DWORD toUserStore, const char* destination) {
    const DWORD code =
        toFile ? WriteToFile(der, destination) : WriteToStore(toUserStore, destination);
    if (code) return code;
    PrintMessage(kCopied, 1);  // also when every certificate was there before
    return 0;
}

DWORD RunCopyCert() {
    if (state.firstFile) return ReportError(kNoFileArgument);
    const Destination destination = TakeDestination();
    if (const DWORD code = ParseSearchCriterion(true)) return code;
    if (const DWORD code = RejectLeftoverKeys()) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, false)) return code;
    return WriteTo(destination);
}

DWORD RunCspCert() {
    if (state.firstFile) return ReportError(kNoFileArgument);
    KeyCertificateSource source;
    TakeContainerSide(source);
    const Destination destination = TakeDestination();
    if (const DWORD code = TakeKeyCertificateSource(source)) return code;
    if (const DWORD code = RejectLeftoverKeys()) return code;

    PrintMessage(kOpeningContainer, 1);
    const PCCERT_CONTEXT certificate = FetchKeyCertificate(source);
    if (!certificate) return ReportError(kLastError);
    state.foundCertificates = std::make_unique<FoundCertificates>(1, certificate);
    return WriteTo(destination);
}

DWORD RunDelCert() {
    bool answerAll = TakeKey("yes");
    if (const DWORD code = ParseSearchCriterion(true)) return code;
    if (const DWORD code = RejectLeftoverKeys()) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, false)) return code;
    // No undo: what was deleted before a failure or a cancel stays deleted.
    while (!state.foundCertificates->empty()) {
        if (const DWORD code = DeleteFirstFound(answerAll)) return code;
    }
    return 0;
}

}  // namespace kestrel
