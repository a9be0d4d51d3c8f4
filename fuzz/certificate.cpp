// Certificates, CRLs and bundles of them in every form that a store file may have.
#include "platform/base/ground.h"

#include <cstddef>
#include <string>
#include <vector>

#include "fuzz/support.h"
#include "platform/base/error.h"
#include "platform/providers/crypto.h"
#include "platform/stores/store.h"

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr DWORD kForms[] = {CERT_SIMPLE_NAME_STR, CERT_OID_NAME_STR, CERT_X500_NAME_STR};

void ReadName(CERT_NAME_BLOB name) {
    for (const DWORD form : kForms) {
        const DWORD size = CertNameToStrA(kEncoding, &name, form, nullptr, 0);
        std::string text(size, '\0');
        CertNameToStrA(kEncoding, &name, form, text.data(), size);
    }
}

// A record that can be read has the size that was told, and does not confuse the writer.
void ReadRecord(LPCSTR type, const BYTE* data, DWORD size) {
    DWORD need = 0;
    if (!CryptDecodeObject(kEncoding, type, data, size, 0, nullptr, &need)) return;
    std::vector<std::max_align_t> record(need / sizeof(std::max_align_t) + 1);
    Demand(CryptDecodeObject(kEncoding, type, data, size, 0, record.data(), &need) != FALSE,
           "a record has the size that was told");
    DWORD length = 0;
    (void)CryptEncodeObject(kEncoding, type, record.data(), nullptr, &length);
}

void ReadKey(const CERT_PUBLIC_KEY_INFO& info) {
    try {
        (void)platform::PublicKeyFromInfo(info);
    } catch (const platform::Error&) {
    }
}

void ReadCertificate(const BYTE* data, DWORD size) {
    const PCCERT_CONTEXT context = CertCreateCertificateContext(kEncoding, data, size);
    if (context == nullptr) return;
    ReadName(context->pCertInfo->Issuer);
    ReadName(context->pCertInfo->Subject);
    ReadKey(context->pCertInfo->SubjectPublicKeyInfo);
    BYTE usage = 0;
    (void)CertGetIntendedKeyUsage(kEncoding, context->pCertInfo, &usage, 1);
    Demand(CertCompareCertificate(kEncoding, context->pCertInfo, context->pCertInfo) != FALSE,
           "a certificate is its own equal");
    CertFreeCertificateContext(context);
}

void ReadCrl(const BYTE* data, DWORD size) {
    const PCCRL_CONTEXT context = CertCreateCRLContext(kEncoding, data, size);
    if (context == nullptr) return;
    ReadName(context->pCrlInfo->Issuer);
    CertFreeCRLContext(context);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadCertificate(data, static_cast<DWORD>(size));
    ReadCrl(data, static_cast<DWORD>(size));
    for (const std::uintptr_t type : {1, 2, 5, 7, 8}) {
        ReadRecord(reinterpret_cast<LPCSTR>(type), data, static_cast<DWORD>(size));
    }
    try {
        (void)platform::ReadBundle({data, size});
    } catch (const platform::Error&) {
    }
    return 0;
}
