// Markup and style of the report.
#include "kestrelctl/message/report_page.h"

#include "kestrelctl/message/report_texts.h"
#include "kestrelctl/output.h"

namespace kestrelctl::message {
namespace {

// Nothing is fetched and nothing runs, whatever a browser would make of the page.
constexpr const char* kPolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'\">\n";

constexpr const char* kStyle = R"(<style>
:root{color-scheme:light}
body{font:16px/1.45 system-ui,sans-serif;color:#1b1b1b;background:#fff;margin:0 auto;max-width:52rem;padding:1rem;overflow-wrap:anywhere}
h1{font-size:1.5rem;margin:.2rem 0 1rem}h2{font-size:1.2rem;margin:1.6rem 0 .5rem}h3{font-size:1rem;margin:1.2rem 0 .4rem}
section{border:1px solid #bbb;border-radius:.5rem;padding:.2rem 1rem 1rem;margin:1rem 0}
table{border-collapse:collapse;width:100%}
th,td{text-align:left;vertical-align:top;padding:.25rem .5rem .25rem 0;border-bottom:1px solid #e2e2e2}
th{font-weight:600;width:32%}
.badge{display:inline-block;border:2px solid;border-radius:.4rem;padding:.05rem .6rem;font-weight:700}
.good{color:#0b6b2e}.indeterminate{color:#7a5200}.bad{color:#a3121d}
.verdict{font-size:1.25rem;margin:.5rem 0}
ul.checks{display:flex;flex-wrap:wrap;gap:.4rem 1.2rem;list-style:none;padding:0;margin:.6rem 0}
ol.links{padding-left:1.4rem;font-size:.9rem}
svg{max-width:100%;height:auto;display:block;margin:.5rem 0}
svg text{font:14px system-ui,sans-serif;fill:#1b1b1b}svg .small{font-size:12px;fill:#444}
footer{color:#555;font-size:.85rem;margin-top:2rem}
@media (max-width:34rem){th,td{display:block;width:auto;border:0;padding:0}td{border-bottom:1px solid #e2e2e2;padding-bottom:.4rem;margin-bottom:.4rem}}
@media print{body{max-width:none;padding:0;font-size:11pt}section section,svg,tr,li{break-inside:avoid}h2,h3{break-after:avoid}}
</style>
)";

}  // namespace

const char* SignOf(Verdict verdict) {
    constexpr const char* kSigns[] = {"✓", "?", "✗"};
    return kSigns[static_cast<std::size_t>(verdict)];
}

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

std::string PageStart(const std::string& title, bool russian) {
    return std::string("<!DOCTYPE html>\n<html lang=\"") + (russian ? "ru" : "en") +
           "\">\n<head>\n<meta charset=\"utf-8\">\n" + kPolicy +
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           Html(title) + "</title>\n" + kStyle + "</head>\n<body>\n";
}

}  // namespace kestrelctl::message
