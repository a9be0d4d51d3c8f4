// What the tests of the time-stamp values share.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <optional>
#include <string>

#include "front/core/atl_exception.h"
#include "stamps/blob.h"
#include "tests/support/der_notation.h"
#include "tests/support/folder.h"

namespace stamps_tests {

using Ferroline::CBlob;

// A blob of these bytes in hexadecimal.
inline CBlob Bytes(std::string_view hex) {
    CBlob blob;
    blob.FromHex(hex);
    return blob;
}

// A blob in the notation of support/der_notation.h.
inline CBlob Der(std::string_view text) {
    const std::string bytes = der_notation::Der(text);
    return {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

// The result that was thrown, 0 when nothing was.
inline unsigned Thrown(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const ATL::CAtlException& failure) {
        return static_cast<unsigned>(failure.Result());
    }
    return 0;
}

inline constexpr unsigned kFail = 0x80004005;
inline constexpr unsigned kInvalidArgument = 0x80070057;
inline constexpr unsigned kAsn1Internal = 0x80093101;
inline constexpr unsigned kBadMessage = 0x8009200D;

// A folder that goes away with the test.
class Folder : public test_support::TemporaryFolder {
  public:
    // Runs a shell command inside; what it prints is shown when it fails.
    void Run(const std::string& command) const;
    void Write(const std::string& name, std::string_view content) const;
    [[nodiscard]] CBlob Read(const std::string& name) const;
};

}  // namespace stamps_tests
