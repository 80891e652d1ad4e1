// The settings a session is played under: system properties, and what they amount to.
#pragma once

#include <cstdint>
#include <optional>
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

/// What the command line asks for; nothing leaves a setting to the input's properties, and else to the plug-in.
struct SettingOverrides {
    std::optional<int64_t> hint;
    std::optional<uint32_t> policy;
    std::optional<int64_t> timeoutMs;
};

/// A policy from a number or from names joined by '|'. Throws InputError.
uint32_t parsePolicy(std::string const& text);

/// A hint. Throws InputError for what is no strategy.
int64_t parseHint(std::string const& text);

/// Sets the force properties, and the switch that makes them count. Where the switch was off, the other force
/// properties stay without effect: they are cleared. Answers what is odd about the properties then: names that
/// nothing reads, values that are no number, force properties without effect.
std::vector<std::string> force(SettingOverrides const& overrides);

/// Which bits of an asked policy a strategy does not read for bursts, in a sentence; nothing if it reads them all.
std::optional<std::string> unreadPolicy(int64_t hint, uint32_t policy);

}  // namespace Replay
