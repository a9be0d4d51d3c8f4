// Shared by the tests of the providers: the openssl command, files to talk to it with, and
// just enough DER to take its messages apart and to hand it ours.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"
#include "providers/algorithms.h"
#include "providers/crypto.h"

namespace platform::test {

// A folder of one test program's own, removed at its end, that also holds the user's and
// the machine's home.
class Workshop {
  public:
    static const Workshop& Get();
    ~Workshop();
    [[nodiscard]] std::filesystem::path Path(const std::string& name) const { return dir_ / name; }
    // Runs `openssl ARGUMENTS` inside the folder; false, with its output in the failure text
    // of the caller's choice, unless it exits with 0.
    [[nodiscard]] testing::AssertionResult Openssl(const std::string& arguments) const;
    void Write(const std::string& name, ByteView content) const;
    [[nodiscard]] Bytes Read(const std::string& name) const;
    // Private key made by `openssl genpkey ARGUMENTS`, once a process: NAME.key, NAME.pub
    // (SubjectPublicKeyInfo, DER) and NAME.cer (self-signed).
    void MakeKey(const std::string& name, const std::string& arguments,
                 const std::string& digest) const;

  private:
    Workshop();
    std::filesystem::path dir_;
};

struct KeyRow {
    const char* name;
    const char* generation;  // arguments of genpkey
    const char* digest;      // name of its digest for the openssl command
    const char* digestOid;
    DWORD type;
};
// Every kind of key that a user meets, parameter sets included.
const std::vector<KeyRow>& KeyRows();
void Make(const KeyRow& row);
const KeyRow& Row(std::string_view name);
EvpKey PublicKey(const KeyRow& row);
EvpKey PrivateKey(const KeyRow& row);
Bytes CertificateOf(const KeyRow& row);  // DER

Bytes Pattern(std::size_t size);

// The code of the Error that `body` throws; 0 when it throws none.
DWORD CodeOf(const std::function<void()>& body);
std::string DetailOf(const std::function<void()>& body);

constexpr DWORD Code(LONG value) { return static_cast<DWORD>(value); }

// ---- DER ---------------------------------------------------------------------

struct Element {
    std::uint8_t tag = 0;
    ByteView whole;
    ByteView contents;
};
// Takes the first element off `rest`. Definite lengths, low tags.
Element Take(ByteView& rest);
Bytes Tlv(std::uint8_t tag, const std::vector<Bytes>& parts);
Bytes OidDer(const std::string& oid);
Bytes AlgorithmDer(const Algorithm& algorithm);
Algorithm AlgorithmFrom(ByteView der);

}  // namespace platform::test
