// The search for a provider that knows an algorithm.
#pragma once

#include <windows.h>

#include "selection/provider_enum.h"

namespace Ferroline {

// Tries providers one after the other and owns the last one tried.
class CFindAlgIdIn {
  public:
    CFindAlgIdIn(const CFindAlgIdIn&) = delete;
    CFindAlgIdIn& operator=(const CFindAlgIdIn&) = delete;

    // The handle with a reference of the caller's own, or 0 when nothing was tried. It is
    // the last provider tried, whether it knows the algorithm or not. Throws
    // ATL::CAtlException.
    [[nodiscard]] HCRYPTPROV Share() const;

  protected:
    explicit CFindAlgIdIn(ALG_ID wanted) : algId(wanted) {}
    ~CFindAlgIdIn();

    // True if the provider lists the algorithm. A null name is the type's default
    // provider. Throws ATL::CAtlException, also for a provider that cannot be opened:
    // that ends the whole search.
    bool Try(DWORD type, const char* name);

    ALG_ID algId;
    HCRYPTPROV provider = 0;
};

class CFindAlgIdInDefaultProviders : public ATL2::CCryptProviderTypesEnumT<char>,
                                     public CFindAlgIdIn {
  public:
    explicit CFindAlgIdInDefaultProviders(ALG_ID wanted) : CFindAlgIdIn(wanted) {}
    bool OnProviderType(DWORD type, const char* name) override;
};

class CFindAlgIdInProviders : public ATL2::CCryptProvidersEnumT<char>, public CFindAlgIdIn {
  public:
    explicit CFindAlgIdInProviders(ALG_ID wanted) : CFindAlgIdIn(wanted) {}
    bool OnProvider(const char* name, DWORD type) override;
};

}  // namespace Ferroline
