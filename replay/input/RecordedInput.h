// The input of a recorded call, of which the recording tells only what is new.
#pragma once

#include <memory>

#include "JsonNode.h"
#include "replay/model/Session.h"

namespace Replay {

/// The input of a recorded call with what its pointers point to.
struct RecordedInput {
    ISelector::SelectInputParams in;
    std::set<FrameNo> toldFrames;  ///< keys of the history frames that this call tells: new, or changed
    std::vector<std::shared_ptr<Metadata const>> metas;
    std::vector<std::unique_ptr<std::set<uint32_t>>> sensorIds;
};

/// What the next call of a selector may refer to.
class KnownInputs {
  public:
    /// Reads the input of a call's line. What it does not refer to is forgotten.
    void read(Node const& line, RecordedInput& input);

  private:
    struct KnownFrame {
        FrameNo key = 0;
        ISelector::HistoryFrame frame;
        std::vector<std::shared_ptr<Metadata const>> metas;
    };

    struct KnownInflight {
        FrameNo key = 0;
        ISelector::InflightFrame frame;
    };

    void readNew(Node const& line, RecordedInput& input);
    void readFrame(Node const& node, KnownFrame& known) const;
    void readRequest(Node const& node, RecordedInput& input) const;
    std::shared_ptr<Metadata const> metaOf(Node const& number) const;

    std::map<int64_t, std::shared_ptr<Metadata const>> mTags;
    std::map<int64_t, KnownFrame> mHistory;
    std::map<int64_t, KnownInflight> mInflight;
};

}  // namespace Replay
