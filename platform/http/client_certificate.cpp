// The certificate that a client shows, its key and its issuers.
#include "platform/http/client_certificate.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/certs/private_key.h"
#include "platform/certs/signature.h"
#include "platform/http/ground.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/provider.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

constexpr std::size_t kMostIssuers = 10;

// An opened key stays open in the process for its certificate, so that the user is asked
// once however many requests go out. Never destroyed: OpenSSL may have ended before.
AnyKey OpenKey(const Certificate& certificate) {
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    if (property == certificate.properties.end() && !certificate.keyContext) {
        throw Error(ERROR_WINHTTP_CLIENT_CERT_NO_PRIVATE_KEY);
    }
    const auto open = [&] {
        const AcquiredKey acquired = AcquireKey(certificate, /*silent=*/false);
        return acquired.provider->Key(acquired.keySpec);
    };
    if (certificate.keyContext) return open();
    static auto* const opened = new std::map<std::pair<Bytes, Bytes>, AnyKey>;
    AnyKey& key = (*opened)[{Copy(certificate.Der()), property->second}];
    if (!key) key = open();
    return key;
}

bool Issued(const Certificate& issuer, const Certificate& subject) {
    try {
        return HasIssued(issuer, subject);
    } catch (const Error&) {
        return false;  // OpenSSL cannot read one of them
    }
}

std::vector<std::shared_ptr<Certificate>> IssuersOf(
    const std::shared_ptr<Certificate>& certificate) {
    auto candidates = CertificatesOfBothSides("CA");
    for (const char* name : {"My", "Root"}) {
        const auto more = CertificatesOfBothSides(name);
        candidates.insert(candidates.end(), more.begin(), more.end());
    }
    std::vector<std::shared_ptr<Certificate>> issuers;
    std::shared_ptr<Certificate> last = certificate;
    while (issuers.size() < kMostIssuers && !Issued(*last, *last)) {
        const auto found = std::find_if(candidates.begin(), candidates.end(),
                                        [&](const auto& each) { return Issued(*each, *last); });
        // The server has its root itself.
        if (found == candidates.end() || Issued(**found, **found)) break;
        issuers.push_back(last = *found);
    }
    return issuers;
}

}  // namespace

std::vector<std::shared_ptr<Certificate>> CertificatesOfBothSides(const char* storeName) {
    std::vector<std::shared_ptr<Certificate>> all;
    for (const Side side : {Side::User, Side::Machine}) {
        try {
            const auto store = OpenSystemStore(side, storeName, OpenMode::Existing);
            const auto some = store->Certificates();
            all.insert(all.end(), some.begin(), some.end());
        } catch (const Error& error) {
            if (error.Code() != ERROR_FILE_NOT_FOUND) throw;
        }
    }
    return all;
}

std::shared_ptr<const ClientIdentity> OpenClientIdentity(
    const std::shared_ptr<Certificate>& certificate) {
    // TLS is OpenSSL's, which knows no key of GOST.
    const std::string algorithm = certificate->Info().SubjectPublicKeyInfo.Algorithm.pszObjId;
    if (IsGost(algorithm)) throw Error(NTE_BAD_ALGID, algorithm);
    auto identity = std::make_shared<ClientIdentity>();
    identity->certificate = certificate;
    identity->key = OpenKey(*certificate);
    identity->issuers = IssuersOf(certificate);
    return identity;
}

}  // namespace platform
