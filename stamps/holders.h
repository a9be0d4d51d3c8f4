// Owners of the platform handles of the time-stamp code. Each keeps the last error, and does
// not tell of a failed release.
#pragma once

#include <windows.h>

#include "selection/holders.h"

namespace ATL2 {

using kestrel::CertificateHolder;
using kestrel::HashHolder;
using kestrel::MessageHolder;
using kestrel::ProviderHolder;

using ChainHolder = kestrel::HandleHolder<PCCERT_CHAIN_CONTEXT, CertFreeCertificateChain>;

}  // namespace ATL2
