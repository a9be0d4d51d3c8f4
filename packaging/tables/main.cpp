// kestrel_tables TEMPLATE OUTPUT: fills a manual page, a completion script or the settings file
// from the programs' own tables. "@NAME@" is a part; on a line of its own it is that line. Runs at
// build time alone.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "packaging/tables/tables.h"
#include "version/version.h"

namespace {

std::string PartNamed(const std::string& name) {
    if (name == "VERSION") return KESTREL_VERSION;
    std::string part = tables::ManualPart(name);
    if (part.empty()) part = tables::CompletionPart(name);
    if (part.empty()) part = tables::SettingsPart(name);
    if (part.empty()) throw std::runtime_error("there is no part '" + name + "'");
    return part;
}

bool IsName(const std::string& text) {
    return !text.empty() && text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") == text.npos;
}

std::string Filled(const std::string& text) {
    std::string filled;
    std::size_t at = 0;
    for (std::size_t begin = 0; (begin = text.find('@', at)) != text.npos;) {
        const std::size_t end = text.find('@', begin + 1);
        const std::string name = end == text.npos ? "" : text.substr(begin + 1, end - begin - 1);
        if (!IsName(name)) {
            filled += text.substr(at, begin + 1 - at);
            at = begin + 1;
            continue;
        }
        std::string part = PartNamed(name);
        const bool ends = end + 1 < text.size() && text[end + 1] == '\n';
        if (ends && part.ends_with('\n')) part.pop_back();
        filled += text.substr(at, begin - at) + part;
        at = end + 1;
    }
    return filled + text.substr(at);
}

void Fill(const char* from, const char* to) {
    std::ifstream in(from, std::ios::binary);
    if (!in) throw std::runtime_error(std::string("cannot read ") + from);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ofstream out(to, std::ios::binary);
    out << Filled(text);
    out.close();
    if (!out) throw std::runtime_error(std::string("cannot write ") + to);
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) {
        std::fprintf(stderr, "usage: kestrel_tables TEMPLATE OUTPUT\n");
        return 2;
    }
    try {
        Fill(words[1], words[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kestrel_tables: %s\n", error.what());
        return 1;
    }
    return 0;
}
