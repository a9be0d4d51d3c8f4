// The page: the verdict above, what it rests on below.
#include "kestrelctl/message/report.h"

#include "kestrelctl/message/chain_picture.h"
#include "kestrelctl/message/report_page.h"
#include "kestrelctl/message/report_texts.h"
#include "kestrelctl/message/strength.h"
#include "kestrelctl/message/verdict_document.h"
#include "kestrelctl/message/words.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/replace_file.h"

namespace kestrelctl::message {
namespace {

class Page {
  public:
    Page(const MessageVerdict& message, const JudgeSettings& settings, bool russian)
        : message_(message), settings_(settings), russian_(russian) {}

    std::string Make();

  private:
    [[nodiscard]] const char* Word(Text text) const { return Of(text, russian_); }
    void AddSummary();
    void AddSigner(std::size_t index);
    void AddChecks(const SignerVerdict& signer);
    void AddSignerRows(const SignerVerdict& signer);
    void AddStamp(const StampVerdict& stamp, const std::string& heading);
    void AddCertificateRows(const platform::Certificate& certificate, Rows& rows) const;
    void AddFindings(const Findings& findings);
    void AddChain(const std::optional<ChainFacts>& chain);
    [[nodiscard]] std::string Demanded(const DemandedSigner& demanded) const;
    [[nodiscard]] const char* SourceWords(TimeSource source) const;

    const MessageVerdict& message_;
    const JudgeSettings& settings_;
    bool russian_;
    std::string out_;
};

std::string NameOrOid(const std::string& oid) {
    const std::string name = AlgorithmName(oid);
    return name.empty() ? oid : name;
}

const char* Page::SourceWords(TimeSource source) const {
    constexpr Text kSources[] = {Text::FromNow, Text::FromOption, Text::FromStamp};
    return Word(kSources[static_cast<std::size_t>(source)]);
}

std::string Page::Demanded(const DemandedSigner& demanded) const {
    const std::string name = Html(demanded.name);
    if (!demanded.signer) return name + ": " + Html(Word(Text::Nobody));
    return name + ": " + Badge(message_.signers[*demanded.signer].findings.Worst(), russian_);
}

void Page::AddSummary() {
    out_ += "<h1>" + Html(Word(Text::Title)) + "</h1>\n<p class=\"verdict\">" +
            Badge(VerdictOf(message_), russian_) + "</p>\n";
    if (const Finding* first = message_.findings.First()) {
        out_ += "<p>" + Html(Sentence(*first, russian_)) + "</p>\n";
    }
    Rows rows;
    rows.Add(Word(Text::File), message_.file);
    const bool apart = !message_.content.empty();
    rows.Add(Word(Text::ContentFile), apart ? message_.content : Word(Text::Inside));
    if (message_.read) {
        rows.Add(Word(Text::Kind), std::string(KindWords(message_.record.kind, russian_)) + " (" +
                                       NameOf(message_.record.kind) + "), " +
                                       NameOf(message_.record.form));
        rows.Add(Word(Text::Size), std::to_string(message_.record.contentSize));
    }
    const std::string offline = settings_.offline ? std::string(", ") + Word(Text::Offline) : "";
    rows.Add(Word(Text::JudgedAt), IsoTime(settings_.now) + offline);
    for (const DemandedSigner& demanded : message_.demanded) {
        rows.AddMarkup(Word(Text::Demanded), Demanded(demanded));
    }
    out_ += rows.Table();
}

void Page::AddChecks(const SignerVerdict& signer) {
    out_ += "<ul class=\"checks\">\n";
    for (const Check check : {Check::Signature, Check::Certificate, Check::Fitness, Check::Chain,
                              Check::Stamps, Check::Countersignatures, Check::Strength}) {
        const std::string state = StateOf(signer, check);
        out_ += "<li>" + Html(Of(check, russian_)) + ": ";
        out_ += state == "none" ? Html(Word(Text::None)) : Badge(WorstOf(signer, check), russian_);
        out_ += "</li>\n";
    }
    out_ += "</ul>\n";
}

void Page::AddCertificateRows(const platform::Certificate& certificate, Rows& rows) const {
    const CERT_INFO& info = certificate.Info();
    rows.Add(Word(Text::Subject), NameText(info.Subject));
    rows.Add(Word(Text::Issuer), NameText(info.Issuer));
    rows.Add(Word(Text::Serial), SerialText(info.SerialNumber));
    rows.Add(Word(Text::Valid), IsoTime(platform::TicksOf(info.NotBefore)) + " – " +
                                    IsoTime(platform::TicksOf(info.NotAfter)));
    rows.Add(Word(Text::Thumbprint), Sha256Text(certificate.Der()));
}

void Page::AddSignerRows(const SignerVerdict& signer) {
    Rows rows;
    if (signer.identity.certificate) {
        AddCertificateRows(*signer.identity.certificate, rows);
        const bool byKey = signer.info.signer.ByKeyIdentifier();
        std::string words = Word(byKey ? Text::ByKey : Text::ByNames);
        if (signer.identity.candidates > 1) words += Word(Text::OfSeveral);
        if (signer.identity.comparedWhole) words += Word(Text::Whole);
        rows.Add(Word(Text::Identified), words);
    } else {
        rows.Add(Word(Text::Certificate), Word(Text::Nobody));
    }
    rows.Add(Word(Text::Algorithms), NameOrOid(signer.info.signatureAlgorithm.oid) + ", " +
                                         NameOrOid(signer.info.digest.oid));
    if (signer.claimedTime) rows.Add(Word(Text::SigningTime), IsoTime(*signer.claimedTime));
    rows.Add(Word(Text::TimeThatCounts),
             IsoTime(signer.time) + " (" + SourceWords(signer.timeSource) + ")");
    for (const Countersignature& one : signer.countersignatures) {
        const auto& who = one.identity.certificate;
        rows.AddMarkup(Word(Text::Countersigned),
                       Badge(one.findings.Worst(), russian_) + " " +
                           Html(who ? NameText(who->Info().Subject) : Word(Text::Nobody)));
    }
    out_ += rows.Table();
}

void Page::AddFindings(const Findings& findings) {
    if (findings.All().empty()) return;
    out_ += "<h3>" + Html(Word(Text::Findings)) + "</h3>\n<ul>\n";
    for (const Finding& finding : findings.All()) {
        const ReasonRow& row = RowOf(finding.reason);
        out_ += "<li>" + Badge(row.verdict, russian_) + " " + Html(Sentence(finding, russian_)) +
                " <code>" + Html(row.word) + "</code></li>\n";
    }
    out_ += "</ul>\n";
}

void Page::AddChain(const std::optional<ChainFacts>& chain) {
    if (!chain) return;
    out_ += "<h3>" + Html(Word(Text::ChainAt)) + " " + Html(IsoTime(chain->time)) + "</h3>\n" +
            ChainPicture(*chain, russian_) + ChainList(*chain, russian_);
}

void Page::AddStamp(const StampVerdict& stamp, const std::string& heading) {
    constexpr Text kPlaces[] = {Text::OfContent, Text::OfSignature, Text::OfToken};
    out_ += "<section>\n<h3>" + Html(heading) + " " +
            Html(Word(kPlaces[static_cast<std::size_t>(stamp.of)])) + " " +
            Badge(stamp.findings.Worst(), russian_) + "</h3>\n";
    Rows rows;
    if (stamp.facts) {
        rows.Add(Word(Text::StampTime), IsoTime(stamp.facts->time));
        rows.Add(Word(Text::Serial), platform::Hex(stamp.facts->serial));
        rows.Add(Word(Text::Policy), stamp.facts->policy);
        rows.Add(Word(Text::Algorithms), NameOrOid(stamp.facts->imprintAlgorithm.oid));
    }
    if (stamp.service) AddCertificateRows(*stamp.service, rows);
    out_ += rows.Table();
    AddFindings(stamp.findings);
    AddChain(stamp.chain);
    out_ += "</section>\n";
}

void Page::AddSigner(std::size_t index) {
    const SignerVerdict& signer = message_.signers[index];
    out_ += "<section>\n<h2>" + Html(Word(Text::Signer)) + " " + std::to_string(index + 1) + " " +
            Badge(signer.findings.Worst(), russian_) + "</h2>\n";
    AddChecks(signer);
    AddSignerRows(signer);
    AddFindings(signer.findings);
    AddChain(signer.chain);
    for (std::size_t i = 0; i < signer.stamps.size(); ++i) {
        AddStamp(signer.stamps[i], std::string(Word(Text::Stamp)) + " " + std::to_string(i + 1));
    }
    out_ += "</section>\n";
}

std::string Page::Make() {
    out_ = PageStart(std::string(Word(Text::Title)) + ": " + message_.file, russian_);
    AddSummary();
    if (message_.signers.empty()) AddFindings(message_.findings);
    for (std::size_t i = 0; i < message_.signers.size(); ++i) AddSigner(i);
    if (message_.token) AddStamp(*message_.token, Word(Text::Stamp));
    out_ += std::string("<footer>") + Html(Word(Text::Foot)) + "</footer>\n</body>\n</html>\n";
    return out_;
}

}  // namespace

void WriteReport(const std::string& file, const MessageVerdict& message,
                 const JudgeSettings& settings, bool russian) {
    const std::string page = Page(message, settings, russian).Make();
    platform::ReplaceFile(file, platform::ViewOf(page), 0644);
}

}  // namespace kestrelctl::message
