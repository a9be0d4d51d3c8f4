// A server program as a child of the test.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/base/ground.h"

namespace platform::testing {

// A program that tells its ports in one line and ends with its standard input, which nobody but
// this process holds: it ends with the process, however that ends.
class ServerChild {
  public:
    explicit ServerChild(const std::string& command);
    ~ServerChild() { pclose(input_); }
    ServerChild(const ServerChild&) = delete;
    ServerChild& operator=(const ServerChild&) = delete;
    // 0 for a port that it did not tell.
    [[nodiscard]] WORD operator[](std::size_t index) const {
        return index < ports_.size() ? ports_[index] : WORD{0};
    }

  private:
    std::FILE* input_;
    std::vector<WORD> ports_;
};

}  // namespace platform::testing
