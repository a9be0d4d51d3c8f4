// The exported calls: acquiring, listings, parameters, keys and hashes.
#include <cstring>

#include "platform/providers/container.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

constexpr DWORD kTypeNumbers[] = {1, 16, 24, 75, 80, 81};

using Providers = HomesTest;

DWORD Acquire(HCRYPTPROV* provider, const char* container, const char* name, DWORD type,
              DWORD flags) {
    return Outcome(CryptAcquireContextA(provider, container, name, type, flags));
}

struct Handle {
    HCRYPTPROV value = 0;
    Handle(const char* container, DWORD type, DWORD flags) {
        EXPECT_EQ(Acquire(&value, container, nullptr, type, flags), 0U);
    }
    ~Handle() { EXPECT_EQ(Outcome(CryptReleaseContext(value, 0)), 0U); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
};

struct AcquireRow {
    const char* name;
    const char* container;
    const char* provider;
    DWORD type;
    DWORD flags;
    DWORD expected;
};

TEST_F(Providers, AcquireAsAsked) {
    Container::Create(Side::User, "here", 24);
    Container::Create(Side::User, "gost", 80);
    Container::Create(Side::Machine, "machine", 24);
    const DWORD verify = CRYPT_VERIFYCONTEXT;
    const AcquireRow rows[] = {
        {"verify", nullptr, nullptr, 24, verify, 0},
        {"by name, case folded", nullptr, "KESTREL rsa AND aes provider", 24, verify, 0},
        {"unknown name", nullptr, "No Provider", 24, verify, Code(NTE_KEYSET_NOT_DEF)},
        {"type too large", nullptr, nullptr, 1000, verify, Code(NTE_BAD_PROV_TYPE)},
        {"type unknown", nullptr, nullptr, 2, verify, Code(NTE_PROV_TYPE_NOT_DEF)},
        {"unknown flag", nullptr, nullptr, 24, verify | 0x100, Code(NTE_BAD_FLAGS)},
        {"verify of a container", "here", nullptr, 24, verify, Code(NTE_BAD_FLAGS)},
        {"container", "here", nullptr, 24, 0, 0},
        {"container of the same family", "here", nullptr, 1, 0, 0},
        {"container of another type", "gost", nullptr, 24, 0, Code(NTE_BAD_KEYSET)},
        {"container on the other side", "machine", nullptr, 24, 0, Code(NTE_BAD_KEYSET)},
        {"container on the machine", "machine", nullptr, 24, CRYPT_MACHINE_KEYSET, 0},
        {"path as a name", "../user/containers/here", nullptr, 24, 0, Code(NTE_BAD_KEYSET)},
        {"default container is missing", nullptr, nullptr, 24, 0, Code(NTE_BAD_KEYSET)},
        {"create what is there", "here", nullptr, 24, CRYPT_NEWKEYSET, Code(NTE_EXISTS)},
        {"create", "new", nullptr, 16, CRYPT_NEWKEYSET, 0},
        {"delete of another type", "gost", nullptr, 24, CRYPT_DELETEKEYSET, Code(NTE_BAD_KEYSET)},
    };
    for (const AcquireRow& row : rows) {
        HCRYPTPROV provider = 77;
        EXPECT_EQ(Acquire(&provider, row.container, row.provider, row.type, row.flags),
                  row.expected)
            << row.name;
        EXPECT_EQ(provider != 0, row.expected == 0) << row.name;
        if (provider != 0) {
            EXPECT_EQ(Outcome(CryptReleaseContext(provider, 0)), 0U) << row.name;
        }
    }
    HCRYPTPROV provider = 77;
    EXPECT_EQ(Acquire(&provider, "here", nullptr, 24, CRYPT_DELETEKEYSET), 0U);
    EXPECT_EQ(provider, 0U);
    EXPECT_EQ(Acquire(&provider, "here", nullptr, 24, 0), Code(NTE_BAD_KEYSET));
    EXPECT_EQ(Acquire(nullptr, nullptr, nullptr, 24, verify), Code(ERROR_INVALID_PARAMETER));
}

TEST_F(Providers, HandlesAreCountedAndKnowTheirKind) {
    HCRYPTPROV provider = 0;
    ASSERT_EQ(Acquire(&provider, nullptr, nullptr, 24, CRYPT_VERIFYCONTEXT), 0U);
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash));
    DWORD reserved = 0;
    DWORD size = 4;
    BYTE data[4];
    EXPECT_EQ(Outcome(CryptContextAddRef(provider, &reserved, 0)), Code(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Outcome(CryptContextAddRef(provider, nullptr, 1)), Code(NTE_BAD_FLAGS));
    EXPECT_EQ(Outcome(CryptReleaseContext(provider, 1)), Code(NTE_BAD_FLAGS));
    EXPECT_TRUE(CryptContextAddRef(provider, nullptr, 0));
    EXPECT_TRUE(CryptReleaseContext(provider, 0));
    EXPECT_TRUE(CryptGetProvParam(provider, PP_PROVTYPE, data, &size, 0));
    EXPECT_TRUE(CryptReleaseContext(provider, 0));
    for (const HCRYPTPROV bad : {provider, HCRYPTPROV{0}, HCRYPTPROV{12345}, HCRYPTPROV{hash}}) {
        EXPECT_EQ(Outcome(CryptReleaseContext(bad, 0)), Code(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(Outcome(CryptContextAddRef(bad, nullptr, 0)), Code(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(Outcome(CryptGetProvParam(bad, PP_PROVTYPE, data, &size, 0)),
                  Code(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(Outcome(CryptGenRandom(bad, 4, data)), Code(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(Outcome(CryptDestroyKey(bad)), Code(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(CodeOf([&] { PrivateKeyOf(bad, 1); }), Code(ERROR_INVALID_PARAMETER));
    }
    // A hash outlives its provider's handle.
    EXPECT_TRUE(CryptHashData(hash, data, 0, 0));
    EXPECT_TRUE(CryptDestroyHash(hash));
    EXPECT_EQ(Outcome(CryptDestroyHash(hash)), Code(ERROR_INVALID_PARAMETER));
}

// ---- listings ----------------------------------------------------------------

TEST(Algorithms, NoTwoRowsAreTakenForOne) {
    const auto table = AlgorithmTable();
    ASSERT_GT(table.size(), 20U);
    for (const AlgorithmRow& row : table) {
        EXPECT_LT(std::strlen(row.name), sizeof(PROV_ENUMALGS::szName)) << row.name;
        EXPECT_LT(std::strlen(row.longName), sizeof(PROV_ENUMALGS_EX::szLongName)) << row.name;
        EXPECT_EQ(FindAlgorithm(row.id, 0), &row) << row.name;
    }
    EXPECT_EQ(FindAlgorithm(oid::kRsa, 0)->id, ALG_ID{CALG_RSA_KEYX});
    EXPECT_EQ(FindAlgorithm(oid::kSha256, CRYPT_ENCRYPT_ALG_OID_GROUP_ID), nullptr);
}

TEST_F(Providers, ListTypesAndProviders) {
    for (const auto enumerate : {&CryptEnumProviderTypesA, &CryptEnumProvidersA}) {
        std::vector<DWORD> types;
        char name[128];
        DWORD type = 0;
        DWORD size = sizeof(name);
        while (enumerate(static_cast<DWORD>(types.size()), nullptr, 0, &type, name, &size)) {
            EXPECT_EQ(size, std::strlen(name) + 1);
            types.push_back(type);
            if (enumerate == &CryptEnumProvidersA) {
                HCRYPTPROV provider = 0;
                EXPECT_EQ(Acquire(&provider, nullptr, name, type, CRYPT_VERIFYCONTEXT), 0U);
                CryptReleaseContext(provider, 0);
            }
            size = sizeof(name);
        }
        EXPECT_EQ(GetLastError(), Code(ERROR_NO_MORE_ITEMS));
        EXPECT_EQ(types, std::vector<DWORD>(std::begin(kTypeNumbers), std::end(kTypeNumbers)));
    }
}

TEST_F(Providers, ListContainers) {
    const Handle provider(nullptr, 24, CRYPT_VERIFYCONTEXT);
    BYTE name[64] = "";
    DWORD size = 0;
    EXPECT_TRUE(CryptGetProvParam(provider.value, PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST));
    EXPECT_EQ(size, 1U);
    for (const char* each : {"b", "longest", "a"}) Container::Create(Side::User, each, 24);
    Container::Create(Side::User, "of another type", 16);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(
            CryptGetProvParam(provider.value, PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST));
        EXPECT_EQ(size, 8U);
        std::vector<std::string> names;
        for (DWORD flags = CRYPT_FIRST;; flags = round == 0 ? 0 : CRYPT_NEXT) {
            size = 8;
            if (!CryptGetProvParam(provider.value, PP_ENUMCONTAINERS, name, &size, flags)) break;
            names.emplace_back(reinterpret_cast<char*>(name));
        }
        EXPECT_EQ(GetLastError(), Code(ERROR_NO_MORE_ITEMS));
        EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "longest"}));
    }
}

// ---- sizes -------------------------------------------------------------------

struct SizeRow {
    const char* name;
    std::function<BOOL(BYTE*, DWORD*)> call;
};

TEST_F(Providers, SizeQueries) {
    const Bytes certificate = CertificateOf("rsa");
    const Handle provider("sizes", 24, CRYPT_NEWKEYSET);
    HCRYPTKEY key = 0;
    ASSERT_TRUE(CryptGenKey(provider.value, AT_SIGNATURE, 1024U << 16, &key));
    ASSERT_TRUE(CryptSetKeyParam(key, KP_CERTIFICATE, certificate.data(), 0));
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(CryptCreateHash(provider.value, CALG_SHA_256, 0, 0, &hash));
    const auto provParam = [&](DWORD param, DWORD flags) {
        return [&provider, param, flags](BYTE* data, DWORD* size) {
            return CryptGetProvParam(provider.value, param, data, size, flags);
        };
    };
    DWORD type = 0;
    const SizeRow rows[] = {
        {"PP_ENUMALGS", provParam(PP_ENUMALGS, CRYPT_FIRST)},
        {"PP_ENUMALGS_EX", provParam(PP_ENUMALGS_EX, CRYPT_FIRST)},
        {"PP_ENUMCONTAINERS", provParam(PP_ENUMCONTAINERS, CRYPT_FIRST)},
        {"PP_NAME", provParam(PP_NAME, 0)},
        {"KP_CERTIFICATE",
         [key](BYTE* data, DWORD* size) {
             return CryptGetKeyParam(key, KP_CERTIFICATE, data, size, 0);
         }},
        {"HP_HASHVAL",
         [hash](BYTE* data, DWORD* size) {
             return CryptGetHashParam(hash, HP_HASHVAL, data, size, 0);
         }},
        {"CryptEnumProvidersA",
         [&](BYTE* data, DWORD* size) {
             return CryptEnumProvidersA(3, nullptr, 0, &type, reinterpret_cast<char*>(data), size);
         }},
    };
    for (const SizeRow& row : rows) {
        SCOPED_TRACE(row.name);
        DWORD need = 0;
        EXPECT_EQ(Outcome(row.call(nullptr, &need)), 0U);
        ASSERT_GT(need, 0U);
        Bytes buffer(need + 1, 0xEE);
        DWORD size = need - 1;
        EXPECT_EQ(Outcome(row.call(buffer.data(), &size)), Code(ERROR_MORE_DATA));
        EXPECT_EQ(size, need);
        EXPECT_EQ(buffer, Bytes(need + 1, 0xEE));
        EXPECT_EQ(Outcome(row.call(buffer.data(), &size)), 0U);
        EXPECT_EQ(size, need);
        EXPECT_EQ(buffer.back(), 0xEE);
        EXPECT_EQ(Outcome(row.call(buffer.data(), nullptr)), Code(ERROR_INVALID_PARAMETER));
    }
    DWORD size = 0;
    EXPECT_EQ(Outcome(CryptGetProvParam(provider.value, 999, nullptr, &size, 0)),
              Code(NTE_BAD_TYPE));
    EXPECT_EQ(Outcome(CryptGetKeyParam(key, 999, nullptr, &size, 0)), Code(NTE_BAD_TYPE));
    EXPECT_EQ(Outcome(CryptGetHashParam(hash, 999, nullptr, &size, 0)), Code(NTE_BAD_TYPE));
    EXPECT_TRUE(CryptDestroyKey(key));
    EXPECT_TRUE(CryptDestroyHash(hash));
}

// ---- keys --------------------------------------------------------------------

TEST_F(Providers, OpenedKeyIsTheOneOnTheDisk) {
    const Handle provider("box", 16, CRYPT_NEWKEYSET);
    HCRYPTKEY key = 0;
    EXPECT_EQ(Outcome(CryptGetUserKey(provider.value, AT_SIGNATURE, &key)), Code(NTE_NO_KEY));
    ASSERT_TRUE(CryptGenKey(provider.value, AT_SIGNATURE, 521U << 16, &key));
    EXPECT_TRUE(CryptDestroyKey(key));
    EXPECT_EQ(CodeOf([&] { PrivateKeyOf(provider.value, AT_KEYEXCHANGE); }), Code(NTE_NO_KEY));
    const auto opened = PrivateKeyOf(provider.value, AT_SIGNATURE);
    EXPECT_EQ(opened.Native(), PrivateKeyOf(provider.value, AT_SIGNATURE).Native());
    EXPECT_EQ(opened.Bits(), 521U);
    const auto stored = Container::Open(Side::User, "box").LoadKey(AT_SIGNATURE, Secret());
    EXPECT_TRUE(opened.Matches(stored));
    const Handle verify(nullptr, 24, CRYPT_VERIFYCONTEXT);
    EXPECT_EQ(Outcome(CryptGetUserKey(verify.value, AT_SIGNATURE, &key)), Code(NTE_NO_KEY));
    EXPECT_EQ(Outcome(CryptGenKey(verify.value, AT_SIGNATURE, 0, &key)), Code(NTE_BAD_KEYSET));
    EXPECT_EQ(CodeOf([&] { PrivateKeyOf(verify.value, AT_SIGNATURE); }), Code(NTE_BAD_KEYSET));
    EXPECT_EQ(Outcome(CryptGenKey(verify.value, CALG_AES_256, 0, &key)), Code(NTE_BAD_ALGID));
    EXPECT_EQ(Outcome(CryptGenKey(verify.value, AT_SIGNATURE, 0x80, &key)), Code(NTE_BAD_FLAGS));
}

TEST_F(Providers, CertificateOfAKey) {
    const Bytes certificate = CertificateOf("p256");
    const Handle provider("certificate", 16, CRYPT_NEWKEYSET);
    HCRYPTKEY key = 0;
    ASSERT_TRUE(CryptGenKey(provider.value, AT_KEYEXCHANGE, 0, &key));
    DWORD size = 0;
    EXPECT_EQ(Outcome(CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0)),
              Code(NTE_NOT_FOUND));
    const Bytes cut = {0x30, 0x03, 0x02, 0x01, 0x00};
    const Bytes endless = {0x30, 0x80, 0x00, 0x00};
    const Bytes huge = {0x30, 0x84, 0x7F, 0xFF, 0xFF, 0xFF};
    for (const Bytes& bad : {cut, endless, huge, Bytes{0x02, 0x01, 0x00}, Bytes{0x30, 0x00}}) {
        EXPECT_EQ(Outcome(CryptSetKeyParam(key, KP_CERTIFICATE, bad.data(), 0)),
                  Code(CRYPT_E_ASN1_BADTAG))
            << Hex(bad);
    }
    Bytes tail = certificate;
    tail.resize(tail.size() + 100);
    ASSERT_TRUE(CryptSetKeyParam(key, KP_CERTIFICATE, tail.data(), 0));
    ASSERT_TRUE(CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0));
    Bytes stored(size);
    ASSERT_TRUE(CryptGetKeyParam(key, KP_CERTIFICATE, stored.data(), &size, 0));
    EXPECT_EQ(stored, certificate);
    EXPECT_TRUE(CryptDestroyKey(key));
    // A new key has no use for the certificate of the old one.
    ASSERT_TRUE(CryptGenKey(provider.value, AT_KEYEXCHANGE, 0, &key));
    EXPECT_EQ(Outcome(CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0)),
              Code(NTE_NOT_FOUND));
    EXPECT_TRUE(CryptDestroyKey(key));
}

}  // namespace
}  // namespace platform::testing
