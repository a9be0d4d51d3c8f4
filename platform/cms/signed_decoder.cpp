// SignedData as it arrives, and the check of its signatures.
#include "platform/cms/signed_decoder.h"

#include <algorithm>
#include <utility>

#include "platform/certs/certificate.h"
#include "platform/certs/compare.h"
#include "platform/cms/decoder_verify.h"
#include "platform/cms/params.h"
#include "platform/der/der.h"
#include "platform/der/records.h"

namespace platform {
namespace {

bool Names(const KeyHolder& holder, const CERT_INFO& info) {
    const auto record = HolderRecord(holder);
    return SameCertificate(*reinterpret_cast<const CERT_INFO*>(record.get()), info);
}

// RFC 5652 5.1 and 10.2.5 know these; what a later one would mean nobody can tell.
long KnownVersion(long version) {
    if (version < 1 || version > 5) {
        throw Error(CRYPT_E_BAD_MSG, "SignedData " + std::to_string(version));
    }
    return version;
}

}  // namespace

std::unique_ptr<DecoderBody> NewSignedBody(const DecodeSettings& settings) {
    return std::make_unique<SignedBody>(settings);
}

void SignedBody::Keep(Piece piece, Bytes der) {
    switch (piece) {
        case Piece::Version:
            records_.version = KnownVersion(der::Cursor(der).SmallInteger());
            progress_ = Progress::Version;
            return;
        case Piece::DigestAlgorithm:
            records_.digests.push_back(ParseAlgorithm(der));
            return;
        case Piece::ContentType:
            records_.contentType = der::Cursor(der).OidText();
            progress_ = Progress::ContentType;
            return StartDigests();
        case Piece::Certificate:
            records_.certificates.push_back(std::move(der));
            return;
        case Piece::Crl:
            records_.crls.push_back(std::move(der));
            return;
        case Piece::Signer:
            records_.signers.push_back(ParseSignerInfo(der));
            return;
        default:
            return;
    }
}

// One digest for each algorithm, however often it is listed. What is not known, or not
// installed, matters only once a signer needs it.
void SignedBody::StartDigests() {
    if (Held()) return;
    for (const Algorithm& algorithm : records_.digests) {
        const auto same = [&](const Digest& digest) { return digest.Oid() == algorithm.oid; };
        if (std::any_of(digests_.begin(), digests_.end(), same)) continue;
        try {
            digests_.emplace_back(algorithm.oid);
        } catch (const Error&) {
            continue;
        }
    }
}

ContentForm SignedBody::BeginContent(const BerHeader& header) {
    // With the detached flag the content comes behind the message, never inside it too.
    if (settings_.detached) throw Error(CRYPT_E_BAD_MSG);
    // Content of a message that is held grows once, however many pieces it lies in.
    if (Held()) content_.reserve(settings_.heldInput);
    if ((header.First() & ~der::kConstructed) == der::kOctetString) return ContentForm::OctetString;
    // PKCS #7 v1.5 allows any element for a type other than data (RFC 5652 5.2.1). Messages
    // of the later versions do not, and a tag changed on the way shall not pass for one.
    const bool anyElement = records_.version == 1 && records_.contentType != szOID_RSA_data;
    if (!anyElement || header.HighTagNumber()) throw Error(CRYPT_E_ASN1_BADTAG);
    rawTag_ = header.First();
    return ContentForm::Raw;
}

void SignedBody::Content(ByteView octets) {
    if (octets.empty()) return;
    if (Held()) return der::Append(content_, octets);
    for (Digest& digest : digests_) digest.Update(octets);
    watch_.Feed(octets);
    if (!settings_.detached) settings_.sink->Write(octets, false);
}

void SignedBody::EndMessage() {
    progress_ = Progress::Records;
    if (!settings_.detached) Complete();
}

void SignedBody::EndDetachedContent() {
    contentComplete_ = true;
    Complete();
}

void SignedBody::Complete() {
    if (settings_.sink) settings_.sink->Write({}, true);
}

void SignedBody::Require(Progress progress) const {
    if (progress_ < progress) throw Error(settings_.NotReady());
}

// Held content is digested when that is asked for, since most changes of a message need no
// digest and its size has no limit. What passed by had to be digested by then.
Bytes SignedBody::ContentDigest(const std::string& oid) {
    // Signed over nothing is another thing than signed over something that is not here.
    if (!contentComplete_) throw Error(CRYPT_E_BAD_MSG);
    for (const Digest& digest : digests_) {
        if (digest.Oid() == oid) return digest.Value();
    }
    (void)DigestSize(oid);  // may know a better reason
    if (!Held()) throw Error(NTE_BAD_ALGID, oid);
    Digest digest(oid);
    digest.Update(content_);
    return digests_.emplace_back(std::move(digest)).Value();
}

// A signer may use only what the message announced in front of the content (RFC 5652 5.1),
// streamed or not.
Bytes SignedBody::AnnouncedDigest(const std::string& oid) {
    const auto same = [&](const Algorithm& listed) { return listed.oid == oid; };
    const bool announced = std::any_of(records_.digests.begin(), records_.digests.end(), same);
    if (contentComplete_ && !announced) throw Error(NTE_BAD_ALGID, oid);
    return ContentDigest(oid);
}

void SignedBody::RequireOrdinaryContent() {
    if (Held() && !std::exchange(watched_, true)) watch_.Feed(content_);
    watch_.RequireOrdinary();
}

void SignedBody::Control(DWORD type, const void* para) {
    Require(Progress::Records);
    switch (type) {
        case CMSG_CTRL_VERIFY_SIGNATURE:
            return VerifyByCertificate(RecordAt<CERT_INFO>(para));
        case CMSG_CTRL_VERIFY_SIGNATURE_EX:
            return VerifyByIndex(SizedRecordAt<CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA>(para));
        default:
            return Edit(type, para);
    }
}

void SignedBody::VerifyByCertificate(const CERT_INFO& info) {
    for (const SignerInfo& signer : records_.signers) {
        if (Names(signer.signer, info)) return VerifyWith(signer, info);
    }
    throw Error(CRYPT_E_SIGNER_NOT_FOUND);
}

void SignedBody::VerifyByIndex(const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA& para) {
    if (para.pvSigner == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const SignerInfo& signer = ItemAt(records_.signers, para.dwSignerIndex);
    switch (para.dwSignerType) {
        case CMSG_VERIFY_SIGNER_PUBKEY:
            return VerifyWith(signer, *static_cast<const CERT_PUBLIC_KEY_INFO*>(para.pvSigner));
        case CMSG_VERIFY_SIGNER_CERT: {
            const auto certificate = Certificate::Of(static_cast<PCCERT_CONTEXT>(para.pvSigner));
            return VerifyWith(signer, certificate->Info());
        }
        default:
            throw Error(ERROR_INVALID_PARAMETER);
    }
}

// Who signed is told by these names, so they have to be some. A record that a caller made of
// issuer, number and key has no subject.
void SignedBody::VerifyWith(const SignerInfo& signer, const CERT_INFO& info) {
    for (const CERT_NAME_BLOB& name : {info.Issuer, info.Subject}) {
        if (name.cbData != 0) RequireName(ViewOf(name));
    }
    VerifyWith(signer, info.SubjectPublicKeyInfo);
}

void SignedBody::VerifyWith(const SignerInfo& signer, const CERT_PUBLIC_KEY_INFO& info) {
    const Bytes digest = AnnouncedDigest(signer.digest.oid);
    if (!signer.signedAttributes) RequireOrdinaryContent();
    const AnyKey key = PublicKeyFromInfo(info);
    VerifySigner(signer, records_.contentType, digest, key);
}

}  // namespace platform
