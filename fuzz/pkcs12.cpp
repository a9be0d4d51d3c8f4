// PKCS #12 files: the walk over their bags, with every cipher, derivation and code in them. The
// first byte chooses the password.
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/support.h"
#include "kestrelctl/cli.h"
#include "kestrelctl/pkcs12_file.h"
#include "platform/base/error.h"

namespace {

// A name for the bytes, which never reach a disk.
std::string FileOf(platform::ByteView bytes) {
    static const int file = memfd_create("pkcs12", 0);
    Demand(ftruncate(file, 0) == 0, "a file in memory can be emptied");
    Demand(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
           "a file in memory can be written");
    return "/proc/self/fd/" + std::to_string(file);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const platform::Secret password(platform::ViewOf(data[0] % 2 == 0 ? "p" : ""));
    try {
        const auto content = kestrelctl::ReadPkcs12(FileOf({data + 1, size - 1}), password);
        Demand(content.key && !content.certificate.empty(), "what is read has both its halves");
    } catch (const kestrelctl::Failure&) {
    } catch (const platform::Error&) {
    }
    return 0;
}
