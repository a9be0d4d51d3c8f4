// asn1gen -o FOLDER FILE.asn1...: from schemas to the sources that read and write their types.
// Exit status 1 after a fault in a schema or a file, 2 after one in the command line.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "asn1/asn1data/generator/generate.h"

namespace {

namespace fs = std::filesystem;

std::optional<std::string> ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return in.bad() ? std::nullopt : std::optional(std::move(text));
}

// Leaves a file of the same text alone, so that nothing that includes it is built again.
bool WriteFile(const fs::path& path, const std::string& text) {
    if (ReadFile(path) == text) return true;
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    const fs::path temporary = path.string() + ".new";
    std::ofstream out(temporary, std::ios::binary);
    out << text;
    out.close();
    if (!out.fail()) fs::rename(temporary, path, error);
    if (!out.fail() && !error) return true;
    fs::remove(temporary, error);
    return false;
}

int Fail(const std::string& text) {
    std::fprintf(stderr, "asn1gen: %s\n", text.c_str());
    return 1;
}

int Run(const fs::path& folder, const std::vector<std::string>& inputs) {
    std::vector<asn1gen::File> schemas;
    for (const std::string& input : inputs) {
        std::optional<std::string> text = ReadFile(input);
        if (!text) return Fail("cannot read " + input);
        schemas.push_back({input, std::move(*text)});
    }
    const asn1gen::Result result = asn1gen::Generate(schemas);
    std::fputs(result.errors.c_str(), stderr);
    if (!result.errors.empty()) return 1;
    for (const asn1gen::File& file : result.files) {
        if (!WriteFile(folder / file.name, file.text)) return Fail("cannot write " + file.name);
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    if (words.size() < 3 || words[0] != "-o") {
        std::fputs("Usage: asn1gen -o FOLDER FILE.asn1...\n", stderr);
        return 2;
    }
    return Run(words[1], {words.begin() + 2, words.end()});
}
