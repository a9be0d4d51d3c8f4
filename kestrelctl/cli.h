// The command line of kestrelctl: a table of commands, options by their long names.
#pragma once

#include <initializer_list>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kestrelctl/output.h"
#include "platform/base/error.h"
#include "platform/base/home.h"

namespace kestrelctl {

// A bad command line: the message and a pointer to --help, exit status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Anything that went wrong while working: exit status 1.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The exit status of a command that has said everything by itself.
class ExitStatus : public std::exception {
  public:
    explicit ExitStatus(int value) : value_(value) {}
    [[nodiscard]] int Value() const { return value_; }

  private:
    int value_;
};

// The words of one command line behind the command's own.
struct Arguments {
    std::vector<std::string> positionals;
    std::map<std::string, std::string, std::less<>> options;
    std::map<std::string, std::vector<std::string>, std::less<>> lists;  // of repeated options

    [[nodiscard]] bool Has(std::string_view option) const { return options.contains(option); }
    [[nodiscard]] std::string Get(std::string_view option, const std::string& fallback = {}) const;
    // Null when the option is not there. The value is wiped when the command has run.
    [[nodiscard]] const std::string* Find(std::string_view option) const;
    // The values of an option that repeats, in order.
    [[nodiscard]] std::vector<std::string> List(std::string_view option) const;
    // A decimal number of at least `least`. Throws UsageError.
    [[nodiscard]] unsigned long Number(std::string_view option, unsigned long fallback,
                                       unsigned long least) const;
    [[nodiscard]] platform::Side Side() const {
        return Has("machine") ? platform::Side::Machine : platform::Side::User;
    }
    [[nodiscard]] bool Json() const { return Has("json"); }
};

struct Option {
    const char* name;   // without the two minus signs
    const char* value;  // name of its value in the help; null for a flag
    const char* help;
    bool secret = false;   // its value is overwritten in the process's arguments
    bool repeats = false;  // may stand several times: its values are a list
};

struct Command {
    const char* group;  // first word
    const char* verb;   // second word; empty when the command has one word
    const char* positionals;
    std::size_t least;
    std::size_t most;
    const char* help;
    std::initializer_list<Option> options;
    void (*run)(const Arguments&);
    std::string (*moreHelp)() = nullptr;  // what a table tells, behind `help`
};

// The system's sentence for a failure, with its detail and code.
std::string Describe(const platform::Error& error);

// "kestrelctl store list [NAME] [--json] ..."
std::string Synopsis(const Command& command);
// What a group of commands is about; for the empty name, the tool.
const char* PurposeOf(std::string_view group);

// Parses the line, prints help or runs the command. Returns the exit status.
int Run(std::span<const Command> commands, int count, char** words);

}  // namespace kestrelctl
