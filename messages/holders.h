// One owner for each kind of thing that a message command acquires, besides those of
// selection/holders.h. Each is declared on the line that acquires; what must be released
// last is declared first. A release keeps the last error.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "selection/holders.h"

namespace kestrel {

struct FileCloser {
    void operator()(FILE* file) const {
        const LastErrorKeeper keeper;
        static_cast<void>(std::fclose(file));
    }
};
using FileHolder = std::unique_ptr<FILE, FileCloser>;

// A buffer of the whole-file road, which is malloc'ed.
struct BytesReleaser {
    void operator()(BYTE* data) const { std::free(data); }
};
using BytesHolder = std::unique_ptr<BYTE, BytesReleaser>;

struct CrlReleaser {
    void operator()(PCCRL_CONTEXT crl) const {
        const LastErrorKeeper keeper;
        CertFreeCRLContext(crl);
    }
};
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, CrlReleaser>;

}  // namespace kestrel
