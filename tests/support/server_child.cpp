// Starting servers, and waiting for their ports.
#include "tests/support/server_child.h"

#include <unistd.h>

#include <sstream>

#include "tests/support/workshop.h"

namespace platform::testing {

ServerChild::ServerChild(const std::string& command) {
    const auto ports = Folder() / "ports.txt";
    std::filesystem::remove(ports);
    input_ = popen((command + " >'" + ports.string() + "'").c_str(), "we");
    for (int tries = 0; tries < 1500 && ports_.empty(); ++tries) {
        usleep(20'000);
        const std::string line = ReadText(ports);
        if (!line.ends_with('\n')) continue;
        std::istringstream words(line);
        for (WORD port = 0; words >> port;) ports_.push_back(port);
    }
    EXPECT_FALSE(ports_.empty()) << command;
}

}  // namespace platform::testing
