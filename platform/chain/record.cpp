// A path laid out as the calls document it.
#include "platform/chain/record.h"

#include <utility>

#include "platform/chain/checks.h"

namespace platform {
namespace {

// What the elements have in common; the other bits are documented for certificates alone.
DWORD ChainInfo(const Path& path) {
    DWORD info = CERT_TRUST_HAS_PREFERRED_ISSUER;
    for (const Link& link : path.links) info &= link.info;
    return info;
}

}  // namespace

Chain::Chain(const Path& path) : Object(kKind) {
    elements_.reserve(path.links.size());  // the record points into it
    for (const Link& link : path.links) AddElement(link);
    simple_.cbSize = sizeof simple_;
    simple_.cElement = static_cast<DWORD>(pointers_.size());
    simple_.rgpElement = pointers_.data();
    simple_.TrustStatus = {path.Error(), ChainInfo(path)};
    context_.cbSize = sizeof context_;
    context_.TrustStatus = simple_.TrustStatus;
    context_.cChain = 1;
    context_.rgpChain = &simplePointer_;
}

// A context that its caller gave back once too often is gone already.
Chain::~Chain() {
    for (const Element& element : elements_) {
        GuardedBool([&] {
            ReleaseHandle(element.record.pCertContext, Kind::Certificate, ERROR_INVALID_PARAMETER);
        });
    }
}

void Chain::AddElement(const Link& link) {
    auto usages = UsagesOf(*link.certificate);
    Element& element = elements_.emplace_back();
    element.record.cbSize = sizeof element.record;
    element.record.TrustStatus = {link.error, link.info};
    if (usages) AddUsage(element, std::move(*usages));
    pointers_.push_back(&element.record);
    element.record.pCertContext = Certificate::Share(link.certificate);
}

// No usage record means any use.
void Chain::AddUsage(Element& element, std::vector<std::string> identifiers) {
    element.identifiers = std::move(identifiers);
    for (std::string& text : element.identifiers) element.texts.push_back(text.data());
    element.usage = {static_cast<DWORD>(element.texts.size()), element.texts.data()};
    element.record.pApplicationUsage = &element.usage;
}

}  // namespace platform
