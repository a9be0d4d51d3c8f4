// Providers and algorithms that are found.
#include "selection/providers.h"

#include <cstdio>
#include <fstream>

#include "front/core/catalogue.h"
#include "tests/selection/support.h"

namespace selection_tests {

namespace {

class Providers : public SelectionTest {
  protected:
    void WriteMachineRegistry(const std::vector<std::string>& subkeys) const {
        std::filesystem::create_directories(folder / "machine");
        std::ofstream file(folder / "machine" / "registry.reg");
        file << "Windows Registry Editor Version 5.00\r\n";
        for (const std::string& subkey : subkeys) {
            file << "\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\"
                    "Provider Types\\"
                 << subkey << "]\r\n";
        }
    }
};

std::uint32_t ListTypes(int rounds) {
    for (int round = 0; round < rounds; ++round) {
        DWORD type = 0;
        for (DWORD index = 0; kestrel::EnumDefaultProviderTypes(index, type) == 1; ++index) {
            std::printf(" %u", static_cast<unsigned>(type));
        }
        std::printf("; ");
    }
    return GetLastError();
}

TEST_F(Providers, TypesComeFromTheRegistry) {
    Outcome run = RunPiped("", [] { return ListTypes(2); });
    EXPECT_EQ(run.output, " 1 16 24 75 80 81;  1 16 24 75 80 81; ");
    EXPECT_EQ(run.code, static_cast<std::uint32_t>(ERROR_NO_MORE_ITEMS));

    // What is no type is passed over, and stays counted in the next round.
    WriteMachineRegistry({"Type 000", "Type 77", "Typ 0123", "Type abc", "Type 090"});
    run = RunPiped("", [] { return ListTypes(1); });
    EXPECT_EQ(run.output, " 1 16 24 75 80 81 90; ");
    run = RunPiped("", [] { return ListTypes(2); });
    const std::string second = run.output.substr(run.output.find(';') + 1);
    EXPECT_NE(second, "  1 16 24 75 80 81 90; ");
}

TEST_F(Providers, AlgorithmsOfACertificate) {
    constexpr DWORD kHash = CRYPT_HASH_ALG_OID_GROUP_ID;
    constexpr DWORD kCipher = CRYPT_ENCRYPT_ALG_OID_GROUP_ID;
    constexpr std::uint32_t kNone = 0x20000134;
    const struct {
        const char* certificate;
        DWORD group;
        std::uint32_t code;
        const char* oid;
    } rows[] = {{"rsa", kHash, 0, "2.16.840.1.101.3.4.2.1"},
                {"rsa", kCipher, 0, "2.16.840.1.101.3.4.1.42"},
                {"alpha", kHash, 0, "2.16.840.1.101.3.4.2.1"},
                {"alpha", kCipher, kNone, ""},
                {"gost2001", kHash, 0, "1.2.643.2.2.9"},
                {"gost2001", kCipher, 0, "1.2.643.2.2.21"},
                {"gost256", kHash, 0, "1.2.643.7.1.1.2.2"},
                {"gost512", kHash, 0, "1.2.643.7.1.1.2.3"},
                {"ed", kHash, kNone, ""}};
    for (const auto& row : rows) {
        const Outcome run = RunPiped("", [&]() -> std::uint32_t {
            BYTE unset[] = {1};
            CRYPT_ALGORITHM_IDENTIFIER algorithm{nullptr, {1, unset}};
            const DWORD code = kestrel::FindAlgorithmForCertificate(FixtureContext(row.certificate),
                                                                    row.group, algorithm);
            if (code) return code;
            std::printf("%s", algorithm.pszObjId);
            return algorithm.Parameters.cbData;
        });
        EXPECT_EQ(run.output, row.oid) << row.certificate << row.group;
        EXPECT_EQ(run.code, row.code) << row.certificate << row.group;
    }
}

// Prints the type of the provider found.
std::uint32_t FindAndTell(ALG_ID algorithm) {
    const HCRYPTPROV provider = kestrel::FindProviderForAlgorithm(algorithm);
    DWORD type = 0;
    DWORD size = sizeof(type);
    if (!provider ||
        !CryptGetProvParam(provider, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0)) {
        return 1;
    }
    std::printf("%u", static_cast<unsigned>(type));
    return CryptReleaseContext(provider, 0) ? 0 : 2;  // a reference of the caller's own
}

TEST_F(Providers, TheFirstProviderThatKnowsAnAlgorithm) {
    EXPECT_EQ(RunPiped("", [] { return FindAndTell(0); }).output, "1");
    EXPECT_EQ(RunPiped("", [] { return FindAndTell(CALG_SHA_256); }).output, "1");
    EXPECT_EQ(RunPiped("", [] { return FindAndTell(CALG_ECDSA); }).output, "16");
    // Known to nobody: the last one tried comes back.
    const Outcome unknown = RunPiped("", [] { return FindAndTell(0x8123); });
    EXPECT_EQ(unknown.output, "81");
    EXPECT_EQ(unknown.code, 0U);
}

}  // namespace

}  // namespace selection_tests
