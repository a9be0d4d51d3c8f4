// Settings files: what is read, written and read again says the same.
#include "platform/base/ground.h"

#include <string>

#include "fuzz/support.h"
#include "platform/base/error.h"
#include "platform/registry/registry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace platform;
    try {
        const RegistryDocument document = RegistryDocument::Parse({data, size}, "input");
        RegistryTree tree(kUserRoot);
        tree.Apply(document);
        const std::string written = document.Serialize();
        const RegistryDocument again = RegistryDocument::Parse(ViewOf(written), "written");
        Demand(again.Serialize() == written, "written settings read back the same");
    } catch (const Error& error) {
        Demand(error.Code() == ERROR_BADDB, "a damaged file gives its own error");
    }
    return 0;
}
