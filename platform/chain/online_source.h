// Revocation over the network: responders and distribution points that certificates name.
#pragma once

#include <memory>

#include "platform/chain/retriever.h"
#include "platform/chain/revocation.h"

namespace platform {

// What is kept is looked through first, then responders are asked, then distribution points.
// Answers that count are kept, others are noted as failed for this issuer, and the address itself
// where they are none at all. A self-signed certificate is asked about nowhere.
std::unique_ptr<RevocationSource> OnlineAnswers(Retriever& retriever, const CertificatePool& pool);

// Certificates that the addresses of `subject` have for its issuer, one of which issued it; none
// when there is none.
std::vector<std::shared_ptr<Certificate>> FetchIssuers(Retriever& retriever,
                                                       const Certificate& subject);

}  // namespace platform
