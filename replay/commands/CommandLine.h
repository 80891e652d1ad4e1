// The options of a subcommand: what they are called, what they mean, and who takes their values. It stands before
// the option parser, whose header is costly to compile.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Replay {

class CommandLine {
  public:
    /// Takes a value as it was given, which is never empty; throws InputError if it is none.
    using Take = std::function<void(std::string const& value)>;

    /// `footer` follows the options in the help.
    CommandLine(std::string const& description, std::string const& name, std::string const& footer);
    ~CommandLine();
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    /// What the command works on. `name` has no dashes.
    void addInput(char const* name, char const* help, Take const& take, bool isRequired = true);

    /// Any number of inputs, at least one.
    void addInputs(char const* name, char const* help, Take const& take);

    /// `--name VALUE`, once. `shown` is the value's form in the help, with its default behind "=" if it has one.
    void add(char const* name, char const* shown, char const* help, Take const& take);

    /// `--name VALUE`, as often as is wanted; `take` is called for each.
    void addRepeatable(char const* name, char const* shown, char const* help, Take const& take);

    /// `--name A,B`, and as often as is wanted; `take` is called for each value.
    void addList(char const* name, char const* shown, char const* help, Take const& take);

    void addFlag(char const* name, char const* help, bool& isSet);

    /// The options that follow stand under this heading in the help.
    void beginGroup(char const* heading);

    /// The two may not be given together. Both have been added.
    void exclude(char const* one, char const* other);

    /// Reads the arguments, without the name of the command. An exit code: they ask for help or are wrong, which is
    /// told. Throws what a Take throws.
    std::optional<int> parse(int argc, char const* const* argv);

  private:
    struct Parser;

    std::unique_ptr<Parser> mParser;
};

/// A whole number of an option. Throws InputError that names the option and the range.
int64_t wholeNumber(std::string const& text, char const* option, int64_t least, int64_t most);

/// A decimal number of an option, likewise; `unit` follows the range in words: " ms".
double decimalNumber(std::string const& text, char const* option, double least, double most, char const* unit = "");

}  // namespace Replay
