// -signf: a detached signature of each file in a companion ".sgn".
#include <array>
#include <new>

#include "batch/batch.h"
#include "batch/steps.h"
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

constexpr char kSignatureExtension[] = ".sgn";

// Returned without a report: the line stays open and the code alone tells. A password that
// failed was reported.
DWORD BindQuietly(PCCERT_CONTEXT certificate) {
    const DWORD flags = PinRequested() ? CRYPT_ACQUIRE_SILENT_FLAG : 0;
    PrivateKey found;
    if (!AcquirePrivateKey(certificate, flags, found)) return GetLastError();
    return BindPrivateKey(certificate);
}

// What all files have in common, found at the first of them.
struct CommonFinds {
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    CrlHolder crl;
};
CommonFinds common;

DWORD FindHash(PCCERT_CONTEXT certificate) {
    if (common.hash.pszObjId != nullptr) return 0;
    return FindAlgorithmForCertificate(certificate, CRYPT_HASH_ALG_OID_GROUP_ID, common.hash);
}

// Each search would open the stores anew, and they stay open.
DWORD FindCrl(PCCERT_CONTEXT certificate) {
    if (!signatureSettings.crl) return 0;
    if (!common.crl) common.crl.reset(FindCrlForCertificate(certificate, false));
    return common.crl ? 0 : ReportError(kLastError);
}

// The stamp over the source, to be signed with it; empty without -sd.
DWORD FetchContentStamp(const Block& source, const StampKeys& stamps, std::vector<BYTE>& token) {
    if (stamps.contentUrl == nullptr) return 0;
    const bool fetched = RequestTimeStamp(source.data.get(), source.size,
                                          StampUrl(stamps.contentUrl), token, !stamps.noStampCert);
    return fetched ? 0 : ReportError(kLastError);
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
DWORD Sign(DetachedSigner& signer, Block& source, Block& signature) {
    std::array<const BYTE*, 1> blocks{source.data.get()};
    std::array<DWORD, 1> sizes{source.size};
    const auto sign = [&](BYTE* encoded) {
        return CryptSignMessage(&signer.para, TRUE, 1, blocks.data(), sizes.data(), encoded,
                                &signature.size) != FALSE;
    };
    if (!sign(nullptr)) return ReportError(kLastError);
    signature.data.reset(static_cast<BYTE*>(std::malloc(signature.size)));
    if (!signature.data) return kNoMemory;
    if (!sign(signature.data.get())) return ReportError(kLastError);
    source.data.reset();
    return 0;
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
DWORD MakeSignature(Block& source, const StampKeys& stamps, Block& signature) {
    DetachedSigner signer;
    signer.certificate = state.foundCertificates->front();
    std::vector<BYTE> token;
    DWORD code = FindHash(signer.certificate);
    if (code == 0) code = FetchContentStamp(source, stamps, token);
    if (code == 0) code = BindQuietly(signer.certificate);
    if (code == 0) code = RejectLeftoverKeys();
    if (code == 0) code = FindCrl(signer.certificate);
    if (code != 0) return code;
    FillSigner(signer, token);
    code = Sign(signer, source, signature);
    return code != 0 ? code : StampSignature(stamps, signature.data, signature.size);
}

DWORD SignFile(const char* sourceName, const char* companionName, DWORD,
               const char* contentStampValue, const char* signatureStampValue,
               DWORD noStampCertificate) {
    const StampKeys stamps{contentStampValue, signatureStampValue, noStampCertificate != 0};
    if (const DWORD code = CheckStampTransport(stamps); code != 0) return code;
    Block source;
    Block signature;
    if (const DWORD code = ReadSource(sourceName, source); code != 0) return code;
    if (const DWORD code = MakeSignature(source, stamps, signature); code != 0) return code;
    if (!WriteSignature(companionName, signature)) return EndLine(kWritingFailed, kCannotOpenFile);
    return EndLine(kFileDone, 0);
}

}  // namespace

DWORD RunSignFiles() {
    const DWORD code = RunFileBatch({BatchKind::Sign, kSignatureExtension, SignFile});
    common = {};
    return code;
}

}  // namespace kestrel
