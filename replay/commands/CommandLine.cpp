#include "CommandLine.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "ExitCodes.h"
#include "replay/model/InputError.h"
#include "replay/model/Integer.h"
#include "replay/model/Printable.h"

namespace Replay {

namespace {

std::string const kAnyText = "TEXT";

std::string checkNotEmpty(std::string const& text) { return text.empty() ? "must not be empty" : ""; }

}  // namespace

struct CommandLine::Parser {
    CLI::App app;
    std::string group;

    CLI::Option& add(std::string const& name, std::string const& shown, char const* help, Take const& take) {
        auto* const option = app.add_option_function<std::vector<std::string>>(
            name,
            [take](std::vector<std::string> const& values) {
                for (std::string const& value : values) {
                    take(value);
                }
            },
            help);
        option->type_name(shown)->check(checkNotEmpty)->allow_extra_args(false);
        if (!group.empty()) {
            option->group(group);
        }
        return *option;
    }
};

CommandLine::CommandLine(std::string const& description, std::string const& name, std::string const& footer)
    : mParser(new Parser{CLI::App(description, name), ""}) {
    mParser->app.footer(footer);
    mParser->app.set_version_flag("--version", "zsl-replay " ZSL_VERSION);
}

CommandLine::~CommandLine() = default;

void CommandLine::addInput(char const* name, char const* help, Take const& take, bool isRequired) {
    mParser->add(name, kAnyText, help, take).expected(1)->required(isRequired);
}

void CommandLine::addInputs(char const* name, char const* help, Take const& take) {
    mParser->add(name, kAnyText, help, take).expected(-1)->required()->allow_extra_args();
}

void CommandLine::add(char const* name, char const* shown, char const* help, Take const& take) {
    mParser->add(name, shown, help, take).expected(1);
}

void CommandLine::addRepeatable(char const* name, char const* shown, char const* help, Take const& take) {
    mParser->add(name, shown, help, take);
}

void CommandLine::addList(char const* name, char const* shown, char const* help, Take const& take) {
    mParser->add(name, shown, help, take).delimiter(',');
}

void CommandLine::addFlag(char const* name, char const* help, bool& isSet) {
    auto* const flag = mParser->app.add_flag(name, isSet, help);
    if (!mParser->group.empty()) {
        flag->group(mParser->group);
    }
}

void CommandLine::beginGroup(char const* heading) { mParser->group = heading; }

void CommandLine::exclude(char const* one, char const* other) {
    mParser->app.get_option(one)->excludes(mParser->app.get_option(other));
}

std::optional<int> CommandLine::parse(int argc, char const* const* argv) {
    try {
        mParser->app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        std::ostringstream told;
        int const code = mParser->app.exit(error, std::cout, told);
        std::istringstream lines(told.str());  // with the arguments as they were given
        for (std::string line; std::getline(lines, line);) {
            std::cerr << printable(line) << '\n';
        }
        return code == 0 ? 0 : kExitBadInput;
    }
    return std::nullopt;
}

int64_t wholeNumber(std::string const& text, char const* option, int64_t least, int64_t most) {
    auto const number = parseInteger(text);
    if (!number || *number < least || *number > most) {
        throw InputError(most == INT64_MAX
                             ? fmt::format("{}: '{}' is no whole number from {}", option, text, least)
                             : fmt::format("{}: '{}' is no whole number from {} to {}", option, text, least, most));
    }
    return *number;
}

double decimalNumber(std::string const& text, char const* option, double least, double most, char const* unit) {
    char* end = nullptr;
    double const number = std::strtod(text.c_str(), &end);
    bool const isWhole = !text.empty() && *end == '\0' && std::isspace(static_cast<unsigned char>(text[0])) == 0;
    if (!isWhole || !(number >= least && number <= most)) {
        throw InputError(fmt::format("{}: '{}' is no number from {:g} to {:g}{}", option, text, least, most, unit));
    }
    return number;
}

}  // namespace Replay
