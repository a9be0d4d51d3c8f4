// Taking in what an authority answers.
#include "platform/enroll/response.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>

#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/base/text.h"
#include "platform/certs/ancestors.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/enroll/questions.h"
#include "platform/enroll/waiting_requests.h"
#include "platform/providers/container_folder.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

// How long the certificate counts that stands for a request in a store; nobody relies on it.
constexpr unsigned long kStandInDays = 366;

struct Match {
    CertificatePointer certificate;
    KeyProviderInfo place;
    CertificatePointer request;  // null when another way led to the key
};

std::optional<KeyProviderInfo> WayOf(const Certificate& certificate) {
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    if (property == certificate.properties.end()) return std::nullopt;
    return ParseKeyProviderInfo(property->second);
}

Certificates InStore(Side side, const std::string& name) {
    try {
        return OpenSystemStore(side, name, OpenMode::Existing)->Certificates();
    } catch (const Error& error) {
        if (error.Code() != ERROR_FILE_NOT_FOUND) throw;
        return {};
    }
}

bool Holds(const Certificates& list, const Certificate& wanted) {
    return std::ranges::any_of(list,
                               [&](const auto& one) { return Equal(one->Der(), wanted.Der()); });
}

// ---- what the response holds ---------------------------------------------------------

// No key for one of a kind that nobody here has. Throws CRYPT_E_ASN1_BADTAG for a malformed one.
AnyKey ReadableKey(const Certificate& certificate) {
    try {
        return PublicKeyFromInfo(certificate.Info().SubjectPublicKeyInfo);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        return {};
    }
}

// Certificates that can all be read, found by key and by content however many they are.
class Response {
  public:
    explicit Response(ByteView content) : all_(ReadBundle(content).certificates) {
        for (const auto& one : all_) {
            static_cast<void>(one->Native());  // that it can be read
            byHash_.emplace(one->Sha1(), one);
            if (AnyKey key = ReadableKey(*one)) byKey_.emplace(key.Mark(), Entry{key, one});
        }
    }

    [[nodiscard]] const Certificates& All() const { return all_; }

    // Null when there is none.
    [[nodiscard]] CertificatePointer With(const AnyKey& key) const {
        if (!key) return nullptr;
        const auto [from, to] = byKey_.equal_range(key.Mark());
        const auto found = std::find_if(
            from, to, [&](const auto& entry) { return entry.second.key.Matches(key); });
        return found == to ? nullptr : found->second.certificate;
    }
    [[nodiscard]] CertificatePointer SameAs(const Certificate& other) const {
        const auto found = byHash_.find(other.Sha1());
        return found == byHash_.end() ? nullptr : found->second;
    }

  private:
    struct Entry {
        AnyKey key;
        CertificatePointer certificate;
    };
    Certificates all_;
    std::multimap<Bytes, Entry> byKey_;
    std::map<Bytes, CertificatePointer> byHash_;
};

// ---- whose key is here ---------------------------------------------------------------

// What leads to the key may have outlived it, and another may stand in its place.
bool IsThere(const KeyProviderInfo& place, const AnyKey& key, bool silent) {
    const AnyKey there = PublicKeyAt(place, silent);
    return there && there.Matches(key);
}

std::optional<Match> MatchRequest(const Response& response, bool silent) {
    for (const auto& request : InStore(Side::User, kRequestStore)) {
        const auto way = WayOf(*request);
        const AnyKey key = PublicKeyOf(*request);
        const auto certificate = way ? response.With(key) : nullptr;
        if (certificate && IsThere(*way, key, silent)) return Match{certificate, *way, request};
    }
    return std::nullopt;
}

// A certificate that was installed before; empty `container`: wherever its key is.
std::optional<Match> MatchInstalled(const Response& response, const Placing& placing,
                                    const std::string& container) {
    for (const auto& installed : InStore(placing.mySide, placing.myStore)) {
        const auto certificate = response.SameAs(*installed);
        const auto way = certificate ? WayOf(*installed) : std::nullopt;
        if (!way || (!container.empty() && way->container != container)) continue;
        const AnyKey key = PublicKeyOf(*certificate);
        if (key && IsThere(*way, key, placing.silent)) return Match{certificate, *way, nullptr};
    }
    return std::nullopt;
}

std::optional<Match> MatchContainer(const Response& response, const KeyWanted& wanted) {
    if (wanted.container.empty()) return std::nullopt;
    const DWORD other = wanted.spec == AT_SIGNATURE ? AT_KEYEXCHANGE : AT_SIGNATURE;
    KeyProviderInfo place{wanted.container, wanted.provider,
                          Container::Open(wanted.side, wanted.container).Type(),
                          wanted.side == Side::Machine ? DWORD{CRYPT_MACHINE_KEYSET} : 0};
    for (const DWORD spec : {wanted.spec, other}) {
        place.keySpec = spec;
        const auto certificate = response.With(PublicKeyAt(place, wanted.silent));
        if (certificate) return Match{certificate, place, nullptr};
    }
    return std::nullopt;
}

const char* NoKeyText() {
    return RussianUser() ? "здесь нет ключа ни к одному сертификату ответа"
                         : "no key here fits a certificate of the response";
}

// What needs no password comes first.
Match FindMatch(const Response& response, const Placing& placing) {
    const std::string& container = placing.key.container;
    // One of another type is an error although "REQUEST" may know better.
    if (!container.empty()) {
        OpenFittingContainer(placing.key.side, container, placing.key.type.value_or(0));
    }
    auto match = MatchRequest(response, placing.silent);
    if (!match) match = MatchInstalled(response, placing, container);
    if (!match) match = MatchContainer(response, placing.key);
    if (!match) match = MatchInstalled(response, placing, {});
    if (!match) throw Error(CRYPT_E_NOT_FOUND, NoKeyText());
    return *std::move(match);
}

// ---- its issuers -----------------------------------------------------------------------

[[noreturn]] void ThrowForged(const Certificate& certificate) {
    throw Error(TRUST_E_CERT_SIGNATURE,
                NameToText(ViewOf(certificate.Info().Subject), CERT_X500_NAME_STR));
}

// In the stores a name alone tells nothing: an authority that got a new key keeps its name.
bool IsDisownedByStores(const CertificatePointer& top) {
    Certificates known;
    for (const Side side : {Side::User, Side::Machine}) {
        for (const char* store : {"CA", "Root"}) {
            std::ranges::copy(IssuersByKeyIdentifier(*top, InStore(side, store)),
                              std::back_inserter(known));
        }
    }
    return FindAncestors(top, known).broken;
}

Certificates CheckedIssuers(const CertificatePointer& certificate, const Response& response) {
    const Ancestors found = FindAncestors(certificate, response.All());
    const auto& top = found.issuers.empty() ? certificate : found.issuers.back();
    if (found.broken || IsDisownedByStores(top)) ThrowForged(*top);
    return found.issuers;
}

// As one change: an authority whom nobody knows yet may send thousands.
void AddPlain(Side side, const char* name, const Certificates& certificates) {
    if (certificates.empty()) return;
    const auto store = OpenSystemStore(side, name, OpenMode::OpenOrCreate);
    store->Together([&] {
        for (const auto& one : certificates) {
            store->Add(*Certificate::Parse(one->Der()), CERT_STORE_ADD_USE_EXISTING);
        }
    });
}

bool IsTrusted(const Certificate& root) {
    return Holds(InStore(Side::User, "Root"), root) || Holds(InStore(Side::Machine, "Root"), root);
}

void PlaceIssuers(Certificates issuers, const Placing& placing) {
    const auto roots =
        std::ranges::stable_partition(issuers, [](const auto& one) { return !IsSelfSigned(*one); });
    AddPlain(placing.caSide, "CA", {issuers.begin(), roots.begin()});
    for (const auto& root : roots) {
        if (!IsTrusted(*root) && MayTrust(*root, placing.silent)) {
            AddPlain(placing.rootSide, "Root", {root});
        }
    }
}

// ---- the certificate ---------------------------------------------------------------------

void PlaceCertificate(const Match& match, const Placing& placing) {
    const auto leading = Certificate::Parse(match.certificate->Der());
    leading->properties[CERT_KEY_PROV_INFO_PROP_ID] = Serialize(match.place);
    OpenSystemStore(placing.mySide, placing.myStore, OpenMode::OpenOrCreate)
        ->Add(*leading, CERT_STORE_ADD_REPLACE_EXISTING);
}

// Nobody becomes an authority unasked, under whatever name of a store.
void AskForRoot(const Match& match, const Placing& placing) {
    if (!SameName(placing.myStore, "Root") || IsTrusted(*match.certificate)) return;
    if (!MayTrust(*match.certificate, placing.silent)) throw Error(ERROR_ACCESS_DENIED, "Root");
}

void WriteToContainer(const Match& match) {
    const KeyProviderInfo& place = match.place;
    const ContainerLock lock(SideOf(place));  // so that nobody changes the key in between
    Container container = Container::Open(SideOf(place), place.container);
    const AnyKey key = container.PublicKey(place.keySpec);
    if (key && !key.Matches(PublicKeyOf(*match.certificate))) {
        throw Error(NTE_BAD_PUBLIC_KEY, place.container);
    }
    container.SaveCertificate(place.keySpec, match.certificate->Der());
}

// All requests of the key: one may have been made anew. A request signs itself; what else stands
// there, such as the certificate that was just put there, is none.
void RemoveRequests(const Certificate& installed) {
    const AnyKey key = PublicKeyOf(installed);
    const auto store = OpenSystemStore(Side::User, kRequestStore, OpenMode::OpenOrCreate);
    for (const auto& request : store->Certificates()) {
        const AnyKey other = PublicKeyOf(*request);
        const bool same = other && other.Matches(key) && !Equal(request->Der(), installed.Der());
        if (same && IsSelfSigned(*request)) store->Remove(*request);
    }
}

}  // namespace

Bytes MakeRequest(const RequestContent& content, const EnrollKey& key, RequestForm form) {
    try {
        Bytes request = SignRequest(content, key.key);
        const auto standIn = Certificate::Parse(SignSelf(content, key.key, kStandInDays));
        if (form == RequestForm::Wrapped) request = WrapRequest(request, *standIn, key.key);
        standIn->properties[CERT_KEY_PROV_INFO_PROP_ID] = Serialize(key.place);
        OpenSystemStore(Side::User, kRequestStore, OpenMode::OpenOrCreate)
            ->Add(*standIn, CERT_STORE_ADD_NEW);
        return request;
    } catch (...) {
        TakeBack(key);
        throw;
    }
}

std::shared_ptr<Certificate> AcceptResponse(ByteView content, const Placing& placing) {
    const Response response(content);
    const Match match = FindMatch(response, placing);
    const Certificates issuers = CheckedIssuers(match.certificate, response);
    AskForRoot(match, placing);
    PlaceIssuers(issuers, placing);
    PlaceCertificate(match, placing);
    if (placing.writeToContainer) WriteToContainer(match);
    // Last, so that a run that was killed before can be made again.
    if (placing.deleteRequest) {
        if (match.request) RemoveRequests(*match.certificate);
        ForgetWaiting(PublicKeyOf(*match.certificate));
    }
    return match.certificate;
}

void InstallIssuers(ByteView content, const Placing& placing) {
    const Response response(content);
    if (response.All().empty()) throw Error(CRYPT_E_NOT_FOUND);
    PlaceIssuers(response.All(), placing);
}

}  // namespace platform
