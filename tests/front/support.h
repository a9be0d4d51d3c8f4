// What the tests of the front end share: a clean state record and the printed text.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "front/core/state.h"
#include "tests/support/folder.h"

namespace kestrel {

class FrontTest : public ::testing::Test {
  protected:
    void SetUp() override { state = ProgramState{}; }
    void TearDown() override { state = ProgramState{}; }
};

using test_support::Printed;

}  // namespace kestrel
