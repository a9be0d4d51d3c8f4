// Finding providers and algorithms, choosing a key container, and the way of a
// container's password to its provider.
#pragma once

#include <windows.h>

#include <memory>

#include "front/core/result.h"

namespace kestrel {

// Frees with zeroing; the text of a password.
class SecureText {
  public:
    SecureText() = default;
    ~SecureText() { Clear(); }
    SecureText(const SecureText&) = delete;
    SecureText& operator=(const SecureText&) = delete;
    void Assign(const char* text);
    void Clear();
    // Null until something was assigned; an empty password is not null.
    [[nodiscard]] const char* Get() const { return text_.get(); }

  private:
    std::unique_ptr<char[]> text_;
};

// Settings of the hash commands.
extern DWORD hashProviderType;
extern const char* hashProviderName;

// A provider handle that the caller releases, or null. Platform failures throw
// ATL::CAtlException.
HCRYPTPROV FindProviderForAlgorithm(ALG_ID algorithm);

// The first algorithm of `group` that the provider of the certificate's key type lists.
// 0, kNoProvider without a report, or a reported platform error.
Reported FindAlgorithmForCertificate(PCCERT_CONTEXT certificate, DWORD group,
                                     CRYPT_ALGORITHM_IDENTIFIER& algorithm);

// 1 with `type` filled, or 0 with the last error set.
int EnumDefaultProviderTypes(DWORD index, DWORD& type);

// 1 when the hash provider has a hash algorithm (or cannot be opened: that shows at
// the first use), 0 otherwise. The record of the algorithm found stays in hashAlgorithm.
int ProviderHasHashAlgorithm();
extern PROV_ENUMALGS hashAlgorithm;

// Lets the user pick a container by number. `name` is allocated. 0 or a reported code.
Reported ChooseContainer(DWORD type, const char* providerName, DWORD flags,
                         std::unique_ptr<char[]>& name);

// True if -askpin or -pin was given; takes nothing.
bool PinRequested();
bool GetContainerPin(const char* containerName, SecureText& pin);
// 0 or a reported code.
Reported SetContainerPin(HCRYPTPROV provider, DWORD keySpec);

}  // namespace kestrel
