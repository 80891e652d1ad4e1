// The stand-in's system properties: what tools and tests set before the selector reads. Thread-safe.
#pragma once

#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace NSCam::Utils::Properties {

/// A line of properties that cannot be read. what() names source, line number and reason.
struct PropertyError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Sets a property; "log.tag.SampleSelector" takes effect on the log gate at once. A name that is empty or holds
/// a blank or '=' throws PropertyError.
void set(std::string const& name, std::string const& value);

/// The property's text, if it is set.
std::optional<std::string> get(std::string_view name);

/// The names of all properties that are set, ascending.
std::vector<std::string> names();

/// Unsets every property.
void clear();

/// Sets a property from "name=value"; blanks around name and value are dropped.
void setFromText(std::string const& text, std::string const& source);

/// Sets properties from "name=value" lines, or the "[name]: [value]" lines that getprop prints. Empty lines and
/// lines that begin with '#' are passed over. Nothing is set when a line cannot be read: PropertyError.
void load(std::istream& lines, std::string const& source);

}  // namespace NSCam::Utils::Properties
