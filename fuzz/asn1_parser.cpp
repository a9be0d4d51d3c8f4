// Schemas: the generator ends with files or with errors, never with both or none.
#include "asn1/asn1data/generator/generate.h"
#include "fuzz/support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const asn1gen::Result result = asn1gen::Generate({{"input", text}});
    Demand(result.files.empty() != result.errors.empty(), "files or errors");
    return 0;
}
