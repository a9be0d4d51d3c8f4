// A received message, whole and in pieces, through the exported calls. The first byte of
// the input sets the size of the pieces. Both roads must come to the same end, and what is
// written from a message that was read must be readable.
#include "platform/base/ground.h"

#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/support.h"
#include "platform/base/bytes.h"
#include "platform/providers/container.h"

namespace {

using platform::Bytes;
using platform::ByteView;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr const char* kContainer = "fuzz";
HCRYPTPROV provider = 0;

class Decoder {
  public:
    explicit Decoder(CMSG_STREAM_INFO* stream)
        : handle_(CryptMsgOpenToDecode(kEncoding, 0, 0, provider, nullptr, stream)) {
        Demand(handle_ != nullptr, "a decoder opens");
    }
    ~Decoder() { CryptMsgClose(handle_); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    bool Update(ByteView data, bool isFinal) {
        return CryptMsgUpdate(handle_, data.data(), static_cast<DWORD>(data.size()),
                              isFinal ? TRUE : FALSE) != FALSE;
    }
    // A key that is not the recipient's still runs the cipher: with a key of chance.
    bool Decrypt() {
        CMSG_CTRL_DECRYPT_PARA para{};
        para.cbSize = sizeof(para);
        para.hCryptProv = provider;
        para.dwKeySpec = AT_KEYEXCHANGE;
        return CryptMsgControl(handle_, 0, CMSG_CTRL_DECRYPT, &para) != FALSE;
    }
    bool Param(DWORD param, DWORD index, Bytes& value) {
        DWORD size = 0;
        if (!CryptMsgGetParam(handle_, param, index, nullptr, &size)) return false;
        value.assign(size, 0);
        Demand(CryptMsgGetParam(handle_, param, index, value.data(), &size) != FALSE,
               "a parameter has the size that was told");
        value.resize(size);
        return true;
    }
    void ReadAllParams() {
        Bytes value;
        for (DWORD param = CMSG_TYPE_PARAM; param <= CMSG_SIGNER_CERT_ID_PARAM; ++param) {
            for (DWORD index = 0; index < 3 && Param(param, index, value); ++index) continue;
        }
    }
    // Every signature against every certificate of the message.
    void VerifyAll() {
        Bytes certificate;
        for (DWORD i = 0; i < 4 && Param(CMSG_CERT_PARAM, i, certificate); ++i) {
            const PCCERT_CONTEXT context = CertCreateCertificateContext(
                kEncoding, certificate.data(), static_cast<DWORD>(certificate.size()));
            if (context == nullptr) continue;
            for (DWORD signer = 0; signer < 3; ++signer) Verify(context, signer);
            CertFreeCertificateContext(context);
        }
    }

  private:
    void Verify(PCCERT_CONTEXT certificate, DWORD signer) {
        CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
        para.cbSize = sizeof(para);
        para.dwSignerIndex = signer;
        para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
        para.pvSigner = const_cast<CERT_CONTEXT*>(certificate);
        (void)CryptMsgControl(handle_, 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para);
    }

    HCRYPTMSG handle_;
};

// Decrypted content is garbage of a fresh key each time and is not compared.
struct Outcome {
    bool good = false;
    bool decrypted = false;
    Bytes content;
};

Outcome ReadWhole(ByteView message) {
    Decoder decoder(nullptr);
    Outcome outcome;
    outcome.good = decoder.Update(message, true);
    outcome.decrypted = outcome.good && decoder.Decrypt();
    decoder.ReadAllParams();
    decoder.VerifyAll();
    if (outcome.good) decoder.Param(CMSG_CONTENT_PARAM, 0, outcome.content);
    return outcome;
}

BOOL WINAPI Collect(const void* arg, BYTE* data, DWORD size, BOOL /*isFinal*/) {
    Bytes& content = *static_cast<Bytes*>(const_cast<void*>(arg));
    if (size != 0) content.insert(content.end(), data, data + size);
    return TRUE;
}

Outcome ReadStreamed(ByteView message, std::size_t piece) {
    Outcome outcome;
    CMSG_STREAM_INFO stream{CMSG_INDEFINITE_LENGTH, Collect, &outcome.content};
    Decoder decoder(&stream);
    outcome.good = true;
    for (bool isFinal = false; outcome.good && !isFinal;) {
        isFinal = message.size() <= piece;
        const ByteView now = isFinal ? message : message.first(piece);
        outcome.good = decoder.Update(now, isFinal);
        outcome.decrypted = outcome.decrypted || decoder.Decrypt();
        message = message.subspan(now.size());
    }
    decoder.ReadAllParams();
    decoder.VerifyAll();
    return outcome;
}

void CheckWrittenAgain(ByteView message, const Bytes& content) {
    Decoder first(nullptr);
    Bytes again;
    if (!first.Update(message, true) || !first.Param(CMSG_ENCODED_MESSAGE, 0, again)) return;
    const Outcome second = ReadWhole(again);
    Demand(second.good, "what was written again can be read");
    Demand(second.content == content, "what was written again has the same content");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    std::string home = (std::filesystem::temp_directory_path() / "kestrel-fuzz-XXXXXX").string();
    Demand(mkdtemp(home.data()) != nullptr, "a temporary folder");
    setenv("KESTREL_HOME", home.c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", (home + "/machine").c_str(), 1);
    const platform::AnyKey key = platform::GenerateKey(PROV_RSA_AES);
    platform::Container::Create(platform::Side::User, kContainer, PROV_RSA_AES)
        .SaveKey(AT_KEYEXCHANGE, key, platform::Secret());
    Demand(
        CryptAcquireContextA(&provider, kContainer, nullptr, PROV_RSA_AES, CRYPT_SILENT) != FALSE,
        "a provider");
    // The key stays open in the provider; the files are not needed any more.
    (void)platform::PrivateKeyOf(provider, AT_KEYEXCHANGE);
    std::filesystem::remove_all(home);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ByteView message(data + 1, size - 1);
    const Outcome whole = ReadWhole(message);
    const Outcome streamed = ReadStreamed(message, std::size_t{1} + data[0]);
    // A key of chance gives good padding on one road and bad on the other.
    if (whole.decrypted || streamed.decrypted) return 0;
    Demand(whole.good == streamed.good, "both roads end alike");
    if (!whole.good) return 0;
    Demand(whole.content == streamed.content, "both roads give the same content");
    CheckWrittenAgain(message, whole.content);
    return 0;
}
