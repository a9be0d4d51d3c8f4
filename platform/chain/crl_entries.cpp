// One walk over the entries of a CRL.
#include "platform/chain/crl_entries.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/chain/crl_scope.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Identifier = std::array<std::uint8_t, 3>;
constexpr Identifier kReasonCode = {0x55, 0x1D, 0x15};
constexpr Identifier kInvalidityDate = {0x55, 0x1D, 0x18};
constexpr Identifier kCertificateIssuer = {0x55, 0x1D, 0x1D};
constexpr std::array<std::uint8_t, 3> kRemoveFromCrl = {0x0A, 0x01, 0x08};
constexpr std::array<std::uint8_t, 3> kKeyCompromise = {0x0A, 0x01, 0x01};
constexpr std::array<std::uint8_t, 3> kAuthorityCompromise = {0x0A, 0x01, 0x02};

// The serial number as it stands in `certificate`; INTEGERs are equal though one has octets too
// many in front.
ByteView Shortest(ByteView integer) {
    const auto spare = [&] {
        return integer.size() > 1 && ((integer[0] == 0x00 && integer[1] < 0x80) ||
                                      (integer[0] == 0xFF && integer[1] >= 0x80));
    };
    while (spare()) integer = integer.subspan(1);
    return integer;
}

Bytes SerialIn(const Certificate& certificate) {
    const CRYPT_INTEGER_BLOB& serial = certificate.Info().SerialNumber;
    Bytes octets(serial.pbData, serial.pbData + serial.cbData);
    std::reverse(octets.begin(), octets.end());
    return Copy(Shortest(octets));
}

class EntryWalk {
  public:
    EntryWalk(const Crl& crl, const Certificate& subject, const FILETIME& time, Budget& budget)
        : crl_(crl),
          issuer_(X509_get_issuer_name(subject.Native())),
          serial_(SerialIn(subject)),
          time_(time),
          budget_(budget),
          indirect_(IsIndirect(crl)),
          plain_(crl.Head().dwVersion == 0),
          ours_(X509_NAME_cmp(X509_CRL_get_issuer(crl.NativeHead()), issuer_) == 0) {}

    std::optional<Listed> Run() {
        for (CrlEntries entries = crl_.Entries(); const auto entry = entries.Next();) {
            // Only version 2 has extensions.
            if (plain_ && !entry->extensions.empty()) listed_.understood = false;
            const bool removes = ReadExtensionsOf(*entry);
            if (exhausted_) return std::nullopt;
            if (!listed_.understood) break;
            if (ours_ && Equal(Shortest(entry->serial), serial_)) Take(*entry, removes);
        }
        return listed_;
    }

  private:
    void Take(const CrlEntry& entry, bool removes) {
        if (removes) {
            listed_.removed = true;
        } else if (TicksOf(ReadTime(entry.date)) <= TicksOf(time_)) {
            listed_.revoked = true;
        } else {
            listed_.later = true;
            if (compromise_ && !invalid_.empty()) {
                listed_.compromised = WasInvalid(invalid_, time_);
            }
        }
    }

    // True for the reason "remove from CRL".
    bool ReadExtensionsOf(const CrlEntry& entry) {
        bool removes = false;
        compromise_ = false;
        invalid_ = {};
        der::Cursor list(entry.extensions);
        while (!list.AtEnd()) {
            const RawExtension extension = NextExtension(list);
            if (Equal(extension.oid, kReasonCode)) {
                removes = Equal(extension.value, kRemoveFromCrl);
                compromise_ = IsLostKey(extension.value);
            } else if (Equal(extension.oid, kCertificateIssuer)) {
                if (extension.critical && !indirect_) listed_.understood = false;
                ReadIssuer(extension.value);
            } else if (Equal(extension.oid, kInvalidityDate)) {
                invalid_ = extension.value;
            } else if (extension.critical) {
                listed_.understood = false;
            }
        }
        return removes;
    }

    // RFC 5280 5.3.3: it holds for the entries behind as well.
    void ReadIssuer(ByteView value) {
        constexpr std::uint64_t kPrice = 2'000;
        if (Equal(value, told_)) return;
        exhausted_ = !budget_.Spend(kPrice + 10 * value.size());
        if (exhausted_) return;
        told_ = value;
        using Names = std::unique_ptr<GENERAL_NAMES, Freer<GENERAL_NAMES_free>>;
        const auto names = DecodeWhole<Names>(&d2i_GENERAL_NAMES, value);
        ERR_clear_error();
        if (!names) throw Error(CRYPT_E_ASN1_CORRUPT);
        ours_ = HoldsName(names.get(), issuer_);
    }

    const Crl& crl_;
    X509_NAME* issuer_;
    const Bytes serial_;
    const FILETIME& time_;
    Budget& budget_;
    const bool indirect_;
    const bool plain_;
    bool ours_;      // entries from here on are about certificates of the subject's issuer
    ByteView told_;  // the issuer told last
    bool compromise_ = false;  // of the entry at hand, as its reason says
    ByteView invalid_;         // and the date since when
    bool exhausted_ = false;
    Listed listed_;
};

}  // namespace

bool IsLostKey(ByteView reason) {
    return Equal(reason, kKeyCompromise) || Equal(reason, kAuthorityCompromise);
}

bool WasInvalid(ByteView invalidityDate, const FILETIME& time) {
    return TicksOf(ReadTime(der::Cursor(invalidityDate).Next())) <= TicksOf(time);
}

std::optional<Listed> LookUp(const Crl& crl, const Certificate& subject, const FILETIME& time,
                             Budget& budget) {
    if (!budget.Spend(crl.Der().size())) return std::nullopt;
    return EntryWalk(crl, subject, time, budget).Run();
}

}  // namespace platform
