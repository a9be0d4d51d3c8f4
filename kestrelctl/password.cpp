// Passwords of key containers and PKCS #12 files.
#include "kestrelctl/password.h"

#include <fstream>

#include "kestrelctl/output.h"

#include "platform/console/hidden_line.h"
#include "platform/console/terminal.h"

namespace kestrelctl {
namespace {

platform::Secret FirstLine(std::istream& input, const char* missing) {
    std::string line;
    if (!std::getline(input, line)) throw Failure(missing);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    platform::Secret secret(platform::ViewOf(line));
    platform::Wipe(line);
    return secret;
}

}  // namespace

platform::Secret AskPassword(const std::string& prompt) {
    auto secret = platform::AskHiddenLine(prompt);
    if (!secret)
        throw Failure(
            "no password given: without a terminal it is the next line of standard input");
    return *std::move(secret);
}

platform::Secret AskNewPassword(const std::string& prompt) {
    platform::Secret secret = AskPassword(prompt);
    if (platform::KeyTerminal() >= 0 &&
        !platform::Equal(secret.View(), AskPassword("Once more: ").View())) {
        throw Failure("the passwords differ");
    }
    return secret;
}

platform::Secret PinOf(const Arguments& arguments, std::string_view option) {
    const std::string* given = arguments.Find(option);
    return given != nullptr ? platform::Secret(platform::ViewOf(*given)) : platform::Secret();
}

DWORD FilledKeySpec(const platform::Container& container) {
    for (const DWORD spec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        if (container.HasKey(spec)) return spec;
    }
    throw Failure("container '" + container.Name() + "' holds no key");
}

platform::AnyKey LoadKey(const platform::Container& container, DWORD spec, platform::Secret& pin) {
    if (container.NeedsPassword(spec) && pin.Empty()) {
        pin = AskPassword("Password of container '" + Visible(container.Name()) + "': ");
    }
    return container.LoadKey(spec, pin);
}

platform::Secret FilePassword(const Arguments& arguments, bool isNew) {
    if (const auto given = arguments.Find("password")) {
        return platform::Secret(platform::ViewOf(*given));
    }
    if (const auto file = arguments.Find("password-file")) {
        std::ifstream input(*file);
        if (!input) throw Failure("cannot read '" + *file + "'");
        return FirstLine(input, "the password file is empty");
    }
    const std::string prompt = "Password of the PKCS #12 file: ";
    return isNew ? AskNewPassword(prompt) : AskPassword(prompt);
}

}  // namespace kestrelctl
