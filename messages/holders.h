// One owner for each kind of thing that a message command acquires, besides the provider
// and the stores of selection/holders.h. Each is declared on the line that acquires; what
// must be released last is declared first. A release keeps the last error, so that the
// failure that is reported is the one that happened.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "selection/holders.h"

namespace kestrel {

class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(code_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD code_;
};

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

// Closing may call the stream callback: its argument must outlive this.
struct MessageCloser {
    void operator()(void* message) const {
        const LastErrorKeeper keeper;
        CryptMsgClose(message);
    }
};
using MessageHolder = std::unique_ptr<void, MessageCloser>;

struct CertificateReleaser {
    void operator()(PCCERT_CONTEXT certificate) const {
        const LastErrorKeeper keeper;
        CertFreeCertificateContext(certificate);
    }
};
using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, CertificateReleaser>;

struct CrlReleaser {
    void operator()(PCCRL_CONTEXT crl) const {
        const LastErrorKeeper keeper;
        CertFreeCRLContext(crl);
    }
};
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, CrlReleaser>;

}  // namespace kestrel
