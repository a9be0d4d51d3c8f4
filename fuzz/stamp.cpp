// Answers of a time-stamp service and bare tokens. What is taken for a token must be one by
// itself too, and must be held against the request that a client made.
#include <windows.h>

#include <cstdlib>
#include <memory>

#include "front/core/atl_exception.h"
#include "fuzz/support.h"
#include "stamps/client.h"
#include "stamps/verify.h"

namespace {

using ATL::CAtlException;
using Ferroline::CBlob;
using namespace Ferroline::PKI;

constexpr HRESULT kOtherImprint = static_cast<HRESULT>(CRYPT_E_HASH_VALUE);

// 0, or what was thrown; nothing but results may be.
template <class Steps>
HRESULT Result(const Steps& steps) {
    try {
        steps();
        return 0;
    } catch (const CAtlException& failure) {
        Demand(failure.Result() < 0, "a failure has its code");
        return failure.Result();
    }
}

bool HasToken(const CStamp& stamp) {
    DWORD size = 0;
    return Result([&] { stamp.GetTokenDER(nullptr, size); }) == 0;
}

void DecodeAlone(const CStamp& stamp) {
    CStamp alone;
    Demand(Result([&] { DecodeResponse(alone, stamp.GetToken(), nullptr); }) == 0,
           "a token can be read by itself");
    Demand(alone.GetHashValue() == stamp.GetHashValue() && alone.GetTime() == stamp.GetTime(),
           "a token says the same by itself");
    Demand(Result([&] { static_cast<void>(alone.GetStatus()); }) != 0, "a token has no status");
}

// A client that sent no nonce, and one that stamped other data.
void DecodeForClient(const CBlob& input, const CStamp& stamp) {
    static const std::unique_ptr<CStampClient> client = CStampClient::Create();
    client->hashValue = stamp.GetHashValue();
    CStamp answer;
    const HRESULT same = Result([&] { DecodeResponse(answer, input, client.get()); });
    Demand(same == 0 || (stamp.HasNonce() && same == static_cast<HRESULT>(kNonceDiffers)),
           "the nonce alone stands against the same imprint");
    client->hashValue.Append(CBlob("x", 1));
    Demand(Result([&] { DecodeResponse(answer, input, client.get()); }) == kOtherImprint,
           "another imprint is refused");
    Demand(!HasToken(answer), "what was refused leaves no token");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // No store and no policy of the machine has a say.
    setenv("KESTREL_HOME", "/nonexistent", 1);
    setenv("KESTREL_MACHINE_HOME", "/nonexistent", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CBlob input(data, static_cast<std::uint32_t>(size));
    CStamp stamp;
    if (Result([&] { DecodeResponse(stamp, input, nullptr); }) != 0 || !HasToken(stamp)) return 0;
    DecodeAlone(stamp);
    DecodeForClient(input, stamp);
    Result([&] { static_cast<void>(VerifyStampSignature(stamp)); });
    return 0;
}
