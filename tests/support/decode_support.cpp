// Received messages and the loops that feed them.
#include "tests/support/decode_support.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/providers/container.h"

namespace platform::testing {
Bytes SignWith(const std::vector<std::string>& signers, const std::string& options,
               ByteView content) {
    WriteFile("content", content);
    std::string command = "cms -sign -engine gost -binary -in content -outform DER -out made.der";
    for (const std::string& name : signers) {
        command +=
            std::string(" -signer ") + IdentityOf(name).name + ".pem -inkey " + name + ".key";
    }
    OpenSsl(command + " " + options);
    return ReadFile("made.der");
}

Bytes EncryptFor(const std::vector<std::string>& recipients, const std::string& options,
                 ByteView content) {
    WriteFile("content", content);
    std::string command =
        "cms -encrypt -engine gost -binary -in content -outform DER -out made.der " + options;
    for (const std::string& name : recipients) {
        command += std::string(" ") + IdentityOf(name).name + ".pem";
    }
    OpenSsl(command);
    return ReadFile("made.der");
}

Decoding::Decoding(Sink* sink, DWORD flags, DWORD type) {
    CMSG_STREAM_INFO info{};
    if (sink != nullptr) info = sink->Info();
    handle_ = CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, flags, type, 0, nullptr,
                                   sink != nullptr ? &info : nullptr);
    EXPECT_NE(handle_, nullptr) << std::hex << GetLastError();
}

Decoding::Decoding(const Bytes& whole, DWORD flags) : Decoding(nullptr, flags) {
    EXPECT_EQ(Update(whole, true), 0U);
}

Decoding::~Decoding() { EXPECT_TRUE(CryptMsgClose(handle_)); }

DWORD Decoding::Update(ByteView piece, bool isFinal) {
    return Outcome(CryptMsgUpdate(handle_, piece.data(), static_cast<DWORD>(piece.size()),
                                  isFinal ? TRUE : FALSE));
}

DWORD Decoding::Feed(ByteView message, std::size_t chunk, HCRYPTPROV provider, DWORD recipient) {
    bool waiting = provider != 0;
    for (;;) {
        const ByteView piece = message.first(std::min(chunk, message.size()));
        message = message.subspan(piece.size());
        const bool isFinal = piece.size() < chunk;
        DWORD error = Update(piece, isFinal);
        if (error == 0 && waiting) {
            error = Get(CMSG_ENVELOPE_ALGORITHM_PARAM);
            waiting = error == Code(CRYPT_E_STREAM_MSG_NOT_READY) && !isFinal;
            if (waiting) continue;
            if (error == 0) error = Decrypt(provider, recipient);
        }
        if (error != 0 || isFinal) return error;
    }
}

DWORD Decoding::Decrypt(HCRYPTPROV provider, DWORD recipient) {
    CMSG_CTRL_DECRYPT_PARA para{};
    para.cbSize = sizeof para;
    para.hCryptProv = provider;
    para.dwKeySpec = AT_KEYEXCHANGE;
    para.dwRecipientIndex = recipient;
    return Control(CMSG_CTRL_DECRYPT, &para);
}

DWORD Decoding::Verify(DWORD signer, PCCERT_CONTEXT certificate) {
    CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
    para.cbSize = sizeof para;
    para.dwSignerIndex = signer;
    para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
    para.pvSigner = const_cast<CERT_CONTEXT*>(certificate);
    return Control(CMSG_CTRL_VERIFY_SIGNATURE_EX, &para);
}

DWORD Decoding::Control(DWORD type, const void* para) {
    return Outcome(CryptMsgControl(handle_, 0, type, para));
}

DWORD Decoding::Get(DWORD param, DWORD index) {
    DWORD size = 0;
    return Outcome(CryptMsgGetParam(handle_, param, index, nullptr, &size));
}

Bytes Decoding::Value(DWORD param, DWORD index) {
    DWORD size = 0;
    EXPECT_TRUE(CryptMsgGetParam(handle_, param, index, nullptr, &size))
        << param << " " << std::hex << GetLastError();
    Bytes value(size);
    EXPECT_TRUE(CryptMsgGetParam(handle_, param, index, value.data(), &size)) << param;
    value.resize(size);
    return value;
}

DWORD Decoding::Number(DWORD param) {
    DWORD number = 0;
    DWORD size = sizeof number;
    EXPECT_TRUE(CryptMsgGetParam(handle_, param, 0, &number, &size))
        << param << " " << std::hex << GetLastError();
    return number;
}

std::string Decoding::Text(DWORD param) {
    const Bytes value = Value(param);
    return value.empty() ? "" : std::string(value.begin(), value.end() - 1);
}

HCRYPTPROV StrangerProvider(const Identity& identity) {
    static int count = 0;
    const std::string name = "stranger-" + std::to_string(count++);
    const AnyKey key = GenerateKey(identity.type);
    Container::Create(Side::User, name, identity.type).SaveKey(AT_KEYEXCHANGE, key, Secret());
    HCRYPTPROV provider = 0;
    EXPECT_TRUE(
        CryptAcquireContextA(&provider, name.c_str(), nullptr, identity.type, CRYPT_SILENT));
    return provider;
}

}  // namespace platform::testing
