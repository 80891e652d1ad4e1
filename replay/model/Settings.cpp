#include "Settings.h"

#include <vzrcam/Properties.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <sstream>

#include "InputError.h"
#include "Integer.h"
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

constexpr char const* kStrategies[] = {"continuous", "first in first out", "latest", "latest with quality check",
                                       "noise reduction, then HDR"};

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

}  // namespace

Settings settingsInForce() {
    constexpr int64_t kDefaultPolicy = 0x30005;
    constexpr uint32_t kQualityCheckPolicy = 0x20005;
    constexpr int64_t kDefaultTimeoutMs = 1000;
    Settings settings;
    settings.hint = forced(kForceHint, 0);
    settings.strategy = settings.hint <= 4 ? kStrategies[settings.hint] : "unknown, so continuous";
    settings.timeoutMs = forced(kForceTimeout, kDefaultTimeoutMs);
    auto policy = static_cast<uint32_t>(forced(kForcePolicy, kDefaultPolicy));
    policy = settings.hint == 3 ? kQualityCheckPolicy : settings.hint == 2 || settings.hint == 4 ? 0 : policy;
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

std::string policyNumber(std::string const& text) {
    if (auto const number = parseInteger(text); number && *number >= 0 && *number <= UINT32_MAX) {
        return std::to_string(*number);
    }
    uint32_t policy = 0;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, '|');) {
        auto const* const bit =
            std::find_if(std::begin(kBits), std::end(kBits), [&](auto const& entry) { return name == entry.name; });
        if (bit != std::end(kBits)) {
            policy |= bit->bit;
        } else if (name != "None") {
            throw InputError("--policy: '" + name + "' is neither a number nor one of None, " +
                             "AFStable, AEStable, "
                             "AESoftStable, FrameSync, ZeroShutterDelay, ContinuousFrame, ForcePending");
        }
    }
    return std::to_string(policy);
}

std::string wholeNumber(std::string const& text, char const* option) {
    auto const number = parseInteger(text);
    if (!number || *number < 0) {
        throw InputError(std::string(option) + ": '" + text + "' is no whole number from 0");
    }
    return std::to_string(*number);
}

std::string hintNumber(std::string const& text) {
    std::string number = wholeNumber(text, "--hint");
    if (std::stoll(number) > 4) {
        throw InputError("--hint: there is no strategy " + number +
                         "; 0 continuous, 1 first in first out, 2 latest, "
                         "3 latest with quality check, 4 noise reduction, then HDR");
    }
    return number;
}

void force(char const* property, std::string const& value) {
    Properties::set(kRuntimeSwitch, "1");
    Properties::set(property, value);
}

std::vector<std::string> propertyWarnings() {
    static constexpr char const* kForce[] = {kForcePolicy, kForceTimeout, kForceHint};
    std::vector<std::string> warnings;
    for (std::string const& name : Properties::names()) {
        bool const isForce = std::find(std::begin(kForce), std::end(kForce), name) != std::end(kForce);
        bool const isBool = name == kRuntimeSwitch;
        auto const warn = [&](std::string const& what) {
            std::string warning = "property " + name;
            warnings.push_back(warning += what);
        };
        std::string const quoted = ": '" + *Properties::get(name) + "'";
        if (name == "log.tag.SampleSelector" || name == "vendor.debug.camera.zsl.record" ||
            name == "vendor.debug.camera.zsl.record.mb") {
            continue;
        }
        if (!isForce && !isBool && name != "vendor.debug.camera.log.zsl.sample") {
            warn(": nothing reads it");
        } else if (isBool && Properties::property_get_bool(kRuntimeSwitch, 5) == 5) {
            warn(quoted + " is neither true nor false; it counts as false");
        } else if (!isBool && Properties::property_get_int64(name.c_str(), -7) !=
                                  Properties::property_get_int64(name.c_str(), -8)) {
            warn(quoted + " is no number; it counts as not set");
        } else if (isForce && !isSwitchOn()) {
            warn(std::string(" has no effect: ") + kRuntimeSwitch + " is not set to 1");
        }
    }
    return warnings;
}

}  // namespace Replay
