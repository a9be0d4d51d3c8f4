// A place to run selection routines in: each run is a process of its own with fresh
// global state, fixed input and captured output, over the stores of a temporary home.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "front/core/state.h"
#include "tests/support/folder.h"

namespace selection_tests {

struct Outcome {
    std::uint32_t code = 0;
    std::string output;
};

// Runs without any terminal; `input` is the standard input. The program's text and what
// the routine prints itself come back together. A run that dies fails the test.
Outcome RunPiped(const std::string& input, const std::function<std::uint32_t()>& routine);

// A key as it stands on the command line; values are copied, as the frame does.
struct Key {
    const char* word;
    const char* value = nullptr;
};
using Keys = std::vector<Key>;
void GiveKeys(const Keys& keys);
// The words left in the set, each behind a blank.
std::string LeftKeys();

// Certificates that the openssl command made once for the whole test program, all but the
// dated ones valid from 2009-01-02 03:04:05 to 2099-12-31 23:59:59.
//   alpha O=Works,CN=Alpha   beta O=Works,CN=Beta   both O=Alpha Beta,CN=Both
//   lonely CN=Alpha Lonely   old CN=Old (to 2010)   rsa, gost2001, gost256, gost512, ed
std::filesystem::path FixtureFile(const std::string& name);
PCCERT_CONTEXT FixtureContext(const std::string& name);

// Names of the fixtures in a list of contexts, each behind a blank.
std::string NamesOf(const kestrel::FoundCertificates& certificates);

class SelectionTest : public testing::Test {
  protected:
    void SetUp() override;

    void Fill(DWORD side, const wchar_t* store, const std::vector<std::string>& names);
    void FillUser(const wchar_t* store, const std::vector<std::string>& names) {
        Fill(CERT_SYSTEM_STORE_CURRENT_USER, store, names);
    }

    const test_support::TemporaryFolder made;
    const std::filesystem::path folder = made.Path();
};

inline const std::string kDates = "Valid from 02.01.2009 03:04:05 to 31.12.2099 23:59:59\n\n";

}  // namespace selection_tests
