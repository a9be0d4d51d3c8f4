// What a certificate is for when the line does not say.
#pragma once

namespace kestrel {

inline constexpr char kDefaultUsage[] = "1.3.6.1.5.5.7.3.4";  // e-mail protection (RFC 5280)
inline constexpr wchar_t kDefaultUsageWide[] = L"1.3.6.1.5.5.7.3.4";

}  // namespace kestrel
