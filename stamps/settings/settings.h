// The settings, a row each. The time-stamp client reads by the rows of the policy; kestrelctl
// checks, shows and explains by them. The manual page and the settings file of packages are made of
// all.
#pragma once

#include <cstdint>
#include <string_view>

namespace Ferroline::PKI {

// Where they live, under the machine's root and the user's.
inline constexpr std::string_view kPolicyKey = "Software\\Policies\\Ferro-Line\\TSP";
inline constexpr std::string_view kPlatformKey = "Software\\Kestrel\\Platform";
inline constexpr std::string_view kProxyKey =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

// A list is a sub-key; the flag of its name with "Setted" behind puts it in force.
enum class SettingKind : std::uint8_t { Number, Flag, Text, List };

// Whose it is; of the machine's alone, the user's says nothing.
enum class SettingSide : std::uint8_t { Either, Machine };

// What the data has to be beside its kind.
enum class SettingForm : std::uint8_t {
    Any,
    Tolerance,   // milliseconds whose sum in 32 bits does not wrap
    NonceSize,   // bytes
    Scheme,      // a scheme of HTTP authentication
    Hash,        // the identifier of a hash, a name behind it or not
    Identifier,  // dotted numbers
    Service,     // an address of http or https
    Proxy,       // such an address without a path
    Roots,       // what becomes of new roots
    Cipher,      // the identifier of a cipher of GOST
};

struct Setting {
    std::string_view name;
    SettingKind kind;
    std::uint32_t initially;  // a number or flag that neither side sets
    SettingForm form;
    std::string_view effect;
    std::string_view key = kPolicyKey;
    SettingSide side = SettingSide::Either;
};

inline constexpr std::string_view kListFlagEnd = "Setted";

// clang-format off
inline constexpr Setting kSettings[] = {
    {"DefaultTSPURL", SettingKind::Text, 0, SettingForm::Service, "service, when -sd or -ss names none"},
    {"DefaultHashAlg", SettingKind::Text, 0, SettingForm::Hash, "hash that is stamped, a name may stand behind it; GOST R 34.11-94 without"},
    {"DefaultPolicyID", SettingKind::Text, 0, SettingForm::Identifier, "policy of the service that is asked for"},
    {"DefaultProxy", SettingKind::Text, 0, SettingForm::Proxy, "proxy; the user's own without"},
    {"StampAccuracy", SettingKind::Number, 180000, SettingForm::Tolerance, "milliseconds by which a stamp without a nonce may differ from the clock"},
    {"NonceLength", SettingKind::Number, 8, SettingForm::NonceSize, "bytes of the nonce"},
    {"UseNonceByDefault", SettingKind::Flag, 1, SettingForm::Any, "a nonce goes with each request"},
    {"RequireNonce", SettingKind::Flag, 0, SettingForm::Any, "a request without a nonce is refused"},
    {"DisableNonce", SettingKind::Flag, 0, SettingForm::Any, "a request with a nonce is refused"},
    {"DisablePolicyID", SettingKind::Flag, 0, SettingForm::Any, "a request that names a policy is refused"},
    {"DefaultCertReq", SettingKind::Flag, 0, SettingForm::Any, "no effect on commands: -nostampcert decides"},
    {"AuthTypeDefault", SettingKind::Number, 0, SettingForm::Scheme, "answer to a service's challenge: 0 none, 1 Basic, 2 NTLM, 8 Digest, 16 Negotiate"},
    {"AuthSSLTypeDefault", SettingKind::Number, 0, SettingForm::Scheme, "the same when DefaultTSPURL begins with https://"},
    {"ProxyAuthTypeDefault", SettingKind::Number, 0, SettingForm::Scheme, "the same for a proxy"},
    {"ProxyAuthSSLTypeDefault", SettingKind::Number, 0, SettingForm::Scheme, "the same for a proxy that begins with https://"},
    {"AuthDenyAnonym", SettingKind::Flag, 0, SettingForm::Any, "over http, no login is refused"},
    {"AuthDenyBasic", SettingKind::Flag, 0, SettingForm::Any, "over http, Basic is refused"},
    {"AuthDenyDigest", SettingKind::Flag, 0, SettingForm::Any, "over http, Digest is refused"},
    {"AuthDenyNTLM", SettingKind::Flag, 0, SettingForm::Any, "over http, NTLM is refused"},
    {"AuthDenyNegotiate", SettingKind::Flag, 0, SettingForm::Any, "over http, Negotiate is refused"},
    {"AuthSSLDenyAnonym", SettingKind::Flag, 0, SettingForm::Any, "over https, no login is refused"},
    {"AuthSSLDenyBasic", SettingKind::Flag, 0, SettingForm::Any, "over https, Basic is refused"},
    {"AuthSSLDenyDigest", SettingKind::Flag, 0, SettingForm::Any, "over https, Digest is refused"},
    {"AuthSSLDenyNTLM", SettingKind::Flag, 0, SettingForm::Any, "over https, NTLM is refused"},
    {"AuthSSLDenyNegotiate", SettingKind::Flag, 0, SettingForm::Any, "over https, Negotiate is refused"},
    {"ProxyAuthDenyAnonym", SettingKind::Flag, 0, SettingForm::Any, "through an http proxy, no login is refused"},
    {"ProxyAuthDenyBasic", SettingKind::Flag, 0, SettingForm::Any, "through an http proxy, Basic is refused"},
    {"ProxyAuthDenyDigest", SettingKind::Flag, 0, SettingForm::Any, "through an http proxy, Digest is refused"},
    {"ProxyAuthDenyNTLM", SettingKind::Flag, 0, SettingForm::Any, "through an http proxy, NTLM is refused"},
    {"ProxyAuthDenyNegotiate", SettingKind::Flag, 0, SettingForm::Any, "through an http proxy, Negotiate is refused"},
    {"ProxyAuthSSLDenyAnonym", SettingKind::Flag, 0, SettingForm::Any, "through an https proxy, no login is refused"},
    {"ProxyAuthSSLDenyBasic", SettingKind::Flag, 0, SettingForm::Any, "through an https proxy, Basic is refused"},
    {"ProxyAuthSSLDenyDigest", SettingKind::Flag, 0, SettingForm::Any, "through an https proxy, Digest is refused"},
    {"ProxyAuthSSLDenyNTLM", SettingKind::Flag, 0, SettingForm::Any, "through an https proxy, NTLM is refused"},
    {"ProxyAuthSSLDenyNegotiate", SettingKind::Flag, 0, SettingForm::Any, "through an https proxy, Negotiate is refused"},
    {"AllowedTSPsSetted", SettingKind::Flag, 0, SettingForm::Any, "puts AllowedTSPs in force"},
    {"AllowedTSPs", SettingKind::List, 0, SettingForm::Service, "services that may be asked, compared exactly"},
    {"AllowedProxiesSetted", SettingKind::Flag, 0, SettingForm::Any, "puts AllowedProxies in force"},
    {"AllowedProxies", SettingKind::List, 0, SettingForm::Proxy, "proxies that DefaultProxy may name; an empty entry for none"},
    {"AllowedPolicyIDSetted", SettingKind::Flag, 0, SettingForm::Any, "puts AllowedPolicyID in force"},
    {"AllowedPolicyID", SettingKind::List, 0, SettingForm::Identifier, "policies that DefaultPolicyID may name"},
    {"HashAlgsAllowedSetted", SettingKind::Flag, 0, SettingForm::Any, "puts HashAlgsAllowed in force"},
    {"HashAlgsAllowed", SettingKind::List, 0, SettingForm::Identifier, "hashes that may be stamped"},
    {"HashAlgsDeniedSetted", SettingKind::Flag, 0, SettingForm::Any, "puts HashAlgsDenied in force"},
    {"HashAlgsDenied", SettingKind::List, 0, SettingForm::Identifier, "hashes that may not be stamped"},
    {"VerifyTokens", SettingKind::Flag, 0, SettingForm::Any, "an old stamp's signature and chain are checked too; of the machine alone", kPlatformKey, SettingSide::Machine},
};

// No part of the policy: enrolment and the platform below read these by their names.
inline constexpr Setting kOtherSettings[] = {
    {"Retrieve", SettingKind::Number, 1, SettingForm::Any, "0, on either side: no revocation lists, OCSP answers and issuers are fetched for chains", kPlatformKey},
    {"InstallRoots", SettingKind::Number, 1, SettingForm::Roots, "roots that an authority's answer brings: 0 never trusted, 1 asked for on the terminal, 2 always trusted", kPlatformKey, SettingSide::Machine},
    {"GostCipher", SettingKind::Text, 0, SettingForm::Cipher, "cipher of new messages to GOST keys of 2012: 1.2.643.2.2.21 (GOST 28147-89, as without), 1.2.643.7.1.1.5.1.1 or 1.2.643.7.1.1.5.1.2 (Magma, without or with OMAC), 1.2.643.7.1.1.5.2.1 or 1.2.643.7.1.1.5.2.2 (Kuznyechik likewise)", kPlatformKey, SettingSide::Machine},
    {"DefaultCA", SettingKind::Text, 0, SettingForm::Service, "authority of -creatcert and -pendcert without -CA and -FLCA", kPlatformKey, SettingSide::Machine},
    {"DefaultRegistration", SettingKind::Text, 0, SettingForm::Service, "registration of -creatuser, -listDN and -checkreg without -FLCA", kPlatformKey, SettingSide::Machine},
    {"Version", SettingKind::Number, 10, SettingForm::Any, "version of the system that the program is told; 6 makes requests by the newer controls", kPlatformKey, SettingSide::Machine},
    {"ProxyEnable", SettingKind::Flag, 0, SettingForm::Any, "puts ProxyServer in force", kProxyKey},
    {"ProxyServer", SettingKind::Text, 0, SettingForm::Any, "proxy as host:port, or one for each scheme: http=host:port;https=host:port", kProxyKey},
    {"ProxyOverride", SettingKind::Text, 0, SettingForm::Any, "hosts that are asked directly, parted by semicolons", kProxyKey},
    {"AutoConfigURL", SettingKind::Text, 0, SettingForm::Any, "configuration script; it is never run, and the direct way stands", kProxyKey},
};
// clang-format on

// The row of that name; one that is not there does not compile.
consteval const Setting& SettingNamed(std::string_view name) {
    for (const Setting& setting : kSettings) {
        if (setting.name == name) return setting;
    }
    throw "no such setting";
}

}  // namespace Ferroline::PKI
