#include "Settings.h"

#include <fmt/core.h>
#include <vzrcam/Properties.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <sstream>

#include "InputError.h"
#include "Integer.h"
#include "Strategies.h"
#include "TagTable.h"
#include "zsl/policy/ISelector.h"

namespace Replay {

namespace {

namespace Properties = NSCam::Utils::Properties;
namespace Policy = NSCam::ZslPolicy::Policy;

constexpr struct {
    char const* name;
    uint32_t bit;
} kBits[] = {{"AFStable", Policy::AFStable},
             {"AEStable", Policy::AEStable},
             {"AESoftStable", Policy::AESoftStable},
             {"FrameSync", Policy::FrameSync},
             {"ZeroShutterDelay", Policy::ZeroShutterDelay},
             {"ContinuousFrame", Policy::ContinuousFrame},
             {"ForcePending", Policy::ForcePending}};

std::string namesOf(uint32_t policy) {
    std::string names;
    for (auto const& entry : kBits) {
        if ((policy & entry.bit) != 0) {
            names += (names.empty() ? "" : "|") + std::string(entry.name);
        }
    }
    return names.empty() ? "None" : names;
}

bool isSwitchOn() { return Properties::property_get_bool(kRuntimeSwitch, 0) != 0; }

int64_t forced(char const* property, int64_t otherwise) {
    int64_t const value = isSwitchOn() ? Properties::property_get_int64(property, -1) : -1;
    return value >= 0 ? value : otherwise;
}

/// The policy of strategies for bursts that have one of their own.
std::optional<uint32_t> fixedPolicyOf(int64_t hint) {
    switch (hint) {
        case 2:
        case 4: return 0U;
        case 3: return Policy::AFStable | Policy::AESoftStable | Policy::ContinuousFrame;
        default: return std::nullopt;
    }
}

/// Names that nothing reads, and values that are no number.
std::vector<std::string> oddProperties() {
    static std::set<std::string> const kNumbers = {kForcePolicy, kForceTimeout, kForceHint,
                                                   "vendor.debug.camera.log.zsl.sample"};
    std::vector<std::string> warnings;
    for (std::string const& name : Properties::names()) {
        std::string const value = *Properties::get(name);
        if (name == "log.tag.SampleSelector" || name.rfind("vendor.debug.camera.zsl.record", 0) == 0) {
            continue;
        }
        if (name == kRuntimeSwitch) {
            if (Properties::property_get_bool(kRuntimeSwitch, 5) == 5) {
                warnings.push_back(
                    fmt::format("property {}: '{}' is neither true nor false; it counts as false", name, value));
            }
        } else if (kNumbers.count(name) == 0) {
            warnings.push_back(fmt::format("property {}: nothing reads it", name));
        } else if (Properties::property_get_int64(name.c_str(), -7) !=
                   Properties::property_get_int64(name.c_str(), -8)) {
            warnings.push_back(fmt::format("property {}: '{}' is no number; it counts as not set", name, value));
        }
    }
    return warnings;
}

}  // namespace

Settings settingsInForce() {
    constexpr int64_t kDefaultPolicy = 0x30005;
    constexpr int64_t kDefaultTimeoutMs = 1000;
    Settings settings;
    settings.hint = forced(kForceHint, 0);
    Strategy const* const strategy = strategyOf(settings.hint);
    settings.strategy = strategy != nullptr ? strategy->name : "unknown, so continuous";
    settings.timeoutMs = forced(kForceTimeout, kDefaultTimeoutMs);
    uint32_t const policy =
        fixedPolicyOf(settings.hint).value_or(static_cast<uint32_t>(forced(kForcePolicy, kDefaultPolicy)));
    settings.policy = namesOf(policy);
    if ((policy & Policy::AFStable) != 0) {
        settings.judgedTags = {kAfMode, kAfState, kLensState};
    }
    if ((policy & Policy::AEStable) != 0) {
        settings.judgedTags.insert(kAeState);
    }
    if ((policy & Policy::AESoftStable) != 0) {
        settings.judgedTags.insert(kSoftAeState);
    }
    if ((policy & Policy::FrameSync) != 0) {
        settings.judgedTags.insert(kFrameSyncResult);
    }
    return settings;
}

uint32_t parsePolicy(std::string const& text) {
    if (auto const number = parseInteger(text); number && *number >= 0 && *number <= UINT32_MAX) {
        return static_cast<uint32_t>(*number);
    }
    uint32_t policy = 0;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, '|');) {
        auto const* const bit =
            std::find_if(std::begin(kBits), std::end(kBits), [&](auto const& entry) { return name == entry.name; });
        if (bit != std::end(kBits)) {
            policy |= bit->bit;
        } else if (name != "None") {
            throw InputError(
                fmt::format("--policy: '{}' is neither a number nor one of None, AFStable, AEStable, "
                            "AESoftStable, FrameSync, ZeroShutterDelay, ContinuousFrame, ForcePending",
                            name));
        }
    }
    return policy;
}

int64_t parseHint(std::string const& text) {
    auto const number = parseInteger(text);
    if (!number || *number < 0) {
        throw InputError(fmt::format("--hint: '{}' is no whole number from 0 to 4", text));
    }
    if (strategyOf(*number) == nullptr) {
        throw InputError(fmt::format("--hint: there is no strategy {}; {}", *number, strategyList()));
    }
    return *number;
}

std::vector<std::string> force(SettingOverrides const& overrides) {
    struct Entry {
        char const* property = nullptr;
        std::optional<int64_t> value;
    };
    Entry const entries[] = {
        {kForceHint, overrides.hint}, {kForcePolicy, overrides.policy}, {kForceTimeout, overrides.timeoutMs}};
    std::vector<std::string> warnings = oddProperties();
    bool const isForced = std::any_of(std::begin(entries), std::end(entries),
                                      [](Entry const& entry) { return entry.value.has_value(); });
    bool const isDormant = !isSwitchOn();
    if (isForced) {
        Properties::set(kRuntimeSwitch, "1");
    }
    for (Entry const& entry : entries) {
        bool const isSet = Properties::get(entry.property).has_value();
        if (isDormant && isSet && !entry.value) {
            warnings.push_back(
                fmt::format("property {} has no effect: {} is not set to 1", entry.property, kRuntimeSwitch));
        }
        if (entry.value) {
            Properties::set(entry.property, std::to_string(*entry.value));
        } else if (isForced && isDormant && isSet) {
            Properties::set(entry.property, "-1");
        }
    }
    return warnings;
}

std::optional<std::string> unreadPolicy(int64_t hint, uint32_t policy) {
    auto const fixed = fixedPolicyOf(hint);
    if (!fixed || *fixed == policy) {
        return std::nullopt;
    }
    return fmt::format(
        "hint {} ({}) {}: --policy {} counts for requests outside bursts alone", hint, strategyOf(hint)->name,
        *fixed == 0 ? "reads no policy bit" : "always judges by " + namesOf(*fixed), namesOf(policy));
}

}  // namespace Replay
