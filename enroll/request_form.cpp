// The page on which a new request is made: a script with arrays, and a list of templates.
#include "enroll/page_reader.h"

namespace kestrel {

namespace {

// Behind "strDN=" and the quote, up to a quote that ends the line; quotes inside are doubled.
bool ReadDn(PageText& page, std::string& dn) {
    constexpr std::string_view kMarker = "strDN=";
    const std::size_t found = page.Find(kMarker, 0);
    if (found == kNotFound) return false;
    const std::size_t start = found + kMarker.size() + 1;
    const std::size_t end = page.Find("\"\r\n", start);
    if (end == kNotFound) return false;
    const std::string_view text = page.View().substr(start, end - start);
    dn.clear();
    for (std::size_t at = 0; at < text.size(); ++at) {
        dn += text[at];
        if (text.substr(at, 2) == "\"\"") ++at;
    }
    return true;
}

std::vector<std::string> ReadTemplates(PageText& page) {
    constexpr std::string_view kMarker = "<option value=";
    std::vector<std::string> names;
    for (std::size_t at = page.Find(kMarker, 0); at != kNotFound; at = page.Find(kMarker, at)) {
        at += kMarker.size();
        const std::size_t start = page.Find(">", at);
        const std::size_t end = start == kNotFound ? kNotFound : page.Find("<", start);
        if (end == kNotFound || !page.Spend(end - start)) break;
        names.emplace_back(page.View().substr(start + 1, end - start - 1));
    }
    return names;
}

std::vector<std::string> ReadKeySpecs(std::string_view page) {
    std::vector<std::string> characters;
    const auto next = [&](std::size_t from) { return FindArrayValue(page, "gArrKeySpec", from); };
    for (std::size_t at = next(0); at != kNotFound; at = next(at)) {
        characters.emplace_back(page.substr(at, 1));
    }
    return characters;
}

std::vector<std::string> ReadUsages(std::string_view page) {
    std::vector<std::string> usages;
    const auto next = [&](std::size_t from) { return FindArrayValue(page, "gArrEKU", from); };
    for (std::size_t at = next(0); at != kNotFound; at = next(at)) {
        const std::size_t start = FindAfter(page, "\"", at);
        const std::size_t end = start == kNotFound ? kNotFound : page.find('"', start);
        if (end == kNotFound) break;
        std::string usage(page.substr(start, end - start));
        std::erase(usage, ' ');
        usages.push_back(std::move(usage));
        at = end;
    }
    return usages;
}

}  // namespace

// A call "name(1)" in the script is no value.
std::size_t FindArrayValue(std::string_view text, std::string_view name, std::size_t from) {
    for (std::size_t at = from;;) {
        at = text.find(name, at);
        if (at != kNotFound) at = text.find(')', at);
        if (at == kNotFound || text.size() - at < 3) return kNotFound;
        if (text[at + 1] == '=') return at + 2;
    }
}

bool ParseRequestForm(std::string_view page, RequestForm& form) {
    PageText text(page);
    if (!ReadDn(text, form.dn)) return false;
    form.templates = ReadTemplates(text);
    form.keySpecs = ReadKeySpecs(page);
    form.usages = ReadUsages(page);
    return !text.IsSpent();
}

}  // namespace kestrel
