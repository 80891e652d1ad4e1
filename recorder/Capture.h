// The host's side of a recorded call: input and answer as numbers, what the call before told left out.
#pragma once

#include <optional>

#include "HostData.h"
#include "Words.h"
#include "zsl/policy/ISelector.h"

namespace NSCam::Recorder {

using ZslPolicy::ISelector;

/// What stands around a call.
struct CallFacts {
    uint64_t number = 0;  ///< of the selector's calls, those not recorded included
    int64_t ns = 0;       ///< the monotonic clock
    int64_t tookNs = 0;
    int64_t thread = 0;
    uint64_t lost = 0;          ///< so many calls before this one are not recorded
    PropertyValues before;      ///< the properties when the call began
    PropertyValues after;       ///< and when it had ended
    int64_t runtimeSwitch = 0;  ///< what the plug-in holds the runtime switch to be; -1: unknown
    int64_t others = 0;         ///< so many other selectors of the process have been called
};

/// The bits of a call's first number: what stands in it.
constexpr int64_t kIsBase = 1;         ///< it refers to no earlier call
constexpr int64_t kHasProperties = 2;  ///< they are others than those of the call before
constexpr int64_t kHasChange = 4;      ///< they changed during the call
constexpr int64_t kHasProcess = 8;     ///< runtimeSwitch and others

/// Keeps what the last call of one selector told, to tell of the next one only what is new. In a steady state it
/// allocates nothing.
class Capture {
  public:
    /// The call as numbers, in the order in which CallText reads them. When it throws, forget() has to follow.
    Words const& take(ISelector::SelectInputParams const& in, ISelector::SelectOutputParams const& out,
                      CallFacts const& facts);

    /// Lets the next call stand for itself: one was lost, or a new file begins.
    void forget() noexcept;

  private:
    static constexpr size_t kUsualWords = 2048;  // of thirty frames and more, so that the first call is quick, too

    struct Frame {
        uint32_t key;
        size_t number;
        size_t begin;  // of its content
        size_t size;
        bool isNew;
    };
    /// The frames of a call by ascending key, and what tells each from others.
    struct Frames {
        std::vector<Frame> list;
        Words content{kUsualWords};
    };
    struct Told {
        Frames last;
        Frames now;
        size_t count = 0;  // frames told so far
    };

    void putFacts(CallFacts const& facts);
    template <typename Map>
    void putFrames(Map const& frames, Told& told);
    void putRuns(std::vector<Frame> const& frames);

    Words mWords{kUsualWords};
    Told mHistory;
    Told mInflight;
    bool mIsBase = true;
    std::optional<PropertyValues> mProperties;  // as told last
    int64_t mRuntimeSwitch = 0;
    int64_t mOthers = 0;
};

}  // namespace NSCam::Recorder
