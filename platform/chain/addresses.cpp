// Distribution points and access descriptions as lists of addresses.
#include "platform/chain/addresses.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <memory>

#include "platform/http/download.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using PointList = std::unique_ptr<CRL_DIST_POINTS, Freer<CRL_DIST_POINTS_free>>;
using AccessList = std::unique_ptr<AUTHORITY_INFO_ACCESS, Freer<AUTHORITY_INFO_ACCESS_free>>;

constexpr int kFullName = 0;  // the choice in a DistributionPointName
// What one certificate may make us ask.
constexpr std::size_t kMostAddresses = 16;

void Add(std::vector<std::string>& addresses, const GENERAL_NAME& name) {
    if (name.type != GEN_URI || addresses.size() >= kMostAddresses) return;
    const ASN1_IA5STRING* text = name.d.uniformResourceIdentifier;
    std::string address(reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
                        static_cast<std::size_t>(ASN1_STRING_length(text)));
    const bool known = std::find(addresses.begin(), addresses.end(), address) != addresses.end();
    if (!known && IsDownloadable(address)) addresses.push_back(std::move(address));
}

std::vector<std::string> AddressesIn(const PointList& points) {
    std::vector<std::string> addresses;
    for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
        const DIST_POINT_NAME* point = sk_DIST_POINT_value(points.get(), i)->distpoint;
        if (point == nullptr || point->type != kFullName) continue;
        for (int j = 0; j < sk_GENERAL_NAME_num(point->name.fullname); ++j) {
            Add(addresses, *sk_GENERAL_NAME_value(point->name.fullname, j));
        }
    }
    ERR_clear_error();
    return addresses;
}

std::vector<std::string> PointsIn(const Certificate& certificate, int nid) {
    return AddressesIn(PointList(static_cast<CRL_DIST_POINTS*>(
        X509_get_ext_d2i(certificate.Native(), nid, nullptr, nullptr))));
}

std::vector<std::string> AccessIn(const Certificate& certificate, int method) {
    const AccessList list(static_cast<AUTHORITY_INFO_ACCESS*>(
        X509_get_ext_d2i(certificate.Native(), NID_info_access, nullptr, nullptr)));
    ERR_clear_error();
    std::vector<std::string> addresses;
    for (int i = 0; i < sk_ACCESS_DESCRIPTION_num(list.get()); ++i) {
        const ACCESS_DESCRIPTION* access = sk_ACCESS_DESCRIPTION_value(list.get(), i);
        if (OBJ_obj2nid(access->method) == method) Add(addresses, *access->location);
    }
    return addresses;
}

}  // namespace

std::vector<std::string> ListAddresses(const Certificate& certificate) {
    return PointsIn(certificate, NID_crl_distribution_points);
}

std::vector<Bytes> ListIssuers(const Certificate& certificate) {
    const PointList points(static_cast<CRL_DIST_POINTS*>(
        X509_get_ext_d2i(certificate.Native(), NID_crl_distribution_points, nullptr, nullptr)));
    ERR_clear_error();
    std::vector<Bytes> names;
    for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
        const GENERAL_NAMES* issuers = sk_DIST_POINT_value(points.get(), i)->CRLissuer;
        for (int j = 0; j < sk_GENERAL_NAME_num(issuers); ++j) {
            const GENERAL_NAME* name = sk_GENERAL_NAME_value(issuers, j);
            if (name->type != GEN_DIRNAME || names.size() >= kMostAddresses) continue;
            names.push_back(EncodeWhole<X509_NAME>(&i2d_X509_NAME, name->d.directoryName));
        }
    }
    return names;
}

std::vector<std::string> DeltaAddresses(const Certificate& certificate) {
    return PointsIn(certificate, NID_freshest_crl);
}

std::vector<std::string> DeltaAddresses(const Crl& crl) {
    return AddressesIn(PointList(static_cast<CRL_DIST_POINTS*>(
        X509_CRL_get_ext_d2i(crl.NativeHead(), NID_freshest_crl, nullptr, nullptr))));
}

std::vector<std::string> ResponderAddresses(const Certificate& certificate) {
    auto addresses = AccessIn(certificate, NID_ad_OCSP);
    std::erase_if(addresses, [](const std::string& one) { return !TakesRequests(one); });
    return addresses;
}

std::vector<std::string> IssuerAddresses(const Certificate& certificate) {
    return AccessIn(certificate, NID_ad_ca_issuers);
}

}  // namespace platform
