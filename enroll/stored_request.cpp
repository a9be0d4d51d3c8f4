// Layers of stored requests.
#include "enroll/stored_request.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "front/core/ask_size.h"
#include "front/core/atl_exception.h"
#include "front/core/encoding.h"
#include "selection/providers.h"

namespace kestrel {

namespace {

HRESULT LastCode() { return ATL::ResultOfError(GetLastError()); }

template <class Call>
HRESULT Fetched(Octets& value, const Call& call) {
    return FetchValue(value, call) ? S_OK : LastCode();
}

HRESULT DecodeInto(LPCSTR type, const BYTE* data, DWORD size, Octets& record) {
    return Fetched(record, [&](BYTE* out, DWORD* length) {
        return CryptDecodeObject(kMessageEncodingType, type, data, size, 0, out, length);
    });
}

// Bytes that do not read as a message at all, whatever of their encoding shows it (enroll-26).
bool IsNoMessage(DWORD error) {
    constexpr DWORD kAsn1Errors = 0x80093100;
    constexpr DWORD kSameKind = 0xFFFFFF00;
    return (error & kSameKind) == kAsn1Errors ||
           error == static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE);
}

MessageHolder OpenMessage(HCRYPTPROV provider, const Octets& bytes) {
    MessageHolder message(
        CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, provider, nullptr, nullptr));
    const auto size = static_cast<DWORD>(bytes.size());
    if (message && !CryptMsgUpdate(message.get(), bytes.data(), size, TRUE)) message.reset();
    return message;
}

HRESULT ContentOf(HCRYPTMSG message, Octets& content) {
    return Fetched(content, [&](BYTE* out, DWORD* size) {
        return CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, out, size);
    });
}

// BASE64 of a request as 16-bit characters, up to a zero.
HRESULT DecodeWideText(Octets& bytes) {
    std::string text;
    for (std::size_t at = 0; at + 1 < bytes.size() && bytes[at] != 0; at += 2) {
        if (bytes[at + 1] != 0) return NTE_BAD_DATA;
        text += static_cast<char>(bytes[at]);
    }
    return DecodeText(text, bytes);
}

// One layer must be there. What is inside may be another, or a text, unless it is ours.
HRESULT UnwrapAnyForm(HCRYPTPROV provider, LONG disposition, Octets& bytes) {
    if (const HRESULT failed = UnwrapSignedMessage(provider, bytes); FAILED(failed)) return failed;
    const HRESULT inner = UnwrapSignedMessage(provider, bytes);
    const bool isText = inner == CRYPT_E_INVALID_MSG_TYPE && disposition != kOwnRequest;
    return isText ? DecodeWideText(bytes) : S_OK;
}

HRESULT WrapWith(const RequestSigner& signer, const CRYPT_ALGORITHM_IDENTIFIER& hash,
                 Octets& bytes) {
    CMSG_SIGNER_ENCODE_INFO encodeInfo{};
    encodeInfo.cbSize = sizeof(encodeInfo);
    encodeInfo.pCertInfo = signer.certificate->pCertInfo;
    encodeInfo.hCryptProv = signer.provider;
    encodeInfo.dwKeySpec = signer.keySpec;
    encodeInfo.HashAlgorithm = hash;
    CERT_BLOB certificate{signer.certificate->cbCertEncoded, signer.certificate->pbCertEncoded};
    CMSG_SIGNED_ENCODE_INFO info{};
    info.cbSize = sizeof(info);
    info.cSigners = 1;
    info.rgSigners = &encodeInfo;
    info.cCertEncoded = 1;
    info.rgCertEncoded = &certificate;
    const MessageHolder message(
        CryptMsgOpenToEncode(kMessageEncodingType, 0, CMSG_SIGNED, &info, nullptr, nullptr));
    const auto size = static_cast<DWORD>(bytes.size());
    if (!message || !CryptMsgUpdate(message.get(), bytes.data(), size, TRUE)) return LastCode();
    return ContentOf(message.get(), bytes);
}

HRESULT Unwrap(std::string_view text, LONG disposition, HCRYPTPROV provider, Octets& bytes) {
    constexpr LONG kWaiting = 5;
    if (disposition == kWaiting) {
        const HRESULT result = UnwrapSignedMessage(provider, bytes);
        return result == CRYPT_E_INVALID_MSG_TYPE ? S_OK : result;
    }
    if (!text.starts_with(kRequestArmourBegin)) {
        return UnwrapAnyForm(provider, disposition, bytes);
    }
    const HRESULT outer = UnwrapSignedMessage(provider, bytes);
    return FAILED(outer) ? outer : UnwrapSignedMessage(provider, bytes);
}

}  // namespace

HRESULT RequestInfo::Decode(const Octets& request) {
    Octets content;
    const HRESULT failed =
        DecodeInto(X509_CERT, request.data(), static_cast<DWORD>(request.size()), content);
    if (FAILED(failed)) return failed;
    const auto& blob =
        reinterpret_cast<const CERT_SIGNED_CONTENT_INFO*>(content.data())->ToBeSigned;
    return DecodeInto(X509_CERT_REQUEST_TO_BE_SIGNED, blob.pbData, blob.cbData, record_);
}

bool RequestInfo::HasKeyOf(const RequestInfo& other) const {
    const CRYPT_BIT_BLOB& mine = PublicKey().PublicKey;
    const CRYPT_BIT_BLOB& its = other.PublicKey().PublicKey;
    return mine.cbData == its.cbData &&
           std::equal(mine.pbData, mine.pbData + mine.cbData, its.pbData);
}

HRESULT UnwrapSignedMessage(HCRYPTPROV provider, Octets& bytes) {
    Octets content;
    const MessageHolder message = OpenMessage(provider, bytes);
    const HRESULT result = message ? ContentOf(message.get(), content) : LastCode();
    if (FAILED(result)) {
        return IsNoMessage(static_cast<DWORD>(result)) ? CRYPT_E_INVALID_MSG_TYPE : result;
    }
    bytes.swap(content);
    return S_OK;
}

// Authorities of this kind take GOST R 34.11-94. A key that cannot go with it signs with the
// first hash of its own provider (enroll-31).
HRESULT WrapSignedMessage(const RequestSigner& signer, Octets& bytes) {
    if (signer.certificate == nullptr || signer.provider == 0) return CRYPT_E_NO_KEY_PROPERTY;
    char gost[] = "1.2.643.2.2.9";
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    hash.pszObjId = gost;
    const HRESULT refused = WrapWith(signer, hash, bytes);
    if (SUCCEEDED(refused)) return refused;
    if (FindAlgorithmForCertificate(signer.certificate, CRYPT_HASH_ALG_OID_GROUP_ID, hash) != 0) {
        return refused;
    }
    return WrapWith(signer, hash, bytes);
}

HRESULT FindSerial(std::string_view bundle, const CERT_PUBLIC_KEY_INFO& key, std::string& serial) {
    Octets bytes;
    if (const HRESULT failed = DecodeText(bundle, bytes); FAILED(failed)) return failed;
    const MessageHolder message = OpenMessage(0, bytes);
    StoreHolder store;
    if (message) {
        *store.Fill() =
            CertOpenStore(CERT_STORE_PROV_MSG, kMessageEncodingType, 0, 0, message.get());
    }
    if (store.Get() == nullptr) return LastCode();
    const CertificateHolder found(CertFindCertificateInStore(store.Get(), kMessageEncodingType, 0,
                                                             CERT_FIND_PUBLIC_KEY, &key, nullptr));
    if (!found) return LastCode();
    const CRYPT_INTEGER_BLOB& number = found->pCertInfo->SerialNumber;
    serial.clear();
    for (DWORD i = number.cbData; i-- > 0;) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned>(number.pbData[i]));
        serial += digits;
    }
    return S_OK;
}

HRESULT ParseRequestInfo(std::string_view text, LONG disposition, HCRYPTPROV provider,
                         RequestInfo& info) {
    Octets bytes;
    HRESULT result = DecodeText(text, bytes);
    if (SUCCEEDED(result)) result = Unwrap(text, disposition, provider, bytes);
    return FAILED(result) ? result : info.Decode(bytes);
}

}  // namespace kestrel
