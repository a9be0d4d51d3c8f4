// What a client asks a service.
#include "stamps/client.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace Ferroline::PKI;

// X.690 8.3.2; one nonce in 256 would break it by chance.
TEST(StampClient, ANonceIsAnIntegerThatServicesTake) {
    const std::unique_ptr<CStampClient> client = CStampClient::Create();
    client->SetHashOID("2.16.840.1.101.3.4.2.1");
    client->hashValue = Ferroline::CBlob(std::string(32, 'h').data(), 32);
    client->policySettings.nonceLength = 2;
    for (int i = 0; i < 4000; ++i) {
        BuildRequest(*client);
        const std::uint8_t* nonce = client->nonce.GetData();
        ASSERT_EQ(client->nonce.GetSize(), 2U);
        ASSERT_TRUE(nonce[0] < 0x80 && (nonce[0] != 0 || nonce[1] >= 0x80))
            << client->nonce.ToHex();
    }
}

}  // namespace
