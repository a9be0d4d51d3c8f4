// kestrelctl message show: what is in a message. No key is needed, and nothing is judged.
#include <filesystem>

#include "kestrelctl/commands.h"
#include "kestrelctl/message/describe.h"
#include "kestrelctl/message/reader.h"
#include "platform/base/error.h"

namespace kestrelctl {

void MessageShow(const Arguments& arguments) {
    const std::string& file = arguments.positionals[0];
    message::Value document;
    std::error_code none;
    if (std::filesystem::is_directory(file, none)) throw Failure("'" + file + "' is a folder");
    try {
        document = message::Describe(file, message::ReadMessageFile(file, {}));
    } catch (const platform::Error& error) {
        if (error.Detail().find(file) != std::string::npos) throw;
        const std::string detail = error.Detail().empty() ? "" : ": " + error.Detail();
        throw platform::Error(error.Code(), file + detail);
    }
    if (arguments.Json()) {
        std::printf("%s\n", document.Json(false).c_str());
    } else {
        for (const std::string& line : document.Lines()) Say(line);
    }
}

}  // namespace kestrelctl
