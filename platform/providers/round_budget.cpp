// Reading the counts of rounds out of algorithm identifiers.
#include "platform/providers/round_budget.h"

#include <openssl/pkcs12.h>

#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// A round of a GOST digest counts as this many: the slowest of them, 34.11-2012 of 512 bits,
// takes 11.3 times a round of SHA-256 (34.11-94 5.5 times, 34.11-2012 of 256 bits 8.7 times).
constexpr std::uint64_t kGostWeight = 12;

using Pbe = std::unique_ptr<PBEPARAM, Freer<PBEPARAM_free>>;
using Pbe2 = std::unique_ptr<PBE2PARAM, Freer<PBE2PARAM_free>>;
using Kdf = std::unique_ptr<PBKDF2PARAM, Freer<PBKDF2PARAM_free>>;

template <class Holder, class T>
Holder ParametersOf(const X509_ALGOR* algorithm, T* (*decode)(T**, const unsigned char**, long)) {
    int type = V_ASN1_UNDEF;
    const void* value = nullptr;
    X509_ALGOR_get0(nullptr, &type, &value, algorithm);
    if (type != V_ASN1_SEQUENCE) return nullptr;
    const auto* sequence = static_cast<const ASN1_STRING*>(value);
    return DecodeWhole<Holder>(decode,
                               ViewOf(ASN1_STRING_get0_data(sequence),
                                      static_cast<std::size_t>(ASN1_STRING_length(sequence))));
}

const ASN1_OBJECT* ObjectOf(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* object = nullptr;
    X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
    return object;
}

bool IsGostDigest(const X509_ALGOR* algorithm) {
    return algorithm != nullptr && IsGost(DottedOf(ObjectOf(algorithm)));
}

}  // namespace

void RoundBudget::Spend(const ASN1_INTEGER* rounds, const X509_ALGOR* algorithm) {
    const std::uint64_t weight = IsGostDigest(algorithm) ? kGostWeight : 1;
    std::uint64_t asked = 1;
    if (rounds != nullptr && ASN1_INTEGER_get_uint64(&asked, rounds) != 1) throw TooManyRounds();
    if (asked > left_ / weight) throw TooManyRounds();
    left_ -= asked * weight;
}

void RoundBudget::Spend(const X509_ALGOR* encryption) {
    if (OBJ_obj2nid(ObjectOf(encryption)) != NID_pbes2) {
        if (const Pbe pbe = ParametersOf<Pbe>(encryption, &d2i_PBEPARAM)) Spend(pbe->iter, nullptr);
        return;
    }
    const Pbe2 pbe = ParametersOf<Pbe2>(encryption, &d2i_PBE2PARAM);
    if (!pbe) return;
    // scrypt's cost has no single number, and no program writes it here.
    if (OBJ_obj2nid(ObjectOf(pbe->keyfunc)) != NID_id_pbkdf2) throw TooManyRounds();
    const Kdf kdf = ParametersOf<Kdf>(pbe->keyfunc, &d2i_PBKDF2PARAM);
    if (kdf) Spend(kdf->iter, kdf->prf);
}

}  // namespace platform
