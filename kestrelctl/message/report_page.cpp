// Markup and style of the report, and the picture of a chain.
#include "kestrelctl/message/report_page.h"

#include <vector>

#include "kestrelctl/message/report_texts.h"
#include "kestrelctl/output.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/text.h"

namespace kestrelctl::message {
namespace {

// Nothing is fetched and nothing runs, whatever a browser would make of the page.
constexpr const char* kPolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'\">\n";

constexpr const char* kStyle = R"(<style>
:root{color-scheme:light}
body{font:16px/1.45 system-ui,sans-serif;color:#1b1b1b;background:#fff;margin:0 auto;max-width:52rem;padding:1rem}
h1{font-size:1.5rem;margin:.2rem 0 1rem}h2{font-size:1.2rem;margin:1.6rem 0 .5rem}h3{font-size:1rem;margin:1.2rem 0 .4rem}
section{border:1px solid #bbb;border-radius:.5rem;padding:.2rem 1rem 1rem;margin:1rem 0}
table{border-collapse:collapse;width:100%}
th,td{text-align:left;vertical-align:top;padding:.25rem .5rem .25rem 0;border-bottom:1px solid #e2e2e2;overflow-wrap:anywhere}
th{font-weight:600;width:32%}
.badge{display:inline-block;border:2px solid;border-radius:.4rem;padding:.05rem .6rem;font-weight:700}
.good{color:#0b6b2e}.indeterminate{color:#7a5200}.bad{color:#a3121d}
.verdict{font-size:1.25rem;margin:.5rem 0}
ul.checks{display:flex;flex-wrap:wrap;gap:.4rem 1.2rem;list-style:none;padding:0;margin:.6rem 0}
svg{max-width:100%;height:auto;display:block;margin:.5rem 0}
svg text{font:14px system-ui,sans-serif;fill:#1b1b1b}svg .small{font-size:12px;fill:#444}
footer{color:#555;font-size:.85rem;margin-top:2rem}
@media (max-width:34rem){th,td{display:block;width:auto;border:0;padding:0}td{border-bottom:1px solid #e2e2e2;padding-bottom:.4rem;margin-bottom:.4rem}}
@media print{body{max-width:none;padding:0;font-size:11pt}section{break-inside:avoid-page}}
</style>
)";

// ---- the picture -----------------------------------------------------------------

constexpr std::size_t kBoxWidth = 420;
constexpr std::size_t kBoxHeight = 58;
constexpr std::size_t kGap = 34;
constexpr std::size_t kMostCharacters = 44;

std::string Number(std::size_t number) { return std::to_string(number); }

// A long name is cut: the table beside the picture has it whole.
std::string Shortened(const std::string& text) {
    std::string_view rest = text;
    std::string out;
    for (std::size_t count = 0; !rest.empty(); ++count) {
        if (count == kMostCharacters) return out + "…";
        platform::AppendUtf8(out, platform::TakeCharacter(rest));
    }
    return out;
}

Verdict StateOf(const platform::Link& link) {
    constexpr DWORD kBad = CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_IS_REVOKED;
    if ((link.error & kBad) != 0) return Verdict::Bad;
    return link.error == 0 ? Verdict::Good : Verdict::Indeterminate;
}

Text RevocationText(const platform::Link& link) {
    switch (link.revocation) {
        case platform::Revocation::Good:
            return Text::NotRevoked;
        case platform::Revocation::Revoked:
            return Text::Revoked;
        case platform::Revocation::Unknown:
            break;
    }
    const bool asked = (link.error & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0;
    return asked ? Text::NotTold : Text::NotAsked;
}

const char* SignOf(Verdict verdict) {
    constexpr const char* kSigns[] = {"✓", "?", "✗"};
    return kSigns[static_cast<std::size_t>(verdict)];
}

const char* ColourOf(Verdict verdict) {
    constexpr const char* kColours[] = {"#0b6b2e", "#7a5200", "#a3121d"};
    return kColours[static_cast<std::size_t>(verdict)];
}

// Kinds of line beside the colours: a whole one, a dashed one, a heavy one.
const char* StrokeOf(Verdict verdict) {
    constexpr const char* kStrokes[] = {
        "stroke-width=\"2\"", "stroke-width=\"2\" stroke-dasharray=\"6 4\"", "stroke-width=\"4\""};
    return kStrokes[static_cast<std::size_t>(verdict)];
}

std::string SecondLine(const platform::Link& link, bool root, bool trusted, bool russian) {
    std::string line = Of(StateOf(link), russian);
    line += std::string(" · ") + Of(RevocationText(link), russian);
    if (!root) return line;
    if (!link.selfSigned) return line + " · " + Of(Text::IssuerMissing, russian);
    line += std::string(" · ") + Of(Text::Root, russian) + ": " +
            Of(trusted ? Text::Trusted : Text::NotTrusted, russian);
    return line;
}

std::string Box(const platform::Link& link, std::size_t top, const std::string& second) {
    const Verdict state = StateOf(link);
    const std::string subject = Shortened(NameText(link.certificate->Info().Subject));
    return "<rect x=\"2\" y=\"" + Number(top) + "\" width=\"" + Number(kBoxWidth) + "\" height=\"" +
           Number(kBoxHeight) + "\" rx=\"8\" fill=\"#fafafa\" stroke=\"" + ColourOf(state) + "\" " +
           StrokeOf(state) + "/>\n<text x=\"22\" y=\"" + Number(top + 36) +
           "\" style=\"font-size:22px;fill:" + ColourOf(state) + "\" text-anchor=\"middle\">" +
           SignOf(state) + "</text>\n<text x=\"44\" y=\"" + Number(top + 24) + "\">" +
           Html(subject) + "</text>\n<text class=\"small\" x=\"44\" y=\"" + Number(top + 44) +
           "\">" + Html(second) + "</text>\n";
}

// From the issuer above to the certificate below.
std::string Arrow(std::size_t top) {
    const std::size_t middle = kBoxWidth / 2;
    const std::size_t end = top + kGap - 4;
    return "<path d=\"M" + Number(middle) + " " + Number(top + 3) + "V" + Number(end) +
           "m-6 -8l6 8l6 -8\" "
           "fill=\"none\" stroke=\"#444\" stroke-width=\"2\"/>\n";
}

}  // namespace

std::string Html(std::string_view text) {
    std::string out;
    for (const char c : Visible(text)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string Badge(Verdict verdict, bool russian) {
    return std::string("<span class=\"badge ") + NameOf(verdict) + "\">" + SignOf(verdict) + " " +
           Of(verdict, russian) + "</span>";
}

void Rows::Add(const char* name, std::string_view text) { AddMarkup(name, Html(text)); }

void Rows::AddMarkup(const char* name, const std::string& html) {
    rows_ += "<tr><th scope=\"row\">" + Html(name) + "</th><td>" + html + "</td></tr>\n";
}

std::string ChainPicture(const ChainFacts& chain, bool russian) {
    const auto& links = chain.path.links;
    const std::size_t height = links.size() * (kBoxHeight + kGap) - kGap + 4;
    std::string names;
    std::string parts;
    for (std::size_t i = 0; i < links.size(); ++i) {
        const platform::Link& link = links[links.size() - 1 - i];
        const std::size_t top = 2 + i * (kBoxHeight + kGap);
        const bool root = i == 0;
        parts += Box(link, top, SecondLine(link, root, chain.path.trusted, russian));
        if (i + 1 < links.size()) parts += Arrow(top + kBoxHeight);
        names += (names.empty() ? "" : " → ") + NameText(link.certificate->Info().Subject);
    }
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\" width=\"" +
           Number(kBoxWidth + 4) + "\" viewBox=\"0 0 " + Number(kBoxWidth + 4) + " " +
           Number(height) + "\">\n<title>" + Html(names) + "</title>\n" + parts + "</svg>\n";
}

std::string PageStart(const std::string& title, bool russian) {
    return std::string("<!DOCTYPE html>\n<html lang=\"") + (russian ? "ru" : "en") +
           "\">\n<head>\n<meta charset=\"utf-8\">\n" + kPolicy +
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           Html(title) + "</title>\n" + kStyle + "</head>\n<body>\n";
}

}  // namespace kestrelctl::message
