// Encoding and decoding of single records, names, contexts.
#include "tests/calls/calls.h"
#include "tests/calls/fixtures.h"

namespace calls {
namespace {

std::string Encoded(LPCSTR type, const void* value) {
    DWORD size = 0;
    if (CryptEncodeObject(kEncoding, type, value, nullptr, &size) == FALSE) return Told(FALSE);
    Octets out(size);
    if (CryptEncodeObject(kEncoding, type, value, out.data(), &size) == FALSE) return Told(FALSE);
    return Hex(out.data(), size);
}

// A decoded record in storage of its own.
template <class Record>
class Decoded {
  public:
    Decoded(LPCSTR type, const Octets& encoded) {
        DWORD size = 0;
        const auto length = static_cast<DWORD>(encoded.size());
        if (!CryptDecodeObject(kEncoding, type, encoded.data(), length, 0, nullptr, &size)) return;
        block_.resize(size / sizeof(void*) + 1);
        good_ = CryptDecodeObject(kEncoding, type, encoded.data(), length, 0, block_.data(), &size);
    }
    explicit operator bool() const { return good_ != FALSE; }
    const Record* operator->() const { return reinterpret_cast<const Record*>(block_.data()); }
    const Record& operator*() const { return *operator->(); }

  private:
    std::vector<void*> block_;
    BOOL good_ = FALSE;
};

std::string DecodedBits(LPCSTR type, const char* encoded) {
    const Decoded<CRYPT_BIT_BLOB> bits(type, FromHex(encoded));
    if (!bits) return Told(FALSE);
    return Hex(bits->pbData, bits->cbData) + "/" + std::to_string(bits->cUnusedBits);
}

std::string PublicKeyOf(const char* oid) {
    std::string text = oid;
    BYTE key[] = {0x11};
    CERT_PUBLIC_KEY_INFO info{};
    info.Algorithm.pszObjId = text.data();
    info.PublicKey = {sizeof key, key, 0};
    return Encoded(X509_PUBLIC_KEY_INFO, &info);
}

std::string AlgorithmOf(const char* oid) {
    std::string text = oid;
    CRYPT_ALGORITHM_IDENTIFIER algorithm{};
    algorithm.pszObjId = text.data();
    return Encoded(X509_ALGORITHM_IDENTIFIER, &algorithm);
}

std::string UsageOf(const char* value) {
    char oid[] = szOID_KEY_USAGE;
    Octets octets = FromHex(value);
    CERT_EXTENSION extension{oid, TRUE, {static_cast<DWORD>(octets.size()), octets.data()}};
    CERT_INFO info{};
    info.cExtension = 1;
    info.rgExtension = &extension;
    BYTE usage[2] = {0xEE, 0xEE};
    const BOOL result = CertGetIntendedKeyUsage(kEncoding, &info, usage, sizeof usage);
    return Joined({Told(result), Hex(usage, sizeof usage)});
}

std::string DecodedSignedContent() {
    const Decoded<CERT_SIGNED_CONTENT_INFO> content(X509_CERT, FromHex("3011"
                                                                       "30020500"
                                                                       "300606022a030500"
                                                                       "0303000102"));
    if (!content) return Told(FALSE);
    return Joined({Hex(content->ToBeSigned.pbData, content->ToBeSigned.cbData),
                   content->SignatureAlgorithm.pszObjId,
                   Hex(content->Signature.pbData, content->Signature.cbData)});
}

std::string EncodedSignedContent() {
    Octets toBeSigned = FromHex("30020500");
    char oid[] = "1.2.3";
    BYTE signature[] = {1, 2};
    CERT_SIGNED_CONTENT_INFO content{};
    content.ToBeSigned = {4, toBeSigned.data()};
    content.SignatureAlgorithm.pszObjId = oid;
    content.Signature = {2, signature, 0};
    return Encoded(X509_CERT, &content);
}

std::string DecodedCertificate() {
    const Decoded<CERT_INFO> info(X509_CERT_TO_BE_SIGNED, FromHex(kCertificate));
    if (!info) return Told(FALSE);
    return Joined({std::to_string(info->dwVersion),
                   Hex(info->SerialNumber.pbData, info->SerialNumber.cbData),
                   info->SignatureAlgorithm.pszObjId, std::to_string(info->Subject.cbData),
                   std::to_string(info->cExtension)});
}

// What is encoded from the decoded record is the signed part of the certificate again.
std::string EncodedCertificate() {
    const Decoded<CERT_INFO> info(X509_CERT_TO_BE_SIGNED, FromHex(kCertificate));
    if (!info) return Told(FALSE);
    const std::string again = Encoded(X509_CERT_TO_BE_SIGNED, &*info);
    if (again.size() < 20) return again;
    return std::string(kCertificate).substr(8, again.size()) == again ? "same" : again;
}

// The signed part of `openssl req -newkey ed25519 -subj /CN=x -addext subjectAltName=DNS:x`.
constexpr char kRequestInfo[] =
    "305e020100300c310a300806035504030c0178302a300506032b657003210097c3a400ce5cb54eba1d01c8a0ae15f6"
    "3da467d4e2e0a52ae053cd36b8e1cf24a01f301d06092a864886f70d01090e3110300e300c0603551d110405300382"
    "0178";

std::string RequestBothWays(const char* encoded) {
    const Decoded<CERT_REQUEST_INFO> info(X509_CERT_REQUEST_TO_BE_SIGNED, FromHex(encoded));
    if (!info) return Told(FALSE);
    return Joined({std::to_string(info->dwVersion), std::to_string(info->Subject.cbData),
                   info->SubjectPublicKeyInfo.Algorithm.pszObjId, std::to_string(info->cAttribute),
                   info->rgAttribute[0].pszObjId, std::to_string(info->rgAttribute[0].cValue),
                   Encoded(X509_CERT_REQUEST_TO_BE_SIGNED, &*info) == encoded ? "same" : "other"});
}

std::string ExtensionsBothWays(const char* encoded) {
    const Decoded<CERT_EXTENSIONS> list(X509_EXTENSIONS, FromHex(encoded));
    if (!list) return Told(FALSE);
    return Joined({std::to_string(list->cExtension), Encoded(X509_EXTENSIONS, &*list)});
}

// The octets, or the characters of a type that has wide ones.
std::string ValueText(const CERT_RDN_ATTR& attribute) {
    std::string text(reinterpret_cast<const char*>(attribute.Value.pbData), attribute.Value.cbData);
    if (attribute.dwValueType < CERT_RDN_UNICODE_STRING) return text;
    const auto* wide = reinterpret_cast<const WCHAR*>(attribute.Value.pbData);
    text.clear();
    for (DWORD i = 0; i < attribute.Value.cbData / sizeof(WCHAR); ++i) {
        text += static_cast<char>(wide[i]);
    }
    return text;
}

std::string NameBothWays(const char* encoded) {
    const Decoded<CERT_NAME_INFO> name(X509_NAME, FromHex(encoded));
    if (!name) return Told(FALSE);
    std::string text;
    for (DWORD i = 0; i < name->cRDN; ++i) {
        for (DWORD j = 0; j < name->rgRDN[i].cRDNAttr; ++j) {
            const CERT_RDN_ATTR& attribute = name->rgRDN[i].rgRDNAttr[j];
            text += Joined({attribute.pszObjId, std::to_string(attribute.dwValueType),
                            ValueText(attribute), ""});
        }
    }
    return text + Encoded(X509_NAME, &*name);
}

std::string EncodedNameValue(DWORD valueType) {
    char oid[] = "2.5.4.3";
    // As wide characters for the types that are written from them.
    wchar_t wide[] = L"a\u0416";
    BYTE narrow[] = {0x61};
    CERT_RDN_ATTR attribute{};
    attribute.pszObjId = oid;
    attribute.dwValueType = valueType;
    attribute.Value = {sizeof narrow, narrow};
    if (valueType == CERT_RDN_UTF8_STRING || valueType == CERT_RDN_UNICODE_STRING) {
        attribute.Value = {2 * sizeof(wchar_t), reinterpret_cast<BYTE*>(wide)};
    }
    CERT_RDN rdn{1, &attribute};
    CERT_NAME_INFO name{1, &rdn};
    return Encoded(X509_NAME, &name);
}

std::string DecodeError(LPCSTR type, const char* encoded) {
    const Octets octets = FromHex(encoded);
    DWORD size = 77;
    const BOOL result = CryptDecodeObject(kEncoding, type, octets.data(),
                                          static_cast<DWORD>(octets.size()), 0, nullptr, &size);
    return Told(result);
}

std::string SizeAfterFailure() {
    DWORD encoded = 77;
    const BOOL first = CryptEncodeObject(kEncoding, "1.2.3", &encoded, nullptr, &encoded);
    DWORD decoded = 77;
    const BYTE octets[] = {5, 0};
    const BOOL second = CryptDecodeObject(kEncoding, X509_INTEGER, octets, 2, 0, nullptr, &decoded);
    return Joined({Told(BOOL{first || second}), std::to_string(encoded), std::to_string(decoded)});
}

std::string NameText(const char* encoded, DWORD type) {
    Octets octets = FromHex(encoded);
    CERT_NAME_BLOB name{static_cast<DWORD>(octets.size()), octets.data()};
    char text[200];
    const DWORD size = CertNameToStrA(kEncoding, &name, type, text, sizeof text);
    return std::to_string(size) + " " + text;
}

std::string NameOctets(const char* text) {
    BYTE encoded[200];
    DWORD size = sizeof encoded;
    LPCSTR at = nullptr;
    if (CertStrToNameA(kEncoding, text, CERT_X500_NAME_STR, nullptr, encoded, &size, &at)) {
        return Hex(encoded, size);
    }
    return Joined({Told(FALSE), at == nullptr ? "-" : std::to_string(at - text)});
}

constexpr const char* kName =
    "302e310b3009060355040613025255"
    "3111300f060355040a0c08466f6f2c20496e63"
    "310c300a06035504030c03416e6e";

PCCERT_CONTEXT Ann() {
    const Octets der = FromHex(kCertificate);
    return CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size()));
}

std::string ContextOf(DWORD encoding, const char* encoded) {
    const Octets der = FromHex(encoded);
    const PCCERT_CONTEXT context =
        CertCreateCertificateContext(encoding, der.data(), static_cast<DWORD>(der.size()));
    const std::string told = Told(context);
    CertFreeCertificateContext(context);
    return told;
}

template <class Use>
std::string WithAnn(Use&& use) {
    const PCCERT_CONTEXT context = Ann();
    const std::string told = use(context);
    CertFreeCertificateContext(context);
    return told;
}

const Case kRecordCases[] = {
    {"bits: unused ones are zero", [] { return DecodedBits(X509_BITS, "030207ff"); }, "80/7"},
    {"bits: of the last octet alone", [] { return DecodedBits(X509_BITS, "030304ffff"); },
     "fff0/4"},
    {"usage record: unused bits are zero", [] { return DecodedBits(X509_KEY_USAGE, "030207ff"); },
     "80/7"},
    {"usage: unused bits are zero", [] { return UsageOf("030207ff"); }, "ok 8000"},
    {"usage: nine bits", [] { return UsageOf("0303070180"); }, "ok 0180"},
    {"public key: rsa has NULL", [] { return PublicKeyOf(szOID_RSA_RSA); },
     "3013300d06092a864886f70d01010105000302"
     "0011"},
    {"public key: curve", [] { return PublicKeyOf("1.2.840.10045.2.1"); },
     "3011300b06072a8648ce3d0201050003020011"},
    {"public key: Ed25519", [] { return PublicKeyOf("1.3.101.112"); },
     "300b300506032b657003020011"},
    {"algorithm: rsa", [] { return AlgorithmOf(szOID_RSA_RSA); }, "300b06092a864886f70d010101"},
    {"signed content: decoded", DecodedSignedContent, "30020500 1.2.3 0201"},
    {"signed content: encoded", EncodedSignedContent, "300f30020500300406022a030303000201"},
    {"certificate: decoded", DecodedCertificate, "2 8000 1.2.840.10045.4.3.2 48 4"},
    {"certificate: encoded", EncodedCertificate, "same"},
    {"certificate: signed part alone",
     [] {
         return DecodeError(X509_CERT_TO_BE_SIGNED,
                            std::string(kCertificate).substr(8, 682 + 8).c_str());
     },
     "ok"},
    {"extensions: both ways",
     [] {
         return ExtensionsBothWays(
             "3018300906022a030403010203"
             "300b06022a040101ff04020500");
     },
     "2 3018300906022a030403010203300b06022a040101ff04020500"},
    {"request", [] { return RequestBothWays(kRequestInfo); },
     "0 14 1.3.101.112 1 1.2.840.113549.1.9.14 1 same"},
    {"request: cut", [] { return RequestBothWays("3003020100"); }, "80093102"},
    {"extensions: false told", [] { return ExtensionsBothWays("300d300b06022a0401010004020500"); },
     "1 300a300806022a0404020500"},
    {"name: both ways", [] { return NameBothWays(kName); },
     "2.5.4.6 4 RU 2.5.4.10 13 Foo, Inc 2.5.4.3 13 Ann "
     "302e310b30090603550406130252553111300f060355040a0c08466f6f2c20496e63310c300a0603550403"
     "0c03416e6e"},
    {"name: empty", [] { return NameBothWays("3000"); }, "3000"},
    {"name: utf8 value", [] { return EncodedNameValue(CERT_RDN_UTF8_STRING); },
     "300e310c300a06035504030c0361d096"},
    {"name: unicode value", [] { return EncodedNameValue(CERT_RDN_UNICODE_STRING); },
     "300f310d300b06035504031e0400610416"},
    {"name: printable value", [] { return EncodedNameValue(CERT_RDN_PRINTABLE_STRING); },
     "300c310a30080603550403130161"},
    {"name: any", [] { return EncodedNameValue(CERT_RDN_ANY_TYPE); }, "80070057"},
    {"name: encoded blob", [] { return EncodedNameValue(CERT_RDN_ENCODED_BLOB); },
     "300a31083006060355040361"},
    {"decode: other tag", [] { return DecodeError(X509_INTEGER, "0500"); }, "8009310b"},
    {"decode: cut", [] { return DecodeError(X509_OCTET_STRING, "04050102"); }, "80093102"},
    {"decode: empty", [] { return DecodeError(X509_OCTET_STRING, ""); }, "80093102"},
    {"decode: unknown kind", [] { return DecodeError("1.2.3", "0500"); }, "00000002"},
    {"sizes after failure", SizeAfterFailure, "8009310b 0 0"},
    {"encode: sizes",
     [] {
         return SizeQueries([](BYTE* out, DWORD* size) {
             const LONG value = 300;
             return CryptEncodeObject(kEncoding, X509_INTEGER, &value, out, size);
         });
     },
     "ok 4, 000000ea 4, ok 4, ok 4"},
    {"name text: x500", [] { return NameText(kName, CERT_X500_NAME_STR); },
     "27 C=RU, O=\"Foo, Inc\", CN=Ann"},
    {"name text: reversed values",
     [] { return NameText(kName, CERT_SIMPLE_NAME_STR | CERT_NAME_STR_REVERSE_FLAG); },
     "20 Ann, \"Foo, Inc\", RU"},
    {"name text: control character",
     [] { return NameText("300e310c300a06035504030c03410a42", CERT_X500_NAME_STR); },
     "15 CN=#0C03410A42"},
    {"name text: reading direction",
     [] { return NameText("3010310e300c06035504030c0541e280ae42", CERT_X500_NAME_STR); },
     "19 CN=#0C0541E280AE42"},
    {"name text: octets",
     [] { return NameText("300d310b3009060355040304020aff", CERT_X500_NAME_STR); }, "9 CN=#0AFF"},
    {"text name: plain", [] { return NameOctets("CN=a, O=b"); },
     "3018310a30080603550403130161310a3008060355040a130162"},
    {"text name: octets", [] { return NameOctets("CN=#0aff"); }, "300d310b3009060355040304020aff"},
    {"text name: encoded value", [] { return NameOctets("CN=#0C03410A42"); },
     "300e310c300a06035504030c03410a42"},
    {"text name: no value", [] { return NameOctets("CN="); }, "80092023 3"},
    {"text name: unknown key", [] { return NameOctets("XX=1"); }, "80092023 0"},
    {"text name: open quote", [] { return NameOctets("CN=\"a"); }, "80092023 3"},
    {"context: no encoding", [] { return ContextOf(0, kCertificate); }, "80070057"},
    {"context: garbage", [] { return ContextOf(kEncoding, "3003020101"); }, "8009310b"},
    {"context: stands in a store",
     [] {
         return WithAnn(
             [](PCCERT_CONTEXT c) { return std::string(c->hCertStore != nullptr ? "yes" : "no"); });
     },
     "yes"},
    {"context: that store takes",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             const Octets der = FromHex(kCertificate);
             return Told(CertAddEncodedCertificateToStore(c->hCertStore, kEncoding, der.data(),
                                                          static_cast<DWORD>(der.size()),
                                                          CERT_STORE_ADD_NEW, nullptr));
         });
     },
     "80070005"},
    {"context: that store holds",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             return Told(CertEnumCertificatesInStore(c->hCertStore, nullptr));
         });
     },
     "80092004"},
    {"context: duplicate is itself",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             const PCCERT_CONTEXT twin = CertDuplicateCertificateContext(c);
             CertFreeCertificateContext(twin);
             return std::string(twin == c ? "same" : "other");
         });
     },
     "same"},
    {"property: sizes",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             return SizeQueries([c](void* out, DWORD* size) {
                 return CertGetCertificateContextProperty(c, CERT_SHA1_HASH_PROP_ID, out, size);
             });
         });
     },
     "ok 20, 000000ea 20, ok 20, ok 20"},
    {"property: absent",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             DWORD size = 77;
             const BOOL result =
                 CertGetCertificateContextProperty(c, CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size);
             return Joined({Told(result), std::to_string(size)});
         });
     },
     "80092004 0"},
    {"property: number 0",
     [] {
         return WithAnn([](PCCERT_CONTEXT c) {
             DWORD size = 77;
             return Told(CertGetCertificateContextProperty(c, 0, nullptr, &size));
         });
     },
     "80070057"},
    {"identifier: unknown",
     [] {
         ALG_ID id = 0x7777;
         return Told(CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &id, 0));
     },
     "80092004"},
    {"compare: null names",
     [] {
         CERT_NAME_BLOB none{0, nullptr};
         return std::to_string(CertCompareCertificateName(kEncoding, &none, &none));
     },
     "1"},
};

}  // namespace

std::span<const Case> RecordCases() { return kRecordCases; }

}  // namespace calls
