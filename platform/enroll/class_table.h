// The classes that can be made by their identifiers.
#pragma once

#include <objbase.h>

namespace platform {

// An object with one count, by the interface asked for. Throws REGDB_E_CLASSNOTREG for a class that
// is not here, E_NOINTERFACE for an interface that it has not.
void* MakeObject(REFCLSID id, REFIID interfaceId);

// ---- one maker a class, answering an object with one count ------------------------------

IUnknown* NewEnrollControl();
IUnknown* NewObjectId();
IUnknown* NewObjectIds();
IUnknown* NewDistinguishedName();
IUnknown* NewPlainExtension();
IUnknown* NewKeyUsageExtension();
IUnknown* NewEnhancedUsageExtension();
IUnknown* NewPrivateKey();
IUnknown* NewCertificateRequest();
IUnknown* NewEnrollment();
IUnknown* NewAuthorityClient();

}  // namespace platform
