// The settings a session is played under: system properties, and what they amount to.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace Replay {

constexpr char const* kRuntimeSwitch = "vendor.debug.camera.zsl.runtime.adb";
constexpr char const* kForcePolicy = "vendor.debug.camera.zsl.force.policy";
constexpr char const* kForceTimeout = "vendor.debug.camera.zsl.force.timeout";
constexpr char const* kForceHint = "vendor.debug.camera.zsl.force.hint";

/// What is in force, by the properties that are set.
struct Settings {
    int64_t hint = 0;
    std::string strategy;  ///< the hint in words
    std::string policy;    ///< the names of its bits
    int64_t timeoutMs = 0;
    std::set<uint32_t> judgedTags;  ///< metadata that decides about frames under this policy
};

Settings settingsInForce();

/// A policy's number from a number or from names joined by '|'. Throws InputError.
std::string policyNumber(std::string const& text);

/// A hint's number. Throws InputError for what is no strategy.
std::string hintNumber(std::string const& text);

/// A number from 0. Throws InputError that names the option.
std::string wholeNumber(std::string const& text, char const* option);

/// Sets one of the force properties, and the switch that makes them count.
void force(char const* property, std::string const& value);

/// What is odd about the properties that are set: names that nothing reads, values that are no number, force
/// properties without their switch.
std::vector<std::string> propertyWarnings();

}  // namespace Replay
