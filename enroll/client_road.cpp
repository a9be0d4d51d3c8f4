// What the client for an authority is told and asked, from a request to its installed answer.
#include "enroll/client_road.h"

#include <certcli.h>

#include <algorithm>
#include <iterator>

#include "enroll/request_id.h"
#include "enroll/token.h"
#include "enroll/unix_request_impl.h"
#include "front/core/catalogue.h"

namespace kestrel {

namespace {

constexpr wchar_t kTemplate[] = L"CertificateTemplate:User";

// What the client says of the request by now.
Reported ReadDisposition(UnixRequest& client, std::string& words) {
    ComText text;
    const HRESULT told = client.GetDispositionMessage(text.Fill());
    if (FAILED(told)) return ReportResult(told);
    return Narrow(text, words) ? Reported() : ReportError(kLastError);
}

Reported InstallFrom(UnixRequest& client, const EnrollOptions& options) {
    ComText certificate;
    const HRESULT got = client.GetCertificate(CR_OUT_CHAIN, certificate.Fill());
    if (FAILED(got)) return ReportResult(got);
    PrintMessage(say::kInstalling, 1);
    std::string text;
    if (!Narrow(certificate, text)) return ReportError(kLastError);
    return InstallIssuedCertificate(options, text.c_str());
}

Reported KeepByClient(UnixRequest& client, const char* idFile) {
    PrintMessage(say::kRequestPending, 1);
    LONG id = 0;
    const HRESULT got = client.GetRequestId(&id);
    if (FAILED(got)) return ReportResult(got);
    return TellRequestId(idFile, static_cast<int>(id));
}

HRESULT InstallChain(UnixRequest& client, BSTR url, FLEnroll& control) {
    HRESULT result = client.SetAuth(nullptr, static_cast<LONG>(AuthType::Anonymous),
                                    kAuthFlag | kAuthTrustServer, nullptr, nullptr);
    if (result != S_OK) return result;
    ComText chain;
    // A fetch that failed may answer with a code of the network, which is no negative one.
    result = client.GetCACertificate(FALSE, url, 0, chain.Fill());
    if (result != S_OK) return result;
    const HRESULT installed = control.InstallPKCS7(chain.Get());
    return FAILED(installed) ? installed : S_OK;
}

}  // namespace

Reported MakeCaClient(std::string_view kind, std::unique_ptr<UnixRequest>& client) {
    client = ChooseCaClient(kind);
    return client ? Reported() : ReportError(kComFailed);
}

Reported CheckCaAddress(const std::string& address) {
    constexpr std::string_view kBeginnings[] = {"\\\\", "https://", "http://"};
    const bool known = std::any_of(std::begin(kBeginnings), std::end(kBeginnings),
                                   [&](auto begin) { return address.starts_with(begin); });
    return known ? Reported() : ReportError(kBadCaAddress, address.c_str());
}

Reported Introduce(UnixRequest& client, const Applicant& applicant) {
    if (applicant.thumbprint != nullptr) {
        const HRESULT result = client.SetAuth(nullptr, static_cast<LONG>(AuthType::Certificate),
                                              kAuthFlag, applicant.thumbprint, nullptr);
        return FAILED(result) ? ReportResult(result) : Reported();
    }
    if (applicant.tokenId == nullptr) return 0;
    return SetTokenAuth(client, applicant.tokenId, applicant.tokenPassword);
}

// enroll-46
Reported TrustAuthority(UnixRequest& client, const std::string& address) {
    ComText url;
    if (!Widen(address.c_str(), url)) return ReportError(kLastError);
    std::unique_ptr<FLEnroll> control;
    if (const Reported failure = MakeControl(control)) return failure;
    const HRESULT result = InstallChain(client, url.Get(), *control);
    return result != S_OK ? LeaveToClosingLine(Unreported(static_cast<DWORD>(result))) : Reported();
}

Reported CreateThrough(UnixRequest& client, const EnrollOptions& options,
                       const std::string& address, const ComText& request, const char* idFile) {
    ComText url;
    if (!Widen(address.c_str(), url)) return ReportError(kLastError);
    const ComText attributes(kTemplate);
    LONG disposition = 0;
    const HRESULT result =
        client.Submit(CR_IN_ENCODEANY, request.Get(), attributes.Get(), url.Get(), &disposition);
    if (result != S_OK) return ReportResult(result);
    std::string words;
    if (const Reported failure = ReadDisposition(client, words)) return failure;
    switch (disposition) {
        case CR_DISP_DENIED:
            PrintMessage(say::kRequestDenied, 1);
            return ReportError(kRequestRejected);
        case CR_DISP_ISSUED:
            return InstallFrom(client, options);
        case CR_DISP_UNDER_SUBMISSION:
            return KeepByClient(client, idFile);
        default:
            PrintText(words, 1);
            return ReportError(kRequestRejected);
    }
}

// A refusal is told and is no failure (enroll-47).
Reported FetchThrough(UnixRequest& client, const EnrollOptions& options, const std::string& address,
                      int id) {
    ComText url;
    if (!Widen(address.c_str(), url)) return ReportError(kLastError);
    LONG disposition = 0;
    const HRESULT result = client.RetrievePending(id, url.Get(), &disposition);
    if (FAILED(result)) return ReportResult(result);  // negative ones alone (enroll-50)
    std::string words;
    if (const Reported failure = ReadDisposition(client, words)) return failure;
    if (disposition == CR_DISP_ISSUED) return InstallFrom(client, options);
    if (disposition == CR_DISP_UNDER_SUBMISSION) {
        PrintMessage(say::kRequestPending, 1);
    } else {
        PrintText(words, 1);
    }
    return 0;
}

}  // namespace kestrel
