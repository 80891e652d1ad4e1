// Reads a recording of real calls (docs/recording.md), line by line: the memory does not grow with its length.
#pragma once

#include <istream>
#include <memory>
#include <variant>

#include "JsonNode.h"
#include "replay/model/Session.h"

namespace Replay {

/// The input of a recorded call with what its pointers point to.
struct RecordedInput {
    ISelector::SelectInputParams in;
    std::vector<std::shared_ptr<Metadata const>> metas;
    std::vector<std::unique_ptr<std::set<uint32_t>>> sensorIds;
};

struct RecordedCall {
    uint64_t number = 0;
    uint64_t selector = 0;
    int64_t ns = 0;  ///< on the recording's monotonic clock
    int64_t tookNs = 0;
    RecordedInput input;
    ISelector::SelectOutputParams out;
};

/// A selector was made or is gone.
struct RecordedSelector {
    uint64_t number = 0;
    bool isMade = false;
    int64_t ns = 0;
};

/// The properties in force from here on, by name.
using RecordedProperties = std::map<std::string, std::string>;

using RecordedEvent = std::variant<RecordedProperties, RecordedSelector, RecordedCall>;

/// Whether a text begins as a recording does.
bool isRecording(std::string const& text);

class RecordingReader {
  public:
    /// `file` only names the recording in errors.
    RecordingReader(std::istream& in, std::string file) : mIn(in), mFile(std::move(file)) {}

    /// The next event; nothing at the end. The first are the properties of the header. Throws InputError, which
    /// names file, line, place and reason.
    std::optional<RecordedEvent> next();

    /// What is to be said of the recording, once it has ended: a torn last line, a full one.
    std::vector<std::string> const& notes() const { return mNotes; }

  private:
    using Metas = std::map<int64_t, std::shared_ptr<Metadata const>>;

    struct KnownFrame {
        FrameNo key = 0;
        ISelector::HistoryFrame frame;
        std::vector<std::shared_ptr<Metadata const>> metas;
    };

    struct KnownInflight {
        FrameNo key = 0;
        ISelector::InflightFrame frame;
    };

    /// What the next call of a selector may refer to.
    struct Known {
        Metas tags;
        std::map<int64_t, KnownFrame> history;
        std::map<int64_t, KnownInflight> inflight;
    };

    std::optional<nlohmann::json> nextLine();
    RecordedProperties readHeader(Node const& line);
    RecordedCall readCall(Node const& line);
    static void readNew(Node const& line, Known& known);
    static void readInput(Node const& node, Known& known, RecordedInput& input);
    static std::shared_ptr<Metadata const> metaOf(Node const& number, Metas const& tags);

    std::istream& mIn;
    std::string mFile;
    size_t mLine = 0;
    bool mHasEnded = false;
    std::map<uint64_t, Known> mKnown;  // by selector
    std::vector<std::string> mNotes;
};

}  // namespace Replay
