// Revocation of the certificates of a path.
#pragma once

#include <memory>
#include <vector>

#include "platform/chain/crl_judge.h"
#include "platform/chain/path.h"

namespace platform {

// A place that knows of revocations. Sources are asked in order until one does not answer
// "unknown"; what each learned is kept in the question's covered reasons, and what the answer
// rests on in its evidence.
class RevocationSource {
  public:
    virtual ~RevocationSource() = default;
    [[nodiscard]] virtual Revocation Ask(RevocationQuestion& question) = 0;
};

using RevocationSources = std::vector<std::unique_ptr<RevocationSource>>;

// CRLs of the pool's stores.
std::unique_ptr<RevocationSource> StoreCrls(const CertificatePool& pool);

// Sets CERT_TRUST_IS_REVOKED and CERT_TRUST_REVOCATION_STATUS_UNKNOWN on the certificates
// that the CERT_CHAIN_REVOCATION_CHECK_* bits of `flags` name. One that its issuer did not
// sign is left out: what an issuer says of a number is not about it.
void CheckRevocation(Path& path, DWORD flags, const FILETIME& time, const CertificatePool& pool,
                     const RevocationSources& sources, Budget* whole);

}  // namespace platform
