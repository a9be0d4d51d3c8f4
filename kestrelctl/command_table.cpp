// The table of kestrelctl's commands: what parses a line, prints help, and makes the manual page
// and the shells' completion.
#include "kestrelctl/command_table.h"

#include "kestrelctl/commands.h"
#include "kestrelctl/policy_rules.h"

namespace kestrelctl {
namespace {

constexpr std::size_t kMany = 1'000'000;
constexpr Option kMachine{"machine", nullptr, "work on the machine's side instead of the user's"};
constexpr Option kJson{"json", nullptr, "print the listing as JSON"};
constexpr Option kContainer{"container", "NAME",
                            "name of the key container (default: from the subject)"};
constexpr Option kPin{"pin", "PIN", "password of the key container (default: none)", true};
constexpr Option kTrust{"trust", nullptr, "also put the certificate into \"Root\""};
constexpr Option kPassword{"password", "P", "password of the PKCS #12 file", true};
constexpr Option kPasswordFile{"password-file", "F", "read that password from the first line of F"};
constexpr Option kForce{"force", nullptr, "overwrite a file that exists"};

std::string SingleSettingsHelp() { return SettingsHelp(false); }
std::string ListSettingsHelp() { return SettingsHelp(true); }

// clang-format off
constexpr Command kCommands[] = {
    {"identity", "create", "SUBJECT", 1, 1,
     "Makes a key and a self-signed certificate for it.\n\n"
     "SUBJECT is a name such as \"CN=Ann Example, O=Example\". The key goes into a container,\n"
     "the certificate into \"My\".",
     {{"provtype", "N", "provider type: 1 or 24 RSA (default: 24), 16 ECDSA, 75, 80, 81 GOST"},
      kContainer,
      kPin,
      {"days", "N", "validity of the certificate (default: 365)"},
      {"bits", "N", "key length, RSA and ECDSA (default: 2048, 256)"},
      kTrust,
      kMachine},
     IdentityCreate},
    {"identity", "import", "FILE.p12", 1, 1,
     "Takes the key and certificates of a PKCS #12 file in.\n\n"
     "The key goes into a container, its certificate into \"My\", the others into \"CA\",\n"
     "or into \"Root\" when they are self-signed and --trust is given. A key that a container\n"
     "holds already is not taken in again, unless --container names another one.",
     {kPassword, kPasswordFile, kContainer, kPin, kTrust, kMachine}, IdentityImport},
    {"identity", "list", "", 0, 0,
     "Lists the key containers and their certificates.\n\n"
     "The last column tells what an identity lacks: a key, a certificate, its place in \"My\",\n"
     "or, for a certificate that leads to a key, the container; and whether the certificate\n"
     "expires within 30 days.",
     {kJson, kMachine}, IdentityList},
    {"identity", "export", "NAME FILE.p12", 2, 2,
     "Writes a container's key, its certificate and their issuers as a PKCS #12 file.\n\n"
     "FILE.p12 \"-\" is standard output. A file that exists stays without --force.",
     {kPassword, kPasswordFile, kPin,
      {"legacy", nullptr, "3DES and SHA-1, for readers that know nothing better"},
      kForce, kMachine},
     IdentityExport},
    {"identity", "passwd", "NAME", 1, 1,
     "Sets, changes or removes the password of a container.\n\n"
     "Asks for the old and the new password; without a terminal they are the first lines of\n"
     "standard input. An empty new password removes it. Both keys of a container change.",
     {{"pin", "OLD", "the old password", true},
      {"new-pin", "NEW", "the new password", true}, kMachine},
     IdentityPasswd},
    {"identity", "bind", "NAME CERTIFICATE", 2, 2,
     "Makes a certificate, a renewed one for example, the one of a container's key.\n\n"
     "CERTIFICATE is a file, or the thumbprint of one in \"My\". It goes into \"My\"; the one that\n"
     "it replaces moves to \"Superseded\", where kestrel opens messages to it with -uSuperseded.",
     {kPin, kMachine}, IdentityBind},
    {"identity", "delete", "NAME", 1, 1,
     "Deletes a key container and the certificates that lead to it.\n\n"
     "They go from \"My\" and \"Superseded\". One whose key another container has too leads\n"
     "there from then on. What the key alone could open is lost.",
     {kMachine}, IdentityDelete},
    {"request", "list", "", 0, 0,
     "Lists the certificate requests that wait for their answer.\n\n"
     "The last column tells when the key of a request is gone.",
     {kJson}, RequestList},
    {"request", "show", "NAME", 1, 1,
     "Shows the requests of a container in full.\n\n"
     "NAME is the container, or the beginning of a request's thumbprint.",
     {kJson}, RequestShow},
    {"request", "delete", "NAME", 1, 1,
     "Forgets the requests of a container. The key stays.\n\n"
     "NAME is the container, or the beginning of a request's thumbprint. The answer can still\n"
     "be installed by naming the container.",
     {}, RequestDelete},
    {"request", "renew", "CONTAINER OUT", 2, 2,
     "Writes a request for the key and the subject of a certificate that is there.\n\n"
     "What the certificate says of its uses and other names is asked for again. OUT is a PEM\n"
     "file, or \"-\" for standard output. Install the answer with kestrelctl identity bind, which\n"
     "moves the old certificate to \"Superseded\"; kestrel -instcert leaves both in \"My\".",
     {kPin, kForce, kMachine}, RequestRenew},
    {"store", "list", "[NAME]", 0, 1,
     "Lists the stores, or the certificates of one.\n\n"
     "The last column tells which certificates expire within 30 days.",
     {kJson, kMachine}, StoreList},
    {"store", "show", "NAME", 1, 1,
     "Shows the certificates and CRLs of a store in full.\n",
     {kJson, kMachine}, StoreShow},
    {"store", "add", "NAME FILE...", 2, kMany,
     "Adds the certificates and CRLs of files to a store.\n\n"
     "Files are certificates, CRLs or PKCS #7 bundles, PEM or DER. One that cannot be read\n"
     "leaves the store as it was. A CRL takes the place of the one of its series, unless\n"
     "that is of a later date.",
     {kMachine}, StoreAdd},
    {"store", "remove", "NAME THUMBPRINT", 2, 2,
     "Removes a certificate or CRL from a store.\n\n"
     "THUMBPRINT is the SHA-1 of its encoding, or the beginning of it if that is unique.",
     {kMachine}, StoreRemove},
    {"store", "export", "NAME FILE", 2, 2,
     "Writes the certificates and CRLs of a store as one PEM file.\n\n"
     "FILE \"-\" is standard output. Devices and pipes are written to.",
     {kForce, kMachine}, StoreExport},
    {"trust", "", "FILE...", 1, kMany,
     "Adds the certificates of files to \"Root\".\n",
     {kMachine}, Trust},
    {"chain", "", "CERTIFICATE|THUMBPRINT", 1, 1,
     "Shows a certificate's chain, what is wrong with it, and who said so.\n\n"
     "CERTIFICATE is a file; THUMBPRINT the beginning of one in any store. Of several\n"
     "certificates in the file, the one that issued none of the others is judged, and the\n"
     "others may be its issuers. The source of each revocation answer is shown with its age.\n"
     "Exit status 1: the chain is bad.",
     {{"purpose", "any|stamp", "what it is for; 'stamp': a time-stamp service"},
      {"at", "TIME", "judge it for that time (UTC), such as \"2026-11-21T02:20:00Z\""},
      kJson},
     Chain},
    {"cache", "list", "", 0, 0,
     "Lists what was fetched for chains, and the addresses that had no answer.\n",
     {kJson, kMachine}, CacheList},
    {"cache", "clear", "", 0, 0,
     "Removes what was fetched. It is fetched again when it is needed.\n",
     {kMachine}, CacheClear},
    {"cache", "fetch", "CERTIFICATE", 1, 1,
     "Fetches what the chain of a certificate needs, and shows what came.\n\n"
     "CERTIFICATE is a file or a thumbprint. What is in the stores already is not asked for.\n"
     "Exit status 1: something that the chain needs was asked for in vain.",
     {kJson}, CacheFetch},
    {"policy", "show", "", 0, 0,
     "Shows what both sides set in the time-stamp policy.\n\n"
     "With --all every value that there is: its kind, its default, what is in force (the\n"
     "machine's wins over the user's) and what it does.",
     {{"all", nullptr, "also what nobody set, with an explanation"}, kJson}, PolicyShow},
    {"policy", "set", "NAME DATA", 2, 2,
     "Sets one value of the time-stamp policy.\n",
     {kMachine}, PolicySet, SingleSettingsHelp},
    {"policy", "unset", "NAME", 1, 1,
     "Takes a value, or a whole list, out of the time-stamp policy.\n\n"
     "What the other side says about it counts from then on, or its default.",
     {kMachine}, PolicyUnset},
    {"policy", "add", "LIST ENTRY...", 2, kMany,
     "Adds entries to a list of the time-stamp policy.\n\n"
     "A list counts once its flag is set. One that is in force without entries forbids all.\n",
     {kMachine}, PolicyAdd, ListSettingsHelp},
    {"policy", "remove", "LIST ENTRY...", 2, kMany,
     "Removes entries from a list of the time-stamp policy.\n\n"
     "ENTRY is what the list holds, in the same letters.",
     {kMachine}, PolicyRemove},
    {"policy", "import", "FILE.reg", 1, 1,
     "Merges a registry export of the time-stamp policy into the settings of both sides.\n\n"
     "A file that holds anything else, or a value that makes no sense, changes nothing.",
     {}, PolicyImport},
    {"policy", "export", "FILE.reg", 1, 1,
     "Writes the policy of both sides as a registry export.\n\n"
     "FILE.reg is \"-\" for standard output.",
     {kForce}, PolicyExport},
    {"message", "show", "FILE", 1, 1,
     "Shows what is in a message: its kind, recipients, signers, stamps, certificates.\n\n"
     "FILE is a message in any form and of any size. No key is needed; nothing is judged.",
     {{"json", nullptr, "print it as JSON (docs/verdicts.md)"}}, MessageShow},
    {"message", "verify", "FILE...", 1, kMany,
     "Says who signed a message, when, and whether each part of that is proven.\n\n"
     "FILE is a signed message, a file with its signature in FILE.sgn, beside it or else in the\n"
     "current folder, or that signature. Without --signer and --all, one signer has to be good and none may be bad.\n"
     "Exit status 0: good, 1: bad, 3: indeterminate, the worst of several files.",
     {{"content", "FILE", "the content that a signature without one is for"},
      {"dir", "FOLDER", "where the signatures FILE.sgn are"},
      {"signer", "NAME|THUMBPRINT|FILE.cer", "somebody who has to have signed", false, true},
      {"all", nullptr, "every signer has to be good"},
      {"at", "TIME", "judge as of that time (UTC), where no stamp proves another"},
      {"output", "FILE", "write the content there, if the verdict is good"},
      {"json", nullptr, "print it as JSON (docs/verdicts.md)"},
      {"jsonl", nullptr, "the same in one line for each file"},
      {"report", "FILE.html", "also write it as a page for people"},
      {"offline", nullptr, "ask nobody; lists that were fetched before still count"}},
     MessageVerify},
    {"doctor", "", "", 0, 0,
     "Looks for what is wrong on both sides, and says what to do about it.\n\n"
     "Files and their modes, damaged entries, settings that nobody reads as they stand, keys\n"
     "without certificates and certificates without keys, what expires within 30 days, what\n"
     "killed runs left, missing packages. It changes nothing. Exit status 0: nothing found, 1: something.",
     {kJson}, Doctor},
    {"providers", "", "", 0, 0,
     "Lists provider types, providers and their algorithms in order.\n",
     {kJson}, Providers},
};
// clang-format on

}  // namespace

std::span<const Command> Commands() { return kCommands; }

}  // namespace kestrelctl
