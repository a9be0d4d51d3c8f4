// The table of classes.
#include "platform/enroll/class_table.h"

#include <enrollment.h>

#include "platform/base/error.h"
#include "platform/enroll/com_object.h"

namespace platform {
namespace {

struct ClassRow {
    const CLSID& id;
    IUnknown* (*make)();
};

constexpr ClassRow kClasses[] = {
    {enrollment::kCEnroll, NewEnrollControl},
    {enrollment::kCObjectId, NewObjectId},
    {enrollment::kCObjectIds, NewObjectIds},
    {enrollment::kCX500DistinguishedName, NewDistinguishedName},
    {enrollment::kCX509PrivateKey, NewPrivateKey},
    {enrollment::kCX509Extension, NewPlainExtension},
    {enrollment::kCX509ExtensionKeyUsage, NewKeyUsageExtension},
    {enrollment::kCX509ExtensionEnhancedKeyUsage, NewEnhancedUsageExtension},
    {enrollment::kCX509CertificateRequestPkcs10, NewCertificateRequest},
    {enrollment::kCX509Enrollment, NewEnrollment},
    {enrollment::kCCertRequest, NewAuthorityClient},
};

}  // namespace

void* MakeObject(REFCLSID id, REFIID interfaceId) {
    for (const ClassRow& row : kClasses) {
        if (!SameId(row.id, id)) continue;
        IUnknown* object = row.make();
        void* asked = nullptr;
        const HRESULT result = object->QueryInterface(interfaceId, &asked);
        object->Release();
        if (FAILED(result)) throw Error(result);
        return asked;
    }
    throw Error(REGDB_E_CLASSNOTREG);
}

}  // namespace platform
