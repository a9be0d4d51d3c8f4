// OCSP in DER: the request as it is written, the answer as it is judged.
#include "platform/chain/ocsp.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/chain/checks.h"
#include "platform/chain/pool.h"
#include "platform/der/records.h"
#include "platform/der/values.h"

namespace platform {
namespace {

constexpr const char* kBasicResponse = "1.3.6.1.5.5.7.48.1.1";
constexpr const char* kArchiveCutoffOid = "1.3.6.1.5.5.7.48.1.6";
constexpr const char* kInvalidityDateOid = "2.5.29.24";
constexpr const char* kOcspSigning = "1.3.6.1.5.5.7.3.9";
constexpr std::uint8_t kEnumerated = 0x0A;
constexpr std::uint8_t kGood = 0x80;     // [0] IMPLICIT NULL
constexpr std::uint8_t kRevoked = 0xA1;  // [1] IMPLICIT RevokedInfo
constexpr Ticks kClockSkew = 300 * kTicksPerSecond;
constexpr Ticks kWithoutNextUpdate = 3600 * kTicksPerSecond;
constexpr std::size_t kMostDelegates = 16;

// What is told to a user who asks why a responder's answer did not count.
class Refusal {
  public:
    explicit Refusal(const char* why, bool refused = false) : why_(why), refused_(refused) {}
    [[nodiscard]] OcspFinding Finding() const {
        OcspFinding finding;
        finding.fault = why_;
        finding.refused = refused_;
        return finding;
    }

  private:
    const char* why_;
    bool refused_;
};

Bytes SerialOf(const Certificate& certificate) {
    Bytes serial = Copy(ViewOf(certificate.Info().SerialNumber));
    std::reverse(serial.begin(), serial.end());
    return serial;
}

ByteView KeyBitsOf(const Certificate& certificate) {
    return ViewOf(certificate.Info().SubjectPublicKeyInfo.PublicKey);
}

// ---- reading ---------------------------------------------------------------------

struct SingleResponse {
    ByteView certId;
    der::Item status;
    FILETIME thisUpdate{};
    FILETIME nextUpdate{};
    ByteView invalidityDate;  // empty when it tells none
    ByteView archiveCutoff;   // likewise
};

struct BasicResponse {
    ByteView toBeSigned;
    ByteView algorithm;
    ByteView signature;
    std::vector<ByteView> certificates;
    der::Item responder;
    std::vector<SingleResponse> responses;
};

// The extensions, none of which is critical.
std::vector<ExtensionView> OptionalExtensions(ByteView explicitly) {
    auto extensions = ReadExtensions(der::Cursor(explicitly).Expect(der::kSequence).contents);
    for (const ExtensionView& extension : extensions) {
        if (extension.critical) throw Refusal("an unknown critical extension");
    }
    return extensions;
}

// RFC 6960 4.4.4, and 4.4.5: those of a list's entries may stand here.
void TakeExtensions(const std::vector<ExtensionView>& extensions, SingleResponse& single) {
    for (const ExtensionView& extension : extensions) {
        if (extension.oid == kInvalidityDateOid) single.invalidityDate = extension.value;
        if (extension.oid == kArchiveCutoffOid) single.archiveCutoff = extension.value;
    }
}

SingleResponse ReadSingle(der::Cursor cursor) {
    SingleResponse single;
    single.certId = cursor.Expect(der::kSequence).contents;
    single.status = cursor.Next();
    single.thisUpdate = ReadTime(cursor.Next());
    if (cursor.NextIs(der::ContextConstructed(0))) {
        single.nextUpdate = ReadTime(der::Cursor(cursor.Next().contents).Next());
    }
    if (cursor.NextIs(der::ContextConstructed(1))) {
        TakeExtensions(OptionalExtensions(cursor.Next().contents), single);
    }
    cursor.ExpectEnd();
    return single;
}

void ReadResponseData(der::Cursor cursor, BasicResponse& basic) {
    if (cursor.NextIs(der::ContextConstructed(0))) {
        if (der::Cursor(cursor.Next().contents).SmallInteger() != 0) throw Refusal("its version");
    }
    basic.responder = cursor.Next();
    ReadTime(cursor.Next());  // producedAt: each answer has a time of its own
    der::Cursor list(cursor.Expect(der::kSequence).contents);
    while (!list.AtEnd()) {
        basic.responses.push_back(ReadSingle(der::Cursor(list.Expect(der::kSequence).contents)));
    }
    if (cursor.NextIs(der::ContextConstructed(1))) OptionalExtensions(cursor.Next().contents);
    cursor.ExpectEnd();
}

BasicResponse ReadBasic(ByteView der) {
    der::Cursor cursor = der::Inside(der, der::kSequence);
    BasicResponse basic;
    const der::Item data = cursor.Expect(der::kSequence);
    basic.toBeSigned = data.whole;
    basic.algorithm = cursor.Expect(der::kSequence).whole;
    basic.signature = cursor.Expect(der::kBitString).contents;
    if (cursor.NextIs(der::ContextConstructed(0))) {
        der::Cursor list(der::Cursor(cursor.Next().contents).Expect(der::kSequence).contents);
        while (!list.AtEnd()) basic.certificates.push_back(list.Expect(der::kSequence).whole);
    }
    cursor.ExpectEnd();
    ReadResponseData(der::Cursor(data.contents), basic);
    return basic;
}

// RFC 6960 4.2.1.
void CheckStatus(ByteView status) {
    constexpr std::uint8_t kSuccessful = 0;
    constexpr std::uint8_t kMalformedRequest = 1;
    constexpr std::uint8_t kTryLater = 3;
    constexpr std::uint8_t kUnauthorized = 6;
    const std::uint8_t code = status.size() == 1 ? status[0] : std::uint8_t{0xFF};
    if (code == kSuccessful) return;
    if (code == kMalformedRequest) throw Refusal("the responder cannot read the request", true);
    if (code == kUnauthorized) throw Refusal("the responder is not authorized to answer", true);
    if (code == kTryLater) throw Refusal("the responder says to try later");
    throw Refusal("the responder has a fault");
}

ByteView BasicIn(ByteView response) {
    der::Cursor cursor = der::Inside(response, der::kSequence);
    CheckStatus(cursor.Expect(kEnumerated).contents);
    der::Cursor bytes(der::Cursor(cursor.Expect(der::ContextConstructed(0)).contents)
                          .Expect(der::kSequence)
                          .contents);
    cursor.ExpectEnd();
    if (bytes.OidText() != kBasicResponse) throw Refusal("an unknown kind of answer");
    const ByteView basic = bytes.Expect(der::kOctetString).contents;
    bytes.ExpectEnd();
    return basic;
}

// ---- judging ---------------------------------------------------------------------

bool NamesSubject(ByteView certId, const RevocationQuestion& question) {
    der::Cursor cursor(certId);
    der::Cursor algorithm(cursor.Expect(der::kSequence).whole);
    const std::string digest = ReadAlgorithm(algorithm).oid;
    const ByteView name = cursor.Expect(der::kOctetString).contents;
    const ByteView key = cursor.Expect(der::kOctetString).contents;
    const ByteView serial = cursor.Expect(der::kInteger).contents;
    cursor.ExpectEnd();
    if (!Equal(serial, SerialOf(question.subject))) return false;
    try {
        return Equal(name, DigestOf(digest, ViewOf(question.subject.Info().Issuer))) &&
               Equal(key, DigestOf(digest, KeyBitsOf(question.issuer)));
    } catch (const Error&) {
        return false;  // a digest that is not known
    }
}

// The latest one that names the certificate.
const SingleResponse& OneFor(const BasicResponse& basic, const RevocationQuestion& question) {
    const SingleResponse* latest = nullptr;
    for (const SingleResponse& single : basic.responses) {
        if (!question.budget.Spend(single.certId.size() * 10) ||
            !NamesSubject(single.certId, question)) {
            continue;
        }
        const bool later =
            latest == nullptr || TicksOf(single.thisUpdate) > TicksOf(latest->thisUpdate);
        if (later) latest = &single;
    }
    if (latest == nullptr) throw Refusal("it is about another certificate");
    return *latest;
}

Ticks EndOf(const SingleResponse& single) {
    const Ticks told = TicksOf(single.nextUpdate);
    return told != 0 ? told : TicksOf(single.thisUpdate) + kWithoutNextUpdate;
}

void CheckInForce(const SingleResponse& single, const FILETIME& now) {
    if (TicksOf(single.thisUpdate) > TicksOf(now) + kClockSkew) {
        throw Refusal("it is of the future");
    }
    if (EndOf(single) < TicksOf(now)) throw Refusal("it is out of date");
}

// RFC 6960 4.2.1: by name, or by SHA-1 of the key's bits.
bool IsResponder(const der::Item& responder, const Certificate& certificate) {
    if (responder.tag == der::ContextConstructed(2)) {
        const ByteView hash = der::Cursor(responder.contents).Expect(der::kOctetString).contents;
        return Equal(hash, Sha1Of(KeyBitsOf(certificate)));
    }
    if (responder.tag != der::ContextConstructed(1)) throw Refusal("no responder");
    const CERT_NAME_BLOB name = {static_cast<DWORD>(responder.contents.size()),
                                 const_cast<BYTE*>(responder.contents.data())};
    return DistinguishedName(name).Equals(DistinguishedName(certificate.Info().Subject));
}

bool ResponseSignedBy(const BasicResponse& basic, const Certificate& signer, Budget& budget) {
    const CERT_PUBLIC_KEY_INFO& key = signer.Info().SubjectPublicKeyInfo;
    return !IsWeakKey(key) && budget.SpendSignature(key, basic.toBeSigned.size()) &&
           CheckSignature(basic.toBeSigned, basic.algorithm, basic.signature, key).state ==
               SignatureState::Good;
}

// RFC 6960 4.2.2.2: the issuer signed it, for this and no longer than it says.
bool IsDelegate(const Certificate& delegate, RevocationQuestion& question) {
    const auto usages = UsagesOf(delegate);
    return usages && std::find(usages->begin(), usages->end(), kOcspSigning) != usages->end() &&
           ValidAt(delegate, question.now) &&
           question.budget.SpendSignature(question.issuer.Info().SubjectPublicKeyInfo,
                                          delegate.Der().size()) &&
           HasIssued(question.issuer, delegate);
}

bool IsRevoked(const Certificate& delegate, const RevocationQuestion& question,
               const DelegateRevoked& revoked) {
    RevocationQuestion own{delegate,     question.issuer, question.now,
                           question.now, question.others, question.budget};
    return revoked(own);
}

// The delegate that signed it; null for none.
std::shared_ptr<Certificate> SigningDelegate(const BasicResponse& basic,
                                             RevocationQuestion& question,
                                             const DelegateRevoked& revoked) {
    const std::size_t count = std::min(basic.certificates.size(), kMostDelegates);
    for (std::size_t i = 0; i < count; ++i) {
        auto delegate = Certificate::Parse(basic.certificates[i]);
        if (IsResponder(basic.responder, *delegate) && IsDelegate(*delegate, question) &&
            ResponseSignedBy(basic, *delegate, question.budget) &&
            !IsRevoked(*delegate, question, revoked)) {
            return delegate;
        }
    }
    return nullptr;
}

// How long the answer counts: a delegate's no longer than his certificate is valid.
Ticks CountsUntil(const BasicResponse& basic, const SingleResponse& single,
                  RevocationQuestion& question, const DelegateRevoked& revoked) {
    const bool issuers = IsResponder(basic.responder, question.issuer) &&
                         ResponseSignedBy(basic, question.issuer, question.budget);
    if (issuers) return EndOf(single);
    const auto delegate = SigningDelegate(basic, question, revoked);
    if (!delegate) throw Refusal("nobody signed it who may");
    return std::min(EndOf(single), TicksOf(delegate->Info().NotAfter));
}

Revocation VerdictOf(const SingleResponse& single, const RevocationQuestion& question) {
    if (single.status.tag == kGood) return Revocation::Good;
    if (single.status.tag != kRevoked) throw Refusal("the responder does not know the certificate");
    const FILETIME when = ReadTime(der::Cursor(single.status.contents).Next());
    return TicksOf(when) > TicksOf(question.time) ? Revocation::Good : Revocation::Revoked;
}

// A later revocation for a key that was lost by the question's time.
bool WasCompromised(const SingleResponse& single, const RevocationQuestion& question) {
    if (single.status.tag != kRevoked || single.invalidityDate.empty()) return false;
    der::Cursor revoked(single.status.contents);
    revoked.Next();
    const bool lost =
        revoked.NextIs(der::ContextConstructed(0)) && IsLostKey(revoked.Next().contents);
    return lost && WasInvalid(single.invalidityDate, question.time);
}

// "Good", from a responder who no longer has to know.
bool IsSilentOn(const SingleResponse& single, const RevocationQuestion& question) {
    return single.status.tag == kGood &&
           !HasToTell(question.subject, single.thisUpdate, single.archiveCutoff);
}

}  // namespace

Bytes OcspRequest(std::string_view digestOid, const Certificate& subject,
                  const Certificate& issuer) {
    const Bytes null = der::Element(der::kNull, ByteView());
    const Bytes algorithm = EncodeAlgorithm({std::string(digestOid), null});
    const Bytes name =
        der::Element(der::kOctetString, DigestOf(digestOid, ViewOf(subject.Info().Issuer)));
    const Bytes key = der::Element(der::kOctetString, DigestOf(digestOid, KeyBitsOf(issuer)));
    const Bytes serial = der::Element(der::kInteger, SerialOf(subject));
    Bytes request = der::Element(der::kSequence, {algorithm, name, key, serial});
    // Request, requestList, TBSRequest, OCSPRequest.
    for (int level = 0; level < 4; ++level) request = der::Element(der::kSequence, request);
    return request;
}

bool IsNeverRevoked(const Certificate& delegate) {
    return X509_get_ext_by_NID(delegate.Native(), NID_id_pkix_OCSP_noCheck, -1) >= 0;
}

OcspFinding JudgeOcsp(ByteView response, RevocationQuestion& question,
                      const DelegateRevoked& revoked) {
    try {
        const BasicResponse basic = ReadBasic(BasicIn(response));
        const SingleResponse& single = OneFor(basic, question);
        CheckInForce(single, question.now);
        OcspFinding finding;
        finding.until = CountsUntil(basic, single, question, revoked);
        finding.verdict = VerdictOf(single, question);
        question.evidence = {{},
                             single.thisUpdate,
                             single.nextUpdate,
                             question.evidence.compromised || WasCompromised(single, question),
                             IsSilentOn(single, question)};
        return finding;
    } catch (const Refusal& refusal) {
        return refusal.Finding();
    } catch (const Error&) {
        return Refusal("it is no OCSP answer").Finding();
    }
}

}  // namespace platform
