// GOST key transports of both forms, key agreements, public keys, key files and the codes of
// PKCS #12 files. The first byte chooses among them.
#include <openssl/pkcs12.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/support.h"
#include "platform/base/error.h"
#include "platform/cms/model.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/key_file.h"
#include "platform/providers/pkcs12.h"
#include "platform/providers/round_budget.h"

namespace {

using platform::ByteView;

const platform::AnyKey& KeyFor(bool small) {
    static const platform::AnyKey keys[] = {platform::GenerateKey(platform::kTypeGost2012_512),
                                            platform::GenerateKey(platform::kTypeGost2012_256)};
    return keys[small ? 1 : 0];
}

void Unwrap(const platform::AnyKey& key, const std::string& oid, ByteView wrapped) {
    const platform::Secret content = platform::UnwrapKey(key, {oid, {}}, wrapped, 32);
    Demand(content.View().size() == 32, "a content key has its length");
}

void ReadPublic(ByteView der) {
    const platform::AnyKey key = platform::PublicKeyFromDer(der);
    if (key.Gost() == nullptr) return;
    const platform::AnyKey again = platform::PublicKeyFromDer(platform::PublicKeyToDer(key));
    Demand(again.Matches(key), "a key written again is the same");
}

void ReadPrivate(ByteView der) {
    const platform::AnyKey key = platform::OpenKeyFile({false, platform::Secret(der)}, {});
    if (key.Gost() == nullptr) return;
    const auto file = platform::ParseKeyFile(platform::EncodeKeyFile(key, {}).View());
    Demand(file && platform::OpenKeyFile(*file, {}).Matches(key), "a key file holds the key");
}

void ReadPkcs12(ByteView der) {
    const unsigned char* at = der.data();
    const std::unique_ptr<PKCS12, decltype(&PKCS12_free)> file(
        d2i_PKCS12(nullptr, &at, static_cast<long>(der.size())), &PKCS12_free);
    if (!file || PKCS12_mac_present(file.get()) == 0) return;
    const ASN1_INTEGER* rounds = nullptr;
    const X509_ALGOR* digest = nullptr;
    PKCS12_get0_mac(nullptr, &digest, nullptr, &rounds, file.get());
    platform::RoundBudget().Spend(rounds, digest);
    (void)platform::GostMacFits(file.get(), platform::Secret(der.first(1)));
}

void ReadAgreement(ByteView der) {
    std::vector<platform::RecipientInfo> recipients;
    platform::ParseRecipientInfo(der, recipients);
    for (std::size_t i = 0; i < std::min<std::size_t>(recipients.size(), 4); ++i) {
        const platform::RecipientInfo& recipient = recipients[i];
        if (recipient.kind != platform::RecipientInfo::Kind::KeyAgreement) continue;
        for (const bool small : {true, false}) {
            try {
                const platform::Secret content = platform::UnwrapAgreedKey(
                    KeyFor(small), *recipient.agreement, recipient.encryptedKey, 32);
                Demand(content.View().size() == 32, "an agreed content key has its length");
            } catch (const platform::Error&) {
            }
        }
    }
}

void Read(unsigned choice, ByteView input) {
    switch (choice % 7) {
        case 0:
            return Unwrap(KeyFor(true), platform::oid::kGostR3410_2012_256, input);
        case 1:
            return Unwrap(KeyFor(false), platform::oid::kGostR3410_2012_512, input);
        case 2:
            return Unwrap(KeyFor(true), platform::oid::kMagmaWrap, input);
        case 3:
            return ReadPublic(input);
        case 4:
            return ReadPrivate(input);
        case 5:
            return ReadPkcs12(input);
        default:
            return ReadAgreement(input);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    try {
        Read(data[0], {data + 1, size - 1});
    } catch (const platform::Error&) {
    }
    return 0;
}
