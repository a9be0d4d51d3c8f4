// Which enrolment control is taken: that which the version of the system has.
#include <enrollment.h>
#include <windows.h>

#include "enroll/com_holders.h"
#include "enroll/fl_enroll.h"
#include "enroll/vista_enroll.h"
#include "enroll/win2003_enroll.h"

namespace kestrel {

namespace {

constexpr DWORD kMajorVersion = 0xFF;
constexpr DWORD kVista = 6;

std::unique_ptr<FLEnroll> OlderControl() {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (entered != S_OK && entered != S_FALSE) return nullptr;
    ICEnroll3* control = nullptr;
    const HRESULT made =
        Create(enrollment::kCEnroll, enrollment::kICEnroll3, reinterpret_cast<void**>(&control));
    if (SUCCEEDED(made)) return std::make_unique<Win2003Enroll>(control);
    CoUninitialize();
    return nullptr;
}

}  // namespace

// enroll-1: version 6 alone, and none of the later ones, has the newer control.
std::unique_ptr<FLEnroll> ChooseEnrollControl() {
    if ((GetVersion() & kMajorVersion) == kVista) return std::make_unique<VistaEnroll>();
    return OlderControl();
}

}  // namespace kestrel
