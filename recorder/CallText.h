// The text of a call in a recording: the whole input and answer, what was told before left out. docs/recording.md
// tells the format.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace NSCam::Recorder {

using ZslPolicy::ISelector;

/// The tags that a selector reads, in the order of kTags.
constexpr size_t kTagCount = 10;

struct Tag {
    uint32_t number;
    char const* type;  ///< u8, i32 or i64
};

extern Tag const kTags[kTagCount];

/// The values of one metadata container, by the place of the tag in kTags; nothing: the tag is absent.
using TagValues = std::array<std::optional<int64_t>, kTagCount>;

/// Writes the calls of one selector. What a call has in common with the one before it is referred to by numbers:
/// the metadata, history frames and frames in flight that appeared before and have stayed in use.
class CallText {
  public:
    /// Appends `"tags":{...},"frames":{...},"inflight":{...},"in":{...},"out":{...}` to `text`.
    void append(std::string& text, ISelector::SelectInputParams const& in,
                ISelector::SelectOutputParams const& out);

  private:
    /// What of a frame tells it from others: its text, with numbers for metadata.
    struct Known {
        size_t number;
        std::string content;
    };
    using Frames = std::map<uint32_t, Known>;  // by the frame's key

    size_t numberOf(IMetadata const* meta);
    void appendMetas(std::string& text, char const* name, std::map<int64_t, IMetadata const*> const& metas);
    std::string contentOf(uint32_t key, ISelector::HistoryFrame const& frame);
    static std::string contentOf(uint32_t key, ISelector::InflightFrame const& frame);
    template <typename Frame>
    void appendFrames(std::string& text, char const* name, std::map<uint32_t, Frame> const& frames, Frames& known,
                      size_t& last, std::string& references);
    void appendInput(std::string& text, ISelector::SelectInputParams const& in, std::string const& references);

    std::map<TagValues, size_t> mTags;      // in use by the call before, and by this one
    std::map<TagValues, size_t> mUsedTags;  // by this call
    std::string mNewTags;
    Frames mHistory;
    Frames mInflight;
    size_t mLastTags = 0;
    size_t mLastFrame = 0;
    size_t mLastInflight = 0;
};

}  // namespace NSCam::Recorder
