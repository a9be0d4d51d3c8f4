// The search for a token's signer, and the certificates that a token brings.
#include "stamps/signer.h"
#include "front/core/encoding.h"

#include <algorithm>
#include <array>

#include "stamps/failure.h"
#include "stamps/message_param.h"

namespace Ferroline::PKI {
namespace {

using kestrel::CertificateHolder;

constexpr wchar_t kAddressBook[] = L"AddressBook";
constexpr std::string_view kContentTypeOid = "1.2.840.113549.1.9.3";
constexpr std::string_view kCertValuesOid = "1.2.840.113549.1.9.16.2.23";
constexpr HRESULT kNotFound = static_cast<HRESULT>(CRYPT_E_NOT_FOUND);

// Properties that follow from the encoding or belong to the store that a context stands in.
constexpr std::array<DWORD, 23> kNotCopied = {3,  4,  7,  8,  15, 17, 18, 20, 24, 25, 27, 66,
                                              67, 68, 69, 72, 73, 74, 75, 77, 84, 85, 86};

void CopyProperty(PCCERT_CONTEXT from, PCCERT_CONTEXT to, DWORD property) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(from, property, nullptr, &size)) ATL::ThrowLastError();
    CBlob value(size);
    if (!CertGetCertificateContextProperty(from, property, value.GetData(), &size)) {
        ATL::ThrowLastError();
    }
    CRYPT_DATA_BLOB blob{size, value.GetData()};
    const bool record = property == CERT_KEY_PROV_INFO_PROP_ID;
    const void* data = record ? static_cast<const void*>(value.GetData()) : &blob;
    if (!CertSetCertificateContextProperty(to, property, 0, data)) ATL::ThrowLastError();
}

// A context of its own, so that no store stays tied to the stamp's certificate.
CertificateHolder CopyOf(PCCERT_CONTEXT source) {
    CertificateHolder copy(CertCreateCertificateContext(
        kestrel::kMessageEncodingType, source->pbCertEncoded, source->cbCertEncoded));
    if (!copy) ATL::ThrowLastError();
    DWORD property = 0;
    while ((property = CertEnumCertificateContextProperties(source, property)) != 0) {
        if (std::ranges::find(kNotCopied, property) != kNotCopied.end()) continue;
        CopyProperty(source, copy.get(), property);
    }
    return copy;
}

// The first certificate of the store that `fits`; an empty holder without one.
template <class Fits>
CertificateHolder FindIn(HCERTSTORE store, const Fits& fits) {
    CertificateHolder found;
    // Each call takes the one before back.
    while (found.reset(CertEnumCertificatesInStore(store, found.release())), found) {
        if (fits(found.get())) break;
    }
    return found;
}

// Looks into the stamp's store, then into the address book, which need not exist.
template <class Find>
HRESULT FindAndKeep(CStamp& stamp, const Find& find) {
    CertificateHolder found = find(stamp.GetStore().GetHandle());
    ATL2::CStoreSet addressBook;
    if (!found && addressBook.OpenSystem(kAddressBook) >= 0) found = find(addressBook.GetHandle());
    if (!found) return kNotFound;
    stamp.SetSigner(CopyOf(found.get()));
    return S_OK;
}

template <class Operation>
HRESULT AsResult(const Operation& operation) {
    try {
        return operation();
    } catch (const ATL::CAtlException& failure) {
        return failure.Result();
    }
}

}  // namespace

HRESULT FindStampSigner(CStamp& stamp) {
    return AsResult([&] {
        const auto attributes =
            SignerAttributes::Of(stamp.GetMessage(), CMSG_SIGNER_AUTH_ATTR_PARAM);
        const COtherCertID id = ChooseCertId(attributes.List());
        return FindAndKeep(stamp, [&](HCERTSTORE store) {
            return FindIn(store, [&](PCCERT_CONTEXT one) { return MatchesSignerHash(id, one); });
        });
    });
}

HRESULT FindStampSignerById(CStamp& stamp) {
    return AsResult([&] {
        const CBlob id = MessageParam(stamp.GetMessage(), CMSG_SIGNER_CERT_ID_PARAM);
        return FindAndKeep(stamp, [&](HCERTSTORE store) {
            return CertificateHolder(CertFindCertificateInStore(
                store, kestrel::kMessageEncodingType, 0, CERT_FIND_CERT_ID, id.GetData(), nullptr));
        });
    });
}

bool CheckContentType(HCRYPTMSG message) {
    const CBlob type = MessageParam(message, CMSG_INNER_CONTENT_TYPE_PARAM);
    if (reinterpret_cast<const char*>(type.GetData()) != kTstInfoOid) return false;
    const auto attributes = SignerAttributes::Of(message, CMSG_SIGNER_AUTH_ATTR_PARAM);
    const CRYPT_ATTRIBUTE* attribute = FindAttribute(attributes.List(), kContentTypeOid);
    if (attribute == nullptr) return false;
    const CRYPT_ATTR_BLOB& value = attribute->rgValue[0];
    return ASN1::DecodeContentType(CBlob(value.pbData, value.cbData)) == kTstInfoOid;
}

HRESULT AddCertificate(const ATL2::CStoreSet& store, const CBlob& encoded) {
    if (store.GetHandle() == nullptr) return E_FAIL;
    const CertificateHolder certificate(CertCreateCertificateContext(
        kestrel::kMessageEncodingType, encoded.GetData(), encoded.GetSize()));
    if (certificate && CertAddCertificateContextToStore(store.GetHandle(), certificate.get(),
                                                        CERT_STORE_ADD_ALWAYS, nullptr)) {
        return S_OK;
    }
    return ATL::ResultOfError(GetLastError());
}

HRESULT CollectCertValues(CStamp& stamp) {
    return AsResult([&]() -> HRESULT {
        const HCRYPTMSG message = stamp.GetMessage();
        DWORD size = 0;
        if (!CryptMsgGetParam(message, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0, nullptr, &size)) return 0;
        const auto attributes = SignerAttributes::Of(message, CMSG_SIGNER_UNAUTH_ATTR_PARAM);
        for (const CRYPT_ATTRIBUTE& attribute : attributes.List()) {
            if (attribute.pszObjId != kCertValuesOid) continue;
            for (DWORD i = 0; i < attribute.cValue; ++i) {
                const CRYPT_ATTR_BLOB& value = attribute.rgValue[i];
                const CBlob values(value.pbData, value.cbData);
                for (const CBlob& encoded : ASN1::DecodeCertificateValues(values)) {
                    const HRESULT added = AddCertificate(stamp.GetStore(), encoded);
                    if (added < 0) return added;
                }
            }
        }
        return S_OK;
    });
}

}  // namespace Ferroline::PKI
