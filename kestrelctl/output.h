// All that kestrelctl prints, and the files that it writes for people. What strangers named
// (subjects, files, containers) never reaches a terminal raw: escaping is done here alone.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"

namespace kestrelctl {

// Control characters (C0, DEL, C1), marks that turn the direction of text, and bytes that
// are no UTF-8, as \u202e or \xff.
std::string Visible(std::string_view text);

std::string JsonText(std::string_view text);

// One line that says what was done, or standard error's share of it.
void Say(const std::string& line);
void Complain(const std::string& line);

// Throws Failure when what was printed cannot have arrived.
void FinishOutput();

// A listing: rows of named values, as a table for people or as JSON.
class Listing {
  public:
    // `spare`: columns that a terminal too narrow for all of them does without, the first one
    // first.
    explicit Listing(std::vector<std::string> columns, std::vector<std::string> spare = {})
        : columns_(std::move(columns)), spare_(std::move(spare)) {}
    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    // A table fits the width of the terminal; elsewhere its lines are whole.
    void Print(bool json) const;
    [[nodiscard]] bool Empty() const { return rows_.empty(); }

  private:
    void PrintJson() const;
    void PrintTable() const;

    std::vector<std::string> columns_;
    std::vector<std::string> spare_;
    std::vector<std::vector<std::string>> rows_;
};

// A file that a command writes for the user; "-" is standard output.
class ExportFile {
  public:
    // Throws Failure for a file that exists, unless `force`: before any work is done.
    ExportFile(std::string name, bool force);
    void Write(platform::ByteView content, unsigned mode) const;
    // Where the content goes, for a sentence.
    [[nodiscard]] std::string Target() const;
    // Says a line: on standard error when the content went to a stream.
    void Report(const std::string& line) const;

  private:
    // A device or a pipe is written to, so that lines beside the content would stand in it.
    [[nodiscard]] bool IsStream() const;
    std::string name_;
    bool force_;
};

}  // namespace kestrelctl
