// Encodings written by hand, with the lengths left to the machine: "30{02{05} 0400}" is
// 30 05 02 01 05 04 00. Blanks do not count. A "~" behind the tag makes the length
// indefinite and adds the end-of-contents octets.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace der_notation {

inline std::string Header(char tag, std::size_t length) {
    std::string bytes(1, tag);
    if (length < 0x80) return bytes + static_cast<char>(length);
    std::string octets;
    for (; length != 0; length >>= 8) octets.insert(0, 1, static_cast<char>(length));
    return bytes + static_cast<char>(0x80 | octets.size()) + octets;
}

// Takes what stands before the next "}" off the text.
inline std::string Take(std::string_view& text) {
    std::string bytes;
    while (!text.empty()) {
        const char next = text[0];
        if (next == '}') break;
        if (next == ' ') {
            text.remove_prefix(1);
        } else if (next == '{' || next == '~') {
            text.remove_prefix(next == '~' ? 2 : 1);
            const char tag = bytes.back();
            bytes.pop_back();
            const std::string contents = Take(text);
            bytes += next == '~' ? std::string{tag, '\x80'} + contents + std::string(2, '\0')
                                 : Header(tag, contents.size()) + contents;
            text.remove_prefix(1);
        } else {
            bytes += static_cast<char>(std::stoi(std::string(text.substr(0, 2)), nullptr, 16));
            text.remove_prefix(2);
        }
    }
    return bytes;
}

inline std::string Der(std::string_view text) { return Take(text); }

}  // namespace der_notation
