// The other side of the GOST tests: OpenSSL's engine behind the `openssl` command.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace platform::testing {

inline bool HasEngine() {
    static const bool has = std::system("openssl engine gost >/dev/null 2>&1") == 0;
    return has;
}

}  // namespace platform::testing

// The first line of a test that is nothing without it: the test counts as skipped then.
#define SKIP_WITHOUT_ENGINE() \
    if (!platform::testing::HasEngine()) GTEST_SKIP() << "libengine-gost-openssl is not installed"
