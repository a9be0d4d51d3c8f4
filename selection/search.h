// The certificate search criterion: the keys that name certificates, and the search.
#pragma once

#include <windows.h>

#include <vector>

#include "front/core/result.h"
#include "front/core/state.h"

namespace kestrel {

using StoreVector = std::vector<HCERTSTORE>;

// Takes the criterion's keys out of givenKeys. `broad` adds the address book to the
// default stores and keeps all that is found. 0 or a reported code.
Reported ParseSearchCriterion(bool broad);

// True if any of dn, m, u, f, all, 1, q, nochain was given.
bool HasSearchKeys();

// What a certificate is chosen for, as far as its chain is judged by it.
enum class Purpose { Any, Signing };

// Fills state.foundCertificates. Every store that it opens goes to `openStores` and
// stays open, since the contexts refer to it; close with CloseStoreVector.
Reported SelectCertificates(StoreVector& openStores, bool needOne, Purpose purpose = Purpose::Any);
void CloseStoreVector(StoreVector& stores);

// Leaves an empty list.
void ForgetFoundCertificates();

// 0 or a reported platform error; `status` gets the trust bits of the chain, with the one for
// a wrong use where the certificate's key usage does not serve the purpose.
Reported CheckChain(PCCERT_CONTEXT certificate, Purpose purpose, DWORD& status);
// Explains a bad chain and asks. 0, kBadChain (not reported) or kCancelled.
Reported AskAboutBadChain(DWORD status, bool& keep);

// A revocation list of the certificate's issuer from "CA" or "ROOT", or null with the
// last error set. The stores stay open until the process ends.
PCCRL_CONTEXT FindCrlForCertificate(PCCERT_CONTEXT certificate, bool verbose);
// The same by the issuer's key as well as its name, and from "CA" alone. Tells that it adds
// a list.
PCCRL_CONTEXT FindCrlBesideIssuer(PCCERT_CONTEXT certificate);

// The stores of one search, open as long as what it found is used.
struct SearchStores {
    SearchStores() = default;
    ~SearchStores() { CloseStoreVector(open); }
    SearchStores(const SearchStores&) = delete;
    SearchStores& operator=(const SearchStores&) = delete;

    StoreVector open;
};

}  // namespace kestrel
