// The one prompt for a line that does not show.
#include "platform/console/hidden_line.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/console/terminal.h"

namespace platform {
namespace {

constexpr std::size_t kLongestLine = 1024;
constexpr int kEnd = -1;

// A terminal that cannot be written to still takes the line.
void Show(int terminal, const std::string& text) {
    for (std::size_t at = 0; terminal >= 0 && at < text.size();) {
        const ssize_t done = write(terminal, text.data() + at, text.size() - at);
        if (done < 0 && errno != EINTR) return;
        if (done > 0) at += static_cast<std::size_t>(done);
    }
}

// `next` answers with a byte or kEnd.
template <class Next>
std::optional<Secret> TakeLine(Next next) {
    Bytes line;
    line.reserve(kLongestLine);  // one buffer, so that one wipe is enough
    bool any = false;
    for (int byte = next(); byte != kEnd; byte = next()) {
        any = true;
        if (byte == '\n') break;
        if (line.size() < kLongestLine) line.push_back(static_cast<std::uint8_t>(byte));
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    Secret secret(line);
    Wipe(line);
    return any ? std::optional(std::move(secret)) : std::nullopt;
}

// Through the stream, where the answers before this one were read.
int StreamByte() {
    const int byte = std::getc(stdin);
    return byte == EOF ? kEnd : byte;
}

}  // namespace

std::optional<Secret> AskHiddenLine(const std::string& prompt) {
    std::fflush(stdout);
    const int terminal = KeyTerminal();
    if (terminal < 0) return TakeLine(StreamByte);
    const HiddenInput hidden(terminal);
    Show(terminal, prompt);
    std::optional<Secret> line = TakeLine([terminal] { return ReadByte(terminal); });
    Show(terminal, "\n");
    return line;
}

}  // namespace platform
