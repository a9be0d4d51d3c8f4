// A chain drawn box by box, and its links in words.
#include "kestrelctl/message/chain_picture.h"

#include <vector>

#include "kestrelctl/message/report_page.h"
#include "kestrelctl/message/report_texts.h"
#include "kestrelctl/message/text_lines.h"
#include "kestrelctl/message/words.h"
#include "kestrelctl/output.h"
#include "kestrelctl/text_forms.h"

namespace kestrelctl::message {
namespace {

// As wide as a phone has room for, so that the letters keep their size there.
constexpr std::size_t kBoxWidth = 300;
constexpr std::size_t kGap = 34;
constexpr std::size_t kEdge = 10;  // above and below the text
constexpr std::size_t kTextAt = 44;
constexpr double kTextWidth = kBoxWidth - kTextAt - 8;
constexpr std::size_t kMostNameLines = 14;
constexpr std::size_t kMostStateLines = 4;

// Sizes as in the style of the page.
struct Face {
    const char* mark;
    double size;
    std::size_t line;
};
constexpr Face kNameFace = {"", 14, 18};
constexpr Face kStateFace = {" class=\"small\"", 12, 16};

std::string Number(std::size_t number) { return std::to_string(number); }

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

// What stands below the name.
std::string StateWords(const platform::Link& link, bool root, bool trusted, bool russian) {
    std::string words = Of(StateOf(link), russian);
    words += std::string(" · ") + Of(RevocationText(link), russian);
    if (!root) return words;
    if (!link.selfSigned) return words + " · " + Of(Text::IssuerMissing, russian);
    words += std::string(" · ") + Of(Text::Root, russian) + ": " +
             Of(trusted ? Text::Trusted : Text::NotTrusted, russian);
    return words;
}

// Moves `top` below the lines.
std::string TextLines(const std::vector<std::string>& lines, const Face& face, std::size_t& top) {
    std::string out;
    for (const std::string& line : lines) {
        top += face.line;
        out += std::string("<text") + face.mark + " x=\"" + Number(kTextAt) + "\" y=\"" +
               Number(top - 4) + "\">" + Html(line) + "</text>\n";
    }
    return out;
}

// Moves `top` below the box.
std::string Box(const platform::Link& link, const std::string& words, std::size_t& top) {
    const Verdict state = StateOf(link);
    const std::size_t start = top;
    const std::string subject = Visible(NameText(link.certificate->Info().Subject));
    top += kEdge;
    std::string text =
        TextLines(LinesOf(subject, kTextWidth / kNameFace.size, kMostNameLines), kNameFace, top);
    text +=
        TextLines(LinesOf(words, kTextWidth / kStateFace.size, kMostStateLines), kStateFace, top);
    top += kEdge;
    return "<rect x=\"2\" y=\"" + Number(start) + "\" width=\"" + Number(kBoxWidth) +
           "\" height=\"" + Number(top - start) + "\" rx=\"8\" fill=\"#fafafa\" stroke=\"" +
           ColourOf(state) + "\" " + StrokeOf(state) + "/>\n<text x=\"22\" y=\"" +
           Number((start + top) / 2 + 8) + "\" style=\"font-size:22px;fill:" + ColourOf(state) +
           "\" text-anchor=\"middle\">" + SignOf(state) + "</text>\n" + text;
}

// From the issuer above to the certificate below.
std::string Arrow(std::size_t top) {
    const std::size_t middle = kBoxWidth / 2;
    const std::size_t end = top + kGap - 4;
    return "<path d=\"M" + Number(middle) + " " + Number(top + 3) + "V" + Number(end) +
           "m-6 -8l6 8l6 -8\" "
           "fill=\"none\" stroke=\"#444\" stroke-width=\"2\"/>\n";
}

std::string RevocationWords(const platform::Link& link, bool russian) {
    std::string words = Of(RevocationText(link), russian);
    if (link.revocation == platform::Revocation::Unknown) return words;
    const platform::Evidence& evidence = link.evidence;
    const bool stores = evidence.source == "stores";
    const bool message = evidence.source == "message";
    words += std::string(", ") + Of(Text::ToldBy, russian) + ": ";
    words += stores    ? Of(Text::InStores, russian)
             : message ? Of(Text::Inside, russian)
                       : evidence.source;
    const platform::Ticks next = platform::TicksOf(evidence.nextUpdate);
    words += ", " + IsoTime(platform::TicksOf(evidence.thisUpdate));
    return next == 0 ? words : words + " – " + IsoTime(next);
}

}  // namespace

std::string ChainPicture(const ChainFacts& chain, bool russian) {
    const auto& links = chain.path.links;
    std::string names;
    std::string parts;
    std::size_t top = 2;
    for (auto link = links.rbegin(); link != links.rend(); ++link) {
        const bool root = link == links.rbegin();
        if (!root) parts += Arrow(top);
        if (!root) top += kGap;
        parts += Box(*link, StateWords(*link, root, chain.path.trusted, russian), top);
        names += (root ? "" : " → ") + NameText(link->certificate->Info().Subject);
    }
    const std::string width = Number(kBoxWidth + 4);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\" width=\"" + width +
           "\" viewBox=\"0 0 " + width + " " + Number(top + 2) + "\">\n<title>" + Html(names) +
           "</title>\n" + parts + "</svg>\n";
}

std::string ChainList(const ChainFacts& chain, bool russian) {
    std::string items;
    for (auto link = chain.path.links.rbegin(); link != chain.path.links.rend(); ++link) {
        items += "<li>" + Html(NameText(link->certificate->Info().Subject)) + "<br>SHA-1 <code>" +
                 Thumbprint(link->certificate->Der()) + "</code><br>" +
                 Html(RevocationWords(*link, russian)) + "</li>\n";
    }
    return "<ol class=\"links\">\n" + items + "</ol>\n";
}

}  // namespace kestrelctl::message
