#include "platform/providers/workshop.h"

#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace platform::test {

Workshop::Workshop() {
    std::string name = (std::filesystem::temp_directory_path() / "kestrel-providers-XXXXXX");
    if (mkdtemp(name.data()) == nullptr) std::abort();
    dir_ = name;
    setenv("KESTREL_HOME", (dir_ / "user").c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", (dir_ / "machine").c_str(), 1);
}

Workshop::~Workshop() { std::filesystem::remove_all(dir_); }

const Workshop& Workshop::Get() {
    static const Workshop workshop;
    return workshop;
}

testing::AssertionResult Workshop::Openssl(const std::string& arguments) const {
    const std::string line = "cd '" + dir_.string() + "' && openssl " + arguments + " 2>&1";
    std::FILE* pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) return testing::AssertionFailure() << "popen";
    std::string output;
    std::array<char, 512> block{};
    while (const std::size_t got = std::fread(block.data(), 1, block.size(), pipe)) {
        output.append(block.data(), got);
    }
    if (pclose(pipe) == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "openssl " << arguments << "\n" << output;
}

void Workshop::Write(const std::string& name, ByteView content) const {
    std::ofstream file(Path(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
}

Bytes Workshop::Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Workshop::MakeKey(const std::string& name, const std::string& arguments,
                       const std::string& digest) const {
    if (std::filesystem::exists(Path(name + ".cer"))) return;
    const std::string key = " -engine gost -out " + name;
    ASSERT_TRUE(Openssl("genpkey " + arguments + key + ".key"));
    ASSERT_TRUE(Openssl("pkey -in " + name + ".key -pubout -outform DER" + key + ".pub"));
    ASSERT_TRUE(Openssl("req -x509 -subj /CN=" + name + " -" + digest + " -key " + name + ".key" +
                        key + ".cer"));
}

const std::vector<KeyRow>& KeyRows() {
    static const std::vector<KeyRow> rows = {
        {"rsa", "-algorithm RSA -pkeyopt rsa_keygen_bits:2048", "sha256", oid::kSha256, 24},
        {"p256", "-algorithm EC -pkeyopt ec_paramgen_curve:P-256", "sha256", oid::kSha256, 16},
        {"p384", "-algorithm EC -pkeyopt ec_paramgen_curve:P-384", "sha384", oid::kSha384, 16},
        {"p521", "-algorithm EC -pkeyopt ec_paramgen_curve:P-521", "sha512", oid::kSha512, 16},
        {"gost2001", "-algorithm gost2001 -pkeyopt paramset:A", "md_gost94", oid::kGostR3411_94,
         75},
        {"gost2001x", "-algorithm gost2001 -pkeyopt paramset:XA", "md_gost94", oid::kGostR3411_94,
         75},
        {"gost256", "-algorithm gost2012_256 -pkeyopt paramset:A", "md_gost12_256",
         oid::kGostR3411_2012_256, 80},
        {"gost256t", "-algorithm gost2012_256 -pkeyopt paramset:TCA", "md_gost12_256",
         oid::kGostR3411_2012_256, 80},
        {"gost512", "-algorithm gost2012_512 -pkeyopt paramset:A", "md_gost12_512",
         oid::kGostR3411_2012_512, 81},
        {"gost512c", "-algorithm gost2012_512 -pkeyopt paramset:C", "md_gost12_512",
         oid::kGostR3411_2012_512, 81},
    };
    return rows;
}

void Make(const KeyRow& row) { Workshop::Get().MakeKey(row.name, row.generation, row.digest); }

const KeyRow& Row(std::string_view name) {
    for (const KeyRow& row : KeyRows()) {
        if (row.name == name) return row;
    }
    throw Error(ERROR_INVALID_PARAMETER, std::string(name));
}

EvpKey PublicKey(const KeyRow& row) {
    Make(row);
    return PublicKeyFromDer(Workshop::Get().Read(std::string(row.name) + ".pub"));
}

EvpKey PrivateKey(const KeyRow& row) {
    Make(row);
    EnsureAlgorithm(row.digestOid);
    std::FILE* file = std::fopen(Workshop::Get().Path(std::string(row.name) + ".key").c_str(), "r");
    if (file == nullptr) throw Error(ERROR_FILE_NOT_FOUND);
    EvpKey key(PEM_read_PrivateKey(file, nullptr, nullptr, nullptr));
    std::fclose(file);
    if (!key) throw Error(NTE_BAD_KEY, row.name);
    return key;
}

Bytes CertificateOf(const KeyRow& row) {
    Make(row);
    EXPECT_TRUE(Workshop::Get().Openssl(std::string("x509 -outform DER -out cer.der -in ") +
                                        row.name + ".cer"));
    return Workshop::Get().Read("cer.der");
}

Bytes Pattern(std::size_t size) {
    Bytes bytes(size);
    std::uint32_t state = 0x12345678;
    for (auto& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

DWORD CodeOf(const std::function<void()>& body) {
    try {
        body();
        return 0;
    } catch (const Error& error) {
        // A thrown code leaves nothing of OpenSSL's own behind.
        EXPECT_EQ(ERR_peek_error(), 0U);
        return error.Code();
    }
}

std::string DetailOf(const std::function<void()>& body) {
    try {
        body();
        return {};
    } catch (const Error& error) {
        return error.Detail();
    }
}

Element Take(ByteView& rest) {
    if (rest.size() < 2) throw Error(CRYPT_E_ASN1_EOD);
    std::size_t length = rest[1];
    std::size_t header = 2;
    if (length >= 0x80) {
        const std::size_t count = length & 0x7F;
        length = 0;
        for (std::size_t i = 0; i < count; ++i) length = length << 8 | rest[header++];
    }
    if (header + length > rest.size()) throw Error(CRYPT_E_ASN1_EOD);
    Element element{rest[0], rest.first(header + length), rest.subspan(header, length)};
    rest = rest.subspan(header + length);
    return element;
}

Bytes Tlv(std::uint8_t tag, const std::vector<Bytes>& parts) {
    std::size_t length = 0;
    for (const Bytes& part : parts) length += part.size();
    Bytes der = {tag, 0x84};
    for (int shift = 24; shift >= 0; shift -= 8) {
        der.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    for (const Bytes& part : parts) der.insert(der.end(), part.begin(), part.end());
    return der;
}

Bytes OidDer(const std::string& oid) {
    ASN1_OBJECT* object = OBJ_txt2obj(oid.c_str(), 1);
    unsigned char* encoded = nullptr;
    const int size = i2d_ASN1_OBJECT(object, &encoded);
    Bytes der = Copy(ViewOf(encoded, static_cast<std::size_t>(size)));
    OPENSSL_free(encoded);
    ASN1_OBJECT_free(object);
    return der;
}

Bytes AlgorithmDer(const Algorithm& algorithm) {
    return Tlv(0x30, {OidDer(algorithm.oid), algorithm.parameters});
}

Algorithm AlgorithmFrom(ByteView der) {
    ByteView inside = Take(der).contents;
    const Element identifier = Take(inside);
    const unsigned char* next = identifier.whole.data();
    ASN1_OBJECT* object =
        d2i_ASN1_OBJECT(nullptr, &next, static_cast<long>(identifier.whole.size()));
    std::array<char, 128> text{};
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    ASN1_OBJECT_free(object);
    return {text.data(), Copy(inside)};
}

}  // namespace platform::test
