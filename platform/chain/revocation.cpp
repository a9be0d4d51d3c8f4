#include "platform/chain/revocation.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

class StoreSource : public RevocationSource {
  public:
    explicit StoreSource(const CertificatePool& pool) : pool_(pool) {}
    Revocation Ask(const RevocationQuestion& question) override {
        return Judge(question, pool_.CrlsOf(question.issuer));
    }

  private:
    const CertificatePool& pool_;
};

class CacheSource : public RevocationSource {
  public:
    explicit CacheSource(fs::path folder) : folder_(std::move(folder)) {}
    Revocation Ask(const RevocationQuestion& question) override {
        if (!read_) ReadFolder();
        const DistinguishedName wanted(question.issuer.Info().Subject);
        std::vector<std::shared_ptr<Crl>> crls;
        for (const auto& crl : crls_) {
            if (wanted.Equals(DistinguishedName(crl->Info().Issuer))) crls.push_back(crl);
        }
        return Judge(question, crls);
    }

  private:
    void ReadFolder() {
        read_ = true;
        std::error_code error;
        for (fs::directory_iterator file(folder_, error), end; !error && file != end;
             file.increment(error)) {
            if (file->path().extension() == ".crl") ReadFile(file->path());
        }
    }

    void ReadFile(const fs::path& file) {
        try {
            const CertificateBundle bundle = ReadBundle(ReadWholeFile(file));
            crls_.insert(crls_.end(), bundle.crls.begin(), bundle.crls.end());
        } catch (const Error&) {
            // As good as absent.
        }
    }

    fs::path folder_;
    bool read_ = false;
    std::vector<std::shared_ptr<Crl>> crls_;
};

Revocation AskAll(const RevocationQuestion& question, const RevocationSources& sources) {
    for (const auto& source : sources) {
        const Revocation answer = source->Ask(question);
        if (answer != Revocation::Unknown) return answer;
    }
    return Revocation::Unknown;
}

DWORD BitsOf(Revocation answer) {
    switch (answer) {
        case Revocation::Good:
            return 0;
        case Revocation::Revoked:
            return CERT_TRUST_IS_REVOKED;
        case Revocation::Unknown:
            break;
    }
    return CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
}

// How many certificates from the end certificate on are asked about.
std::size_t CountToCheck(const Path& path, DWORD flags) {
    const std::size_t all = path.links.size();
    if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN) != 0) return all;
    if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT) != 0) {
        const bool endsInRoot = path.trusted || path.links.back().selfSigned;
        return endsInRoot ? all - 1 : all;
    }
    return (flags & CERT_CHAIN_REVOCATION_CHECK_END_CERT) != 0 ? 1 : 0;
}

// Null when the path does not hold it.
const Certificate* IssuerIn(const Path& path, std::size_t index) {
    if (index + 1 < path.links.size()) return path.links[index + 1].certificate.get();
    return path.links[index].selfSigned ? path.links[index].certificate.get() : nullptr;
}

}  // namespace

std::unique_ptr<RevocationSource> StoreCrls(const CertificatePool& pool) {
    return std::make_unique<StoreSource>(pool);
}

std::unique_ptr<RevocationSource> CachedCrls(fs::path folder) {
    return std::make_unique<CacheSource>(std::move(folder));
}

void CheckRevocation(Path& path, DWORD flags, const FILETIME& time,
                     const RevocationSources& sources) {
    const FILETIME now = FileTimeOf(CurrentTicks());
    const std::size_t count = CountToCheck(path, flags);
    for (std::size_t index = 0; index < count; ++index) {
        Link& link = path.links[index];
        if ((link.error & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0) continue;
        const Certificate* issuer = IssuerIn(path, index);
        const Revocation answer = issuer == nullptr
                                      ? Revocation::Unknown
                                      : AskAll({*link.certificate, *issuer, time, now}, sources);
        link.error |= BitsOf(answer);
    }
}

}  // namespace platform
