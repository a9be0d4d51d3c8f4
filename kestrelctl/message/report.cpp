// stub for building
#include "kestrelctl/message/report.h"
#include "kestrelctl/cli.h"
namespace kestrelctl::message {
void WriteReport(const std::string&, const MessageVerdict&, const JudgeSettings&, bool) {
    throw Failure("not yet");
}
}  // namespace kestrelctl::message
