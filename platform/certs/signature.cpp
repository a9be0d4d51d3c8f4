// The signature of a certificate or CRL against a public key.
#include "platform/certs/signature.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/der/records.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/crypto.h"
#include "platform/providers/openssl.h"
#include "platform/providers/rsa_parameters.h"

namespace platform {
namespace {

// Signatures that can be forged for a name of one's choice: MD2, MD4 and MD5 with RSA.
constexpr std::array<std::string_view, 3> kBroken = {"1.2.840.113549.1.1.2", "1.2.840.113549.1.1.3",
                                                     "1.2.840.113549.1.1.4"};

bool IsBroken(std::string_view oid) {
    return std::find(kBroken.begin(), kBroken.end(), oid) != kBroken.end();
}

struct SignedParts {
    ByteView toBeSigned;
    Algorithm algorithm;
    BitsView signature;
    bool sameAlgorithm = false;  // inside and beside the signature
};

// The algorithm is the first sequence of what is signed, in certificates and CRLs alike.
ByteView InnerAlgorithm(ByteView contents) {
    der::Cursor fields(contents);
    der::Item item = fields.Next();
    while (item.tag != der::kSequence) item = fields.Next();
    return item.whole;
}

SignedParts PartsOf(ByteView toBeSigned, ByteView algorithm, ByteView signature) {
    der::Cursor inAlgorithm(algorithm);
    const AlgorithmView view = ReadAlgorithm(inAlgorithm);
    return {toBeSigned, {view.oid, Copy(view.parameters)}, ReadBits(signature), true};
}

SignedParts Split(ByteView der) {
    der::Cursor cursor = der::Inside(der, der::kSequence);
    const der::Item toBeSigned = cursor.Expect(der::kSequence);
    const der::Item algorithm = cursor.Expect(der::kSequence);
    SignedParts parts =
        PartsOf(toBeSigned.whole, algorithm.whole, cursor.Expect(der::kBitString).contents);
    parts.sameAlgorithm = Equal(InnerAlgorithm(toBeSigned.contents), algorithm.whole);
    return parts;
}

enum class Fit { Unknown, OtherKey, Known };

// Where no digest is fixed, the parameters of RSASSA-PSS tell it.
std::string DigestOfRow(const SignatureRow& row, ByteView parameters) {
    return row.digestOid != nullptr ? row.digestOid : PssDigest(parameters);
}

// How the algorithm goes with a kind of key; `digest` gets the one that it signs.
Fit FitOf(const Algorithm& algorithm, std::string_view keyOid, std::string& digest) {
    Fit fit = Fit::Unknown;
    for (const SignatureRow& row : SignatureTable()) {
        if (row.oid != algorithm.oid) continue;
        if (row.keyOid != keyOid) {
            fit = Fit::OtherKey;
            continue;
        }
        if (row.digestOid == nullptr && row.scheme != Scheme::Pss) return Fit::Unknown;
        digest = DigestOfRow(row, algorithm.parameters);
        return Fit::Known;
    }
    return fit;
}

void Verify(const SignedParts& parts, const std::string& digestOid,
            const CERT_PUBLIC_KEY_INFO& key) {
    VerifyDigest(PublicKeyFromInfo(key), parts.algorithm, digestOid,
                 DigestOf(digestOid, parts.toBeSigned), parts.signature.octets);
}

SignatureVerdict Check(const SignedParts& parts, const CERT_PUBLIC_KEY_INFO& key) {
    const std::string& algorithm = parts.algorithm.oid;
    if (!parts.sameAlgorithm || parts.signature.unusedBits != 0 || IsBroken(algorithm)) return {};
    std::string digest;
    try {
        const Fit fit = FitOf(parts.algorithm, key.Algorithm.pszObjId, digest);
        if (fit == Fit::OtherKey) return {};
        if (fit == Fit::Unknown) return {SignatureState::Unsupported, algorithm};
        Verify(parts, digest, key);
    } catch (const Error& error) {
        if (error.Code() == static_cast<DWORD>(NTE_BAD_ALGID)) {
            return {SignatureState::Unsupported, algorithm};
        }
        throw;
    }
    return {SignatureState::Good, {}};
}

}  // namespace

std::string DigestUnder(const CRYPT_ALGORITHM_IDENTIFIER& algorithm) {
    const std::string_view oid = algorithm.pszObjId;
    for (const SignatureRow& row : SignatureTable()) {
        if (row.oid != oid || (row.digestOid == nullptr && row.scheme != Scheme::Pss)) continue;
        try {
            return DigestOfRow(row,
                               ViewOf(algorithm.Parameters.pbData, algorithm.Parameters.cbData));
        } catch (const Error&) {
            return {};
        }
    }
    return {};
}

std::string MaskDigestUnder(std::string_view algorithm, ByteView parameters) {
    if (algorithm != oid::kRsaPss) return {};
    try {
        return PssMaskDigest(parameters);
    } catch (const Error&) {
        return {};
    }
}

SignatureVerdict CheckSignature(ByteView der, const CERT_PUBLIC_KEY_INFO& key) {
    try {
        return Check(Split(der), key);
    } catch (const Error&) {
        return {};  // a key or signature that cannot be read has signed nothing
    }
}

SignatureVerdict CheckSignature(ByteView toBeSigned, ByteView algorithm, ByteView signature,
                                const CERT_PUBLIC_KEY_INFO& key) {
    try {
        return Check(PartsOf(toBeSigned, algorithm, signature), key);
    } catch (const Error&) {
        return {};
    }
}

// X509_check_issued would want a key that OpenSSL can read.
bool IsNamedIssuer(const Certificate& issuer, const Certificate& subject) {
    X509* above = issuer.Native();
    X509* below = subject.Native();
    if (X509_NAME_cmp(X509_get_subject_name(above), X509_get_issuer_name(below)) != 0) return false;
    if ((X509_get_key_usage(above) & X509v3_KU_KEY_CERT_SIGN) == 0) return false;
    const std::unique_ptr<AUTHORITY_KEYID, Freer<AUTHORITY_KEYID_free>> named(
        static_cast<AUTHORITY_KEYID*>(
            X509_get_ext_d2i(below, NID_authority_key_identifier, nullptr, nullptr)));
    ERR_clear_error();
    return X509_check_akid(above, named.get()) == X509_V_OK;
}

bool HasIssued(const Certificate& issuer, const Certificate& subject) {
    return IsNamedIssuer(issuer, subject) &&
           CheckSignature(subject.Der(), issuer.Info().SubjectPublicKeyInfo).state ==
               SignatureState::Good;
}

bool IsWeakKey(const CERT_PUBLIC_KEY_INFO& key) {
    const std::string_view algorithm = key.Algorithm.pszObjId;
    if (algorithm != oid::kRsa && algorithm != oid::kRsaPss) return false;
    try {
        const AlgorithmRow& row = *FindAlgorithm(oid::kRsa, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
        return PublicKeyFromInfo(key).Bits() < row.leastBits;
    } catch (const Error&) {
        return true;
    }
}

}  // namespace platform
