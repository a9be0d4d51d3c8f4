// CertGetCertificateChain: the path as the public record.
#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"
#include "platform/chain/path.h"
#include "platform/chain/revocation.h"
#include "platform/chain/signature.h"

namespace platform {
namespace {

const HCERTCHAINENGINE kMachineEngine = reinterpret_cast<HCERTCHAINENGINE>(1);

struct ContextDeleter {
    void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};

// One element of the record with what it points to.
struct Element {
    std::unique_ptr<const CERT_CONTEXT, ContextDeleter> certificate;
    CERT_CHAIN_ELEMENT record{};
    CERT_ENHKEY_USAGE usage{};
    std::vector<std::string> identifiers;
    std::vector<LPSTR> texts;
};

// The public record. Its certificates keep one count each until it goes.
class Chain : public Object {
  public:
    static constexpr Kind kKind = Kind::Chain;

    explicit Chain(const Path& path) : Object(kKind) {
        elements_.reserve(path.links.size());  // the record points into it
        for (const Link& link : path.links) AddElement(link);
        simple_.cbSize = sizeof simple_;
        simple_.cElement = static_cast<DWORD>(pointers_.size());
        simple_.rgpElement = pointers_.data();
        simple_.TrustStatus.dwErrorStatus = path.Error();
        simple_.TrustStatus.dwInfoStatus = pointers_.back()->TrustStatus.dwInfoStatus;
        context_.cbSize = sizeof context_;
        context_.TrustStatus = simple_.TrustStatus;
        context_.cChain = 1;
        context_.rgpChain = &simplePointer_;
    }

    [[nodiscard]] PCCERT_CHAIN_CONTEXT Context() const { return &context_; }

  private:
    void AddElement(const Link& link) {
        Element& element = elements_.emplace_back();
        element.record.cbSize = sizeof element.record;
        element.certificate.reset(Certificate::Share(link.certificate));
        element.record.pCertContext = element.certificate.get();
        element.record.TrustStatus.dwErrorStatus = link.error;
        if (link.selfSigned) element.record.TrustStatus.dwInfoStatus = CERT_TRUST_IS_SELF_SIGNED;
        if (auto usages = UsagesOf(*link.certificate)) AddUsage(element, std::move(*usages));
        pointers_.push_back(&element.record);
    }

    // No usage record means any use.
    static void AddUsage(Element& element, std::vector<std::string> identifiers) {
        element.identifiers = std::move(identifiers);
        for (std::string& text : element.identifiers) element.texts.push_back(text.data());
        element.usage = {static_cast<DWORD>(element.texts.size()), element.texts.data()};
        element.record.pApplicationUsage = &element.usage;
    }

    std::vector<Element> elements_;
    std::vector<PCERT_CHAIN_ELEMENT> pointers_;
    CERT_SIMPLE_CHAIN simple_{};
    PCERT_SIMPLE_CHAIN simplePointer_ = &simple_;
    CERT_CHAIN_CONTEXT context_{};
};

std::vector<Side> SidesOf(HCERTCHAINENGINE engine) {
    if (engine == nullptr) return {Side::User, Side::Machine};
    if (engine == kMachineEngine) return {Side::Machine};
    throw Error(E_INVALIDARG);
}

ChainRequest RequestOf(const FILETIME* time, const CERT_CHAIN_PARA& para) {
    ChainRequest request;
    request.time = time != nullptr ? *time : FileTimeOf(CurrentTicks());
    const CERT_USAGE_MATCH& match = para.RequestedUsage;
    request.anyUsage = match.dwType == USAGE_MATCH_TYPE_OR;
    for (DWORD i = 0; i < match.Usage.cUsageIdentifier; ++i) {
        request.usages.emplace_back(match.Usage.rgpszUsageIdentifier[i]);
    }
    return request;
}

RevocationSources SourcesFor(const CertificatePool& pool, const std::vector<Side>& sides) {
    RevocationSources sources;
    sources.push_back(StoreCrls(pool));
    for (const Side side : sides) sources.push_back(CachedCrls(HomeOf(side) / "cache"));
    return sources;
}

std::shared_ptr<Chain> Build(const std::shared_ptr<Certificate>& leaf, HCERTCHAINENGINE engine,
                             std::shared_ptr<Store> additional, const ChainRequest& request,
                             DWORD flags) {
    const std::vector<Side> sides = SidesOf(engine);
    const CertificatePool pool(*leaf, std::move(additional), sides);
    Path path = FindPath(leaf, pool, request);
    CheckRevocation(path, flags, request.time, SourcesFor(pool, sides));
    return std::make_shared<Chain>(path);
}

}  // namespace
}  // namespace platform

BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate,
                                    LPFILETIME time, HCERTSTORE additional, PCERT_CHAIN_PARA para,
                                    DWORD flags, LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain) {
    using namespace platform;
    return GuardedBool([&] {
        if (certificate == nullptr || para == nullptr || reserved != nullptr || chain == nullptr) {
            throw Error(E_INVALIDARG);
        }
        const auto leaf = Certificate::Of(certificate);
        auto store = additional == nullptr ? nullptr : Resolve<Store>(additional, E_INVALIDARG);
        auto built = Build(leaf, engine, std::move(store), RequestOf(time, *para), flags);
        const PCCERT_CHAIN_CONTEXT context = built->Context();
        PublishHandle(context, std::move(built));
        *chain = context;
    });
}

void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    using namespace platform;
    if (chain == nullptr) return;
    const LastErrorKeeper keeper;
    GuardedBool([&] { ReleaseHandle(chain, Kind::Chain, ERROR_INVALID_PARAMETER); });
}
