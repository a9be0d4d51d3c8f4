// The entry points of the time-stamp client.
#include "stamps/stamps.h"
#include "front/core/encoding.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "front/core/atl_exception.h"
#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "selection/providers.h"
#include "stamps/client.h"
#include "stamps/message_param.h"
#include "stamps/policy.h"
#include "stamps/stamp.h"
#include "stamps/verify.h"

namespace kestrel {
namespace {

using Ferroline::CBlob;
using Ferroline::CDateTime;
using Ferroline::CDateTimeSpan;
using Ferroline::PKI::CStamp;
using Ferroline::PKI::CStampClient;

constexpr char kContentStampOid[] = "1.2.840.113549.1.9.16.2.20";
constexpr char kSignatureStampOid[] = "1.2.840.113549.1.9.16.2.14";
constexpr std::uint32_t kGraceSeconds = 600;
constexpr std::uint32_t kSecondsPerHour = 3600;
constexpr long kMostHours = 10000000;  // more than any stamp is old

// Runs the steps; what they throw becomes the last error.
template <class Steps>
bool Guarded(const Steps& steps) {
    try {
        steps();
        return true;
    } catch (const ATL::CAtlException& failure) {
        SetLastError(static_cast<DWORD>(failure.Result()));
    } catch (...) {
        SetLastError(static_cast<DWORD>(E_FAIL));
    }
    return false;
}

std::wstring WideUrl(const char* url) {
    const int size = MultiByteToWideChar(CP_THREAD_ACP, 0, url, -1, nullptr, 0);
    if (size == 0) ATL::ThrowLastError();
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    if (MultiByteToWideChar(CP_THREAD_ACP, 0, url, -1, wide.data(), size) == 0) {
        ATL::ThrowLastError();
    }
    wide.pop_back();
    return wide;
}

// ---- adding ----------------------------------------------------------------------

CBlob EncodeStampAttribute(std::vector<BYTE>& token) {
    CRYPT_ATTR_BLOB value{static_cast<DWORD>(token.size()), token.data()};
    CRYPT_ATTRIBUTE attribute{const_cast<char*>(kSignatureStampOid), 1, &value};
    DWORD size = 0;
    if (!CryptEncodeObject(kMessageEncodingType, PKCS_ATTRIBUTE, &attribute, nullptr, &size)) {
        ATL::ThrowLastError();
    }
    CBlob encoded(size);
    if (!CryptEncodeObject(kMessageEncodingType, PKCS_ATTRIBUTE, &attribute, encoded.GetData(),
                           &size)) {
        ATL::ThrowLastError();
    }
    return encoded;
}

void AddAttribute(HCRYPTMSG message, CBlob attribute) {
    CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{};
    para.cbSize = sizeof(para);
    para.blob = {attribute.GetSize(), attribute.GetData()};
    if (!CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para)) {
        ATL::ThrowLastError();
    }
}

// Into a block like the caller's, who frees it.
void TakeEncoded(HCRYPTMSG message, BYTE*& data, DWORD& size) {
    DWORD needed = 0;
    if (!CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, nullptr, &needed)) {
        ATL::ThrowLastError();
    }
    BytesHolder encoded(static_cast<BYTE*>(std::malloc(needed)));
    if (!encoded) throw ATL::CAtlException(E_OUTOFMEMORY);
    if (!CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, encoded.get(), &needed)) {
        ATL::ThrowLastError();
    }
    std::free(data);
    data = encoded.release();
    size = needed;
}

// ---- checking --------------------------------------------------------------------

CBlob Hash(ALG_ID algorithm, const BYTE* data, DWORD size) {
    ProviderHolder provider;
    *provider.Fill() = FindProviderForAlgorithm(algorithm);
    HashHolder hash;
    DWORD length = 0;
    if (provider.Get() == 0 || !CryptCreateHash(provider.Get(), algorithm, 0, 0, hash.Fill()) ||
        !CryptHashData(hash.Get(), data, size, 0) ||
        !CryptGetHashParam(hash.Get(), HP_HASHVAL, nullptr, &length, 0)) {
        ATL::ThrowLastError();
    }
    CBlob value(length);
    if (!CryptGetHashParam(hash.Get(), HP_HASHVAL, value.GetData(), &length, 0)) {
        ATL::ThrowLastError();
    }
    return value;
}

// Ten minutes of grace on both sides, for clocks that differ.
void CheckAge(const CDateTime& time, const char* hoursText) {
    const long hours = std::strtol(hoursText, nullptr, 10);
    if (hours < 1) throw ATL::CAtlException(ERROR_INVALID_PARAMETER);
    const CDateTime now = CDateTime::Now();
    const std::uint64_t grace = CDateTimeSpan(kGraceSeconds).GetTicks();
    const std::uint64_t age = grace + CDateTimeSpan(kSecondsPerHour).GetTicks() *
                                          static_cast<std::uint64_t>(std::min(hours, kMostHours));
    if (time.GetTicks() + age < now.GetTicks() || time.GetTicks() > now.GetTicks() + grace) {
        throw ATL::CAtlException(static_cast<HRESULT>(SEC_E_CONTEXT_EXPIRED));
    }
}

void CheckWholeToken(CStamp& stamp) {
    for (const auto verify :
         {Ferroline::PKI::VerifyStampSignature, Ferroline::PKI::VerifyStampChain}) {
        if (const HRESULT result = verify(stamp); result < 0) throw ATL::CAtlException(result);
    }
}

// False with the last error set. The signature of the token and its chain are looked at only
// when that is wanted: without, checking needs no network and no trust, and rests on the
// imprint and the time.
bool VerifyStampToken(const CRYPT_ATTR_BLOB& token, const BYTE* data, DWORD size,
                      const char* hours) {
    return Guarded([&] {
        PrintMessage(say::kVerifyingTimeStamp, 0);
        CStamp stamp;
        DecodeResponse(stamp, CBlob(token.pbData, token.cbData), nullptr);
        if (!(Hash(stamp.GetHashAlg(), data, size) == stamp.GetHashValue())) {
            throw ATL::CAtlException(static_cast<HRESULT>(CRYPT_E_HASH_VALUE));
        }
        if (*hours != '\0') CheckAge(stamp.GetTime(), hours);
        if (Ferroline::PKI::WholeTokensWanted()) CheckWholeToken(stamp);
        PrintMessage(say::kFileDone, 1);
    });
}

struct StampedData {
    const char* oid;
    const BYTE* data;
    DWORD size;
    const char* hours;
};

// All stamps of a kind; the last failure, each of which was reported.
DWORD CheckAttributes(const Ferroline::SignerAttributes& attributes, const StampedData& stamped) {
    DWORD result = 0;
    for (const CRYPT_ATTRIBUTE& attribute : attributes.List()) {
        if (std::strcmp(attribute.pszObjId, stamped.oid) != 0 || attribute.cValue == 0) continue;
        if (VerifyStampToken(attribute.rgValue[0], stamped.data, stamped.size, stamped.hours)) {
            continue;
        }
        result = GetLastError();
        static_cast<void>(ReportError(kLastError));
    }
    return result;
}

}  // namespace

bool CheckHttpLibrary() {
    if (LoadLibraryA("winhttp.dll") != nullptr) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_DLL_NOT_FOUND) {
        std::fputs("\nwinhttp.dll not found!\n", stdout);
        std::fflush(stdout);
    }
    SetLastError(error);
    return false;
}

bool RequestTimeStamp(const BYTE* data, DWORD size, const char* url, std::vector<BYTE>& token,
                      bool certReq) {
    PrintMessage(say::kGettingTimeStamp, 0);
    const bool obtained = Guarded([&] {
        const std::unique_ptr<CStampClient> client = CStampClient::Create();
        client->SetCertReq(certReq);
        if (url != nullptr) client->SetUrl(WideUrl(url));
        client->HashData(data, size);
        const CBlob& encoded = client->ObtainStamp().GetToken();
        token.assign(encoded.Bytes().begin(), encoded.Bytes().end());
    });
    if (obtained) {
        PrintMessage(say::kFileDone, 1);
    } else {
        std::putchar('\n');
    }
    return obtained;
}

DWORD AddSignatureTimeStamp(BYTE*& message, DWORD& size, const char* url, bool noStampCert) {
    try {
        MessageHolder opened;
        Ferroline::OpenMessage(message, size, opened);
        const CBlob signature = Ferroline::MessageParam(opened.get(), CMSG_ENCRYPTED_DIGEST);
        std::vector<BYTE> token;
        if (!RequestTimeStamp(signature.GetData(), signature.GetSize(), url, token, !noStampCert)) {
            return GetLastError();
        }
        AddAttribute(opened.get(), EncodeStampAttribute(token));
        TakeEncoded(opened.get(), message, size);
        return 0;
    } catch (const ATL::CAtlException& failure) {
        return static_cast<DWORD>(failure.Result());
    }
}

DWORD CheckMessageStamps(const BYTE* message, DWORD messageSize, const BYTE* content,
                         DWORD contentSize, const char* contentHours, const char* signatureHours,
                         DWORD signerIndex) {
    if (contentHours == nullptr && signatureHours == nullptr) return 0;
    DWORD result = 0;
    const bool opened = Guarded([&] {
        MessageHolder whole;
        Ferroline::OpenMessage(message, messageSize, whole);
        const auto attributesOf = [&](DWORD param) {
            return Ferroline::SignerAttributes::Of(whole.get(), param, signerIndex);
        };
        if (contentHours != nullptr) {
            result = CheckAttributes(attributesOf(CMSG_SIGNER_AUTH_ATTR_PARAM),
                                     {kContentStampOid, content, contentSize, contentHours});
        }
        if (signatureHours == nullptr) return;
        const auto attributes = attributesOf(CMSG_SIGNER_UNAUTH_ATTR_PARAM);
        if (!attributes.IsPresent()) return;
        const CBlob signature =
            Ferroline::MessageParam(whole.get(), CMSG_ENCRYPTED_DIGEST, signerIndex);
        const DWORD code = CheckAttributes(attributes, {kSignatureStampOid, signature.GetData(),
                                                        signature.GetSize(), signatureHours});
        if (code != 0) result = code;
    });
    if (opened) return result;
    return ReportError(kLastError);
}

}  // namespace kestrel
