// -signf: a detached signature of each file in a companion ".sgn".
#include <algorithm>
#include <array>
#include <new>

#include "batch/batch.h"
#include "batch/steps.h"
#include "front/core/ask_size.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/base64.h"
#include "messages/files/road.h"
#include "messages/private_key.h"
#include "messages/signature.h"
#include "messages/stamp_keys.h"
#include "selection/providers.h"
#include "selection/search.h"
#include "stamps/stamps.h"

namespace kestrel {
namespace {

// What all files have in common, found at the first of them.
struct CommonFinds {
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    CrlHolder crl;
    DWORD pinFailure = 0;
    DWORD longest = 0;  // signature
};
CommonFinds common;

// The password is taken at the first file. One that failed is neither tried nor asked for at
// the next.
Reported BindWithPin(PCCERT_CONTEXT certificate) {
    if (common.pinFailure == kPinFailed) return ReportError(kPinFailed);
    if (common.pinFailure != 0) {
        SetLastError(common.pinFailure);
        return ReportError(kLastError);
    }
    const bool withPin = PinRequested();
    const Reported failure = BindPrivateKey(certificate);
    if (withPin) common.pinFailure = failure;
    return failure;
}

// A key that is not there leaves the line open, and the code alone tells (batch-4).
Reported BindQuietly(PCCERT_CONTEXT certificate) {
    const DWORD flags = PinRequested() ? CRYPT_ACQUIRE_SILENT_FLAG : 0;
    PrivateKey found;
    if (!AcquirePrivateKey(certificate, flags, found)) {
        return LeaveToClosingLine(Unreported(GetLastError()));
    }
    return BindWithPin(certificate);
}

Reported FindHash(PCCERT_CONTEXT certificate) {
    if (common.hash.pszObjId != nullptr) return 0;
    return FindAlgorithmForCertificate(certificate, CRYPT_HASH_ALG_OID_GROUP_ID, common.hash);
}

// Each search would open the stores anew, and they stay open.
Reported FindCrl(PCCERT_CONTEXT certificate) {
    if (!signatureSettings.crl) return 0;
    if (!common.crl) common.crl.reset(FindCrlForCertificate(certificate, false));
    if (!common.crl) return ReportError(kLastError);
    return 0;
}

// The stamp over the source, to be signed with it; empty without -sd.
Reported FetchContentStamp(const Block& source, const StampKeys& stamps, std::vector<BYTE>& token) {
    if (stamps.contentUrl == nullptr) return 0;
    const bool fetched = RequestTimeStamp(source.data.get(), source.size,
                                          StampUrl(stamps.contentUrl), token, !stamps.noStampCert);
    if (!fetched) return ReportError(kLastError);
    return 0;
}

// The record of CryptSignMessage and what it refers to.
struct DetachedSigner {
    CRYPT_SIGN_MESSAGE_PARA para{};
    PCCERT_CONTEXT certificate = nullptr;
    PCCRL_CONTEXT crl = nullptr;
    CRYPT_ATTRIBUTE stamp{};
    CRYPT_ATTR_BLOB stampValue{};
};

void FillSigner(DetachedSigner& signer, std::vector<BYTE>& token) {
    CRYPT_SIGN_MESSAGE_PARA& para = signer.para;
    para.cbSize = sizeof(para);
    para.dwMsgEncodingType = kMessageEncodingType;
    para.pSigningCert = signer.certificate;
    para.HashAlgorithm = common.hash;
    para.cMsgCert = signatureSettings.cert ? 1 : 0;
    para.rgpMsgCert = signatureSettings.cert ? &signer.certificate : nullptr;
    signer.crl = common.crl.get();
    para.cMsgCrl = signer.crl != nullptr ? 1 : 0;
    para.rgpMsgCrl = signer.crl != nullptr ? &signer.crl : nullptr;
    if (token.empty()) return;
    signer.stampValue = {static_cast<DWORD>(token.size()), token.data()};
    signer.stamp = {const_cast<char*>(kContentStampOid), 1, &signer.stampValue};
    para.cAuthAttr = 1;
    para.rgAuthAttr = &signer.stamp;
}

// Frees the source: it may be large, and nothing needs it any more.
Reported Sign(DetachedSigner& signer, Block& source, Block& signature) {
    std::array<const BYTE*, 1> blocks{source.data.get()};
    std::array<DWORD, 1> sizes{source.size};
    const auto sign = [&](BYTE* encoded, DWORD* size) {
        return CryptSignMessage(&signer.para, TRUE, 1, blocks.data(), sizes.data(), encoded, size);
    };
    const Reported failure = FetchBytes(signature.data, signature.size, sign, common.longest);
    common.longest = std::max(common.longest, signature.size);
    source.data.reset();
    return failure;
}

bool WriteText(const char* name, const Block& signature) {
    DWORD length = signature.size * 2;
    const std::unique_ptr<char[]> text(new (std::nothrow) char[length]);
    return text && EncodeBase64Lines64(signature.data.get(), signature.size, text.get(), &length) &&
           WriteWholeFile(name, text.get(), length, false);
}

bool WriteSignature(const char* name, const Block& signature) {
    if (!signatureSettings.der) return WriteText(name, signature);
    return WriteWholeFile(name, signature.data.get(), signature.size, false);
}

// From the file's bytes to the signature's. Keys are checked behind the binding, which
// takes the password.
Reported MakeSignature(Block& source, const StampKeys& stamps, Block& signature) {
    DetachedSigner signer;
    signer.certificate = state.foundCertificates->front();
    std::vector<BYTE> token;
    if (const Reported failure = FindHash(signer.certificate)) return failure;
    if (const Reported failure = FetchContentStamp(source, stamps, token)) return failure;
    if (const Reported failure = BindQuietly(signer.certificate)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    if (const Reported failure = FindCrl(signer.certificate)) return failure;
    FillSigner(signer, token);
    if (const Reported failure = Sign(signer, source, signature)) return failure;
    return StampSignature(stamps, signature.data, signature.size);
}

Reported SignFile(const char* sourceName, const char* companionName, DWORD,
                  const char* contentStampValue, const char* signatureStampValue,
                  DWORD noStampCertificate) {
    const StampKeys stamps{contentStampValue, signatureStampValue, noStampCertificate != 0};
    if (const Reported failure = CheckStampTransport(stamps)) return failure;
    Block source;
    Block signature;
    if (const Reported failure = ReadSource(sourceName, source)) return failure;
    if (const Reported failure = MakeSignature(source, stamps, signature)) return failure;
    if (!WriteSignature(companionName, signature))
        return EndLine(say::kWritingFailed, kCannotOpenFile);
    return EndLine(say::kFileDone, 0);
}

}  // namespace

DWORD RunSignFiles() {
    const DWORD code = RunFileBatch({BatchKind::Sign, kSignatureExtension, SignFile});
    common = {};
    return code;
}

}  // namespace kestrel
