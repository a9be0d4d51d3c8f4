// CryptGetProvParam, CryptSetProvParam and random bytes.
#include <openssl/rand.h>

#include <string_view>

#include "platform/base/output.h"
#include "platform/providers/openssl.h"
#include "platform/providers/provider.h"

namespace platform {
namespace {

// Text with its terminator, cut to the field; the result is its size.
template <std::size_t capacity>
DWORD PutName(CHAR (&field)[capacity], std::string_view text) {
    return static_cast<DWORD>(text.copy(field, capacity - 1)) + 1;
}

PROV_ENUMALGS ShortRecord(const AlgorithmRow& row) {
    PROV_ENUMALGS record{};
    record.aiAlgid = row.id;
    record.dwBitLen = row.bits;
    record.dwNameLen = PutName(record.szName, row.name);
    return record;
}

PROV_ENUMALGS_EX LongRecord(const AlgorithmRow& row) {
    PROV_ENUMALGS_EX record{};
    record.aiAlgid = row.id;
    record.dwDefaultLen = row.bits;
    record.dwMinLen = row.leastBits;
    record.dwMaxLen = row.mostBits;
    record.dwNameLen = PutName(record.szName, row.name);
    record.dwLongNameLen = PutName(record.szLongName, row.longName);
    return record;
}

template <class Record>
void EnumAlgorithm(Provider& provider, Record (*make)(const AlgorithmRow&), bool first, BYTE* data,
                   DWORD* size) {
    const Record record = make(provider.CurrentAlgorithm(first));
    CopyOut(ViewOf(&record, sizeof(record)), data, size);
    if (data != nullptr) provider.AdvanceAlgorithm();
}

// A null buffer asks for one that takes every name of the walk.
void EnumContainer(Provider& provider, bool first, BYTE* data, DWORD* size) {
    if (size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (data == nullptr) {
        *size = static_cast<DWORD>(provider.LongestContainer(first)) + 1;
        return;
    }
    CopyTextOut(provider.CurrentContainer(first), reinterpret_cast<char*>(data), size);
    provider.AdvanceContainer();
}

void GetParam(Provider& provider, DWORD param, BYTE* data, DWORD* size, DWORD flags) {
    const bool first = (flags & CRYPT_FIRST) != 0;
    char* text = reinterpret_cast<char*>(data);
    switch (param) {
        case PP_ENUMALGS:
            return EnumAlgorithm(provider, &ShortRecord, first, data, size);
        case PP_ENUMALGS_EX:
            return EnumAlgorithm(provider, &LongRecord, first, data, size);
        case PP_ENUMCONTAINERS:
            return EnumContainer(provider, first, data, size);
        case PP_NAME:
            return CopyTextOut(provider.Row().name, text, size);
        case PP_CONTAINER:
        case PP_UNIQUE_CONTAINER:
            return CopyTextOut(provider.OpenContainer().Name(), text, size);
        case PP_PROVTYPE:
            return CopyOut(ViewOf(&provider.Row().type, sizeof(DWORD)), data, size);
        default:
            throw Error(NTE_BAD_TYPE);
    }
}

DWORD KeySpecOf(DWORD param) {
    switch (param) {
        case PP_KEYEXCHANGE_PIN:
            return AT_KEYEXCHANGE;
        case PP_SIGNATURE_PIN:
            return AT_SIGNATURE;
        default:
            throw Error(NTE_BAD_TYPE);
    }
}

std::optional<Secret> PasswordFrom(const BYTE* data) {
    if (data == nullptr) return std::nullopt;
    return Secret(ViewOf(std::string_view(reinterpret_cast<const char*>(data))));
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CryptGetProvParam(HCRYPTPROV provider, DWORD param, BYTE* data, DWORD* size,
                              DWORD flags) {
    return GuardedBool([&] { GetParam(*ProviderOf(provider), param, data, size, flags); });
}

BOOL WINAPI CryptSetProvParam(HCRYPTPROV provider, DWORD param, const BYTE* data, DWORD flags) {
    return GuardedBool([&] {
        const auto object = ProviderOf(provider);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        const DWORD keySpec = KeySpecOf(param);
        object->OpenContainer();
        object->SetPassword(keySpec, PasswordFrom(data));
    });
}

BOOL WINAPI CryptGenRandom(HCRYPTPROV provider, DWORD size, BYTE* buffer) {
    return GuardedBool([&] {
        ProviderOf(provider);
        if (buffer == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        if (size > static_cast<DWORD>(INT32_MAX)) throw Error(NTE_BAD_LEN);
        if (RAND_bytes(buffer, static_cast<int>(size)) != 1) ThrowCrypto(NTE_FAIL);
    });
}
