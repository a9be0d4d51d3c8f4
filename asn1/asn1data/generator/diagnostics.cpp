// Faults of a schema as lines with file, line and column.
#include "asn1/asn1data/generator/diagnostics.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace asn1gen {
namespace {

constexpr std::size_t kMostFaults = 100;

}  // namespace

void Diagnostics::Report(const Position& at, std::string text) {
    if (faults_.size() < kMostFaults) faults_.push_back({at, std::move(text)});
}

std::string Diagnostics::Format(const std::vector<std::string>& fileNames) const {
    std::vector<SyntaxError> sorted = faults_;
    const auto key = [](const SyntaxError& fault) {
        return std::tuple(fault.at.file, fault.at.line, fault.at.column);
    };
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](const auto& a, const auto& b) { return key(a) < key(b); });
    std::string text;
    for (const SyntaxError& fault : sorted) {
        text += fileNames[static_cast<std::size_t>(fault.at.file)] + ":" +
                std::to_string(fault.at.line) + ":" + std::to_string(fault.at.column) + ": " +
                fault.text + "\n";
    }
    return text;
}

}  // namespace asn1gen
