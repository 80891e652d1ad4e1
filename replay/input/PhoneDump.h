// The text of the camera service's tag monitor, made into sessions (docs/replay.md).
#pragma once

#include "Expansion.h"

namespace Replay {

struct DumpOptions {
    bool asBursts = false;  ///< runs of still captures are bursts of reprocess requests
    int64_t resultAfterNs = kUsualResultDelayNs;
    int64_t maxFrames = kMaxFrames;  ///< of all clients together
    std::string client;              ///< only the client of this name; empty: all
    std::set<uint32_t> judgedTags;   ///< tags that decide something under the settings in force: said when assumed
    /// By tag, what to take for it where a client never names it; nothing: the tag stays absent.
    std::map<uint32_t, std::optional<int64_t>> assume;
};

/// Reads what `adb shell cmd media.camera watch dump` prints; `file` only names it in errors. Throws InputError.
SessionSet readPhoneDump(std::string const& text, std::string const& file, DumpOptions const& options);

}  // namespace Replay
