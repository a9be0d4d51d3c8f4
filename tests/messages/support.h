// Files and output for the tests of the message roads.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>

#include "messages/files/base64.h"
#include "tests/support/folder.h"

namespace messages_tests {

// A folder of the test's own, removed with it.
class FolderTest : public test_support::InFolderTest {
  protected:
    [[nodiscard]] std::string PathOf(const std::string& name) const {
        return (folder_ / name).string();
    }
    std::string Store(const std::string& name, const std::string& bytes) const {
        Write(PathOf(name), bytes);
        return PathOf(name);
    }
};

using test_support::Printed;
using test_support::ReadAll;

// Bytes that look like nothing in particular, the same in every run.
inline std::string Noise(std::size_t size, std::uint32_t seed) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525U + 1013904223U;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

inline const BYTE* AsBytes(const std::string& text) {
    return reinterpret_cast<const BYTE*>(text.data());
}
inline DWORD SizeOf(const std::string& text) { return static_cast<DWORD>(text.size()); }

// The text form that messages are written in.
inline std::string Lines64(const std::string& bytes) {
    std::string text(bytes.size() * 2 + 4, '\0');
    DWORD length = SizeOf(text);
    EXPECT_TRUE(kestrel::EncodeBase64Lines64(AsBytes(bytes), SizeOf(bytes), text.data(), &length));
    return text.substr(0, length);
}

}  // namespace messages_tests
