// Taking in what an authority answers.
#include "platform/enroll/response.h"

#include <algorithm>
#include <optional>

#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/enroll/issuers.h"
#include "platform/enroll/questions.h"
#include "platform/enroll/waiting_requests.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

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

// ---- whose key is here ---------------------------------------------------------------

std::optional<Match> MatchRequest(const Certificates& response) {
    for (const auto& request : InStore(Side::User, kRequestStore)) {
        const auto way = WayOf(*request);
        const AnyKey key = PublicKeyOf(*request);
        if (!way || !key) continue;
        for (const auto& certificate : response) {
            const AnyKey other = PublicKeyOf(*certificate);
            if (other && other.Matches(key)) return Match{certificate, *way, request};
        }
    }
    return std::nullopt;
}

KeyProviderInfo PlaceIn(const KeyWanted& wanted) {
    return {wanted.container, wanted.provider,
            Container::Open(wanted.side, wanted.container).Type(),
            wanted.side == Side::Machine ? DWORD{CRYPT_MACHINE_KEYSET} : 0, wanted.spec};
}

std::optional<Match> MatchContainer(const Certificates& response, KeyWanted wanted) {
    if (wanted.container.empty()) return std::nullopt;
    for (const DWORD spec : {wanted.spec, DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        wanted.spec = spec;
        for (const auto& certificate : response) {
            const AnyKey key = PublicKeyOf(*certificate);
            if (key && HoldsKey(wanted, key)) return Match{certificate, PlaceIn(wanted), nullptr};
        }
    }
    return std::nullopt;
}

// A certificate that was installed before.
std::optional<Match> MatchInstalled(const Certificates& response, const Placing& placing) {
    for (const auto& installed : InStore(placing.mySide, placing.myStore)) {
        const auto way = WayOf(*installed);
        if (!way) continue;
        for (const auto& certificate : response) {
            if (Equal(certificate->Der(), installed->Der()))
                return Match{certificate, *way, nullptr};
        }
    }
    return std::nullopt;
}

Match FindMatch(const Certificates& response, const Placing& placing) {
    // One of another type is an error although "REQUEST" may know better.
    if (!placing.key.container.empty()) {
        OpenFittingContainer(placing.key.side, placing.key.container, placing.key.type);
    }
    auto match = MatchRequest(response);
    if (!match) match = MatchContainer(response, placing.key);
    if (!match) match = MatchInstalled(response, placing);
    if (!match) throw Error(CRYPT_E_NOT_FOUND, "no key here fits a certificate of the response");
    return *std::move(match);
}

// ---- its issuers -----------------------------------------------------------------------

void AddPlain(Side side, const char* store, const Certificate& certificate) {
    OpenSystemStore(side, store, OpenMode::OpenOrCreate)
        ->Add(*Certificate::Parse(certificate.Der()), CERT_STORE_ADD_USE_EXISTING);
}

bool IsTrusted(const Certificate& root) {
    return Holds(InStore(Side::User, "Root"), root) || Holds(InStore(Side::Machine, "Root"), root);
}

void PlaceIssuer(const Certificate& issuer, const Placing& placing) {
    if (!IsSelfSigned(issuer)) return AddPlain(placing.caSide, "CA", issuer);
    if (!IsTrusted(issuer) && MayTrust(issuer, placing.silent)) {
        AddPlain(placing.rootSide, "Root", issuer);
    }
}

// ---- the certificate ---------------------------------------------------------------------

void PlaceCertificate(const Match& match, const Placing& placing) {
    const auto leading = Certificate::Parse(match.certificate->Der());
    leading->properties[CERT_KEY_PROV_INFO_PROP_ID] = Serialize(match.place);
    OpenSystemStore(placing.mySide, placing.myStore, OpenMode::OpenOrCreate)
        ->Add(*leading, CERT_STORE_ADD_REPLACE_EXISTING);
}

void WriteToContainer(const Match& match) {
    const bool machine = (match.place.flags & CRYPT_MACHINE_KEYSET) != 0;
    Container::Open(machine ? Side::Machine : Side::User, match.place.container)
        .SaveCertificate(match.place.keySpec, match.certificate->Der());
}

// All requests of the key: one may have been made anew.
void RemoveRequests(const AnyKey& key) {
    const auto store = OpenSystemStore(Side::User, kRequestStore, OpenMode::OpenOrCreate);
    for (const auto& request : store->Certificates()) {
        const AnyKey other = PublicKeyOf(*request);
        if (other && other.Matches(key)) store->Remove(*request);
    }
}

}  // namespace

Bytes MakeRequest(const RequestContent& content, const EnrollKey& key, RequestForm form) {
    try {
        Bytes request = SignRequest(content, key.key);
        const auto standIn = Certificate::Parse(SignStandIn(content, key.key));
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

std::shared_ptr<Certificate> AcceptResponse(ByteView response, const Placing& placing) {
    const Certificates certificates = ReadBundle(response).certificates;
    const Match match = FindMatch(certificates, placing);
    for (const auto& issuer : IssuersOf(match.certificate, certificates)) {
        PlaceIssuer(*issuer, placing);
    }
    PlaceCertificate(match, placing);
    if (placing.writeToContainer) WriteToContainer(match);
    // Last, so that a run that was killed before can be made again.
    if (placing.deleteRequest) {
        const AnyKey key = PublicKeyOf(*match.certificate);
        if (match.request) RemoveRequests(key);
        ForgetWaiting(key);
    }
    return match.certificate;
}

void InstallIssuers(ByteView response, const Placing& placing) {
    const Certificates certificates = ReadBundle(response).certificates;
    if (certificates.empty()) throw Error(CRYPT_E_NOT_FOUND);
    for (const auto& certificate : certificates) PlaceIssuer(*certificate, placing);
}

}  // namespace platform
