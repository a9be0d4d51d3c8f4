// Makes what the tests under Wine sign with: a key in a container, its self-signed certificate in
// "My". A second word is the file of a certificate (DER) that is put into "Root".
// Usage: make_identity.exe NAME [FILE]
#include <windows.h>

#include <wincrypt.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr wchar_t kContainer[] = L"kestrel-tests";

void Require(bool done, const char* what) {
    if (done) return;
    std::printf("%s failed, 0x%lX\n", what, GetLastError());
    ExitProcess(1);
}

void AddTo(const char* store, PCCERT_CONTEXT certificate) {
    const HCERTSTORE opened = CertOpenSystemStoreA(0, store);
    Require(opened != nullptr && CertAddCertificateContextToStore(
                                     opened, certificate, CERT_STORE_ADD_REPLACE_EXISTING, nullptr),
            store);
    CertCloseStore(opened, 0);
}

PCCERT_CONTEXT MakeCertificate(const std::string& name) {
    HCRYPTPROV provider = 0;
    Require(CryptAcquireContextW(&provider, kContainer, nullptr, PROV_RSA_AES, CRYPT_NEWKEYSET),
            "container");
    HCRYPTKEY key = 0;
    Require(CryptGenKey(provider, AT_KEYEXCHANGE, 2048U << 16, &key), "key");
    CryptDestroyKey(key);
    BYTE encoded[512];
    CERT_NAME_BLOB subject{sizeof encoded, encoded};
    Require(CertStrToNameA(kEncoding, ("CN=" + name).c_str(), CERT_X500_NAME_STR, nullptr, encoded,
                           &subject.cbData, nullptr),
            "name");
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = const_cast<wchar_t*>(kContainer);
    info.dwProvType = PROV_RSA_AES;
    info.dwKeySpec = AT_KEYEXCHANGE;
    PCCERT_CONTEXT certificate = CertCreateSelfSignCertificate(provider, &subject, 0, &info,
                                                               nullptr, nullptr, nullptr, nullptr);
    Require(certificate != nullptr, "certificate");
    CryptReleaseContext(provider, 0);
    return certificate;
}

}  // namespace

int main(int count, char** words) {
    Require(count > 1, "NAME");
    AddTo("My", MakeCertificate(words[1]));
    if (count < 3) return 0;
    std::ifstream file(words[2], std::ios::binary);
    const std::vector<char> der((std::istreambuf_iterator<char>(file)), {});
    PCCERT_CONTEXT root = CertCreateCertificateContext(
        kEncoding, reinterpret_cast<const BYTE*>(der.data()), static_cast<DWORD>(der.size()));
    Require(root != nullptr, words[2]);
    AddTo("Root", root);
    return 0;
}
