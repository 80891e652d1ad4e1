// Reads a recording of real calls (docs/recording.md), line by line: the memory does not grow with its length.
// Version 1 has all selectors of a process in one file, version 2 one selector in one file or several.
#pragma once

#include <deque>
#include <istream>
#include <string_view>
#include <variant>

#include "RecordedInput.h"

namespace Replay {

struct RecordedCall {
    uint64_t number = 0;
    uint64_t selector = 0;
    int64_t ns = 0;  ///< on the recording's monotonic clock
    int64_t tookNs = 0;
    int64_t thread = 0;  ///< that made it; 0 in version 1, which does not tell
    /// The answer depends on a state that all selectors of the process share, and others have been called.
    bool isOfSharedState = false;
    RecordedInput input;
    ISelector::SelectOutputParams out;
};

/// A selector was made or is gone.
struct RecordedSelector {
    uint64_t number = 0;
    bool isMade = false;
    int64_t ns = 0;
};

/// From here on the state of the plug-in is not what the recorded calls make of it.
struct RecordedGap {
    uint64_t selector = 0;
    uint64_t call = 0;   ///< the first one behind the gap
    std::string reason;  ///< "3 calls before it are not recorded"
};

/// The properties in force from here on, by name. The runtime switch, which a process reads once, has the value
/// that was read, where the recording tells.
using RecordedProperties = std::map<std::string, std::string>;

using RecordedEvent = std::variant<RecordedProperties, RecordedSelector, RecordedGap, RecordedCall>;

/// Which file of which selector it is.
struct RecordingPart {
    int64_t version = 1;
    std::string selector;      ///< the same for all files of one selector; empty in version 1
    uint64_t number = 1;       ///< of the file, from 1
    uint64_t lastCall = 0;     ///< once it has been read
    bool isContinued = false;  ///< likewise: its last line says so
};

/// Whether a text begins as a recording does.
bool isRecording(std::string_view text);

/// Puts the files of one selector together, in their order. Others, and what is no recording, are alone. The places
/// are those of each one's first file.
std::vector<std::vector<std::string>> seriesOf(std::vector<std::string> const& files);

class RecordingReader {
  public:
    /// `file` only names the recording in errors.
    RecordingReader(std::istream& in, std::string file) : mIn(in), mFile(std::move(file)) {}
    /// `before` is the same selector's file before, which has been read.
    RecordingReader(std::istream& in, std::string file, std::optional<RecordingPart> before)
        : mIn(in), mFile(std::move(file)), mBefore(std::move(before)) {}

    /// The next event; nothing at the end. The first are the properties of the header. Throws InputError, which
    /// names file, line, place and reason: a line that is missing, doubled or not in its place, too.
    std::optional<RecordedEvent> next();

    /// What the header says, once the first event has been read, and the end.
    RecordingPart const& part() const { return mPart; }

    /// What is to be said of the recording, once it has ended: a torn last line, a full one.
    std::vector<std::string> const& notes() const { return mNotes; }

  private:
    std::optional<JsonDocument> nextLine();
    std::optional<RecordedEvent> nextOfFile();
    std::optional<RecordedEvent> endOfFile();
    RecordedProperties readHeader(Node const& line);
    RecordedProperties readPartHeader(Node const& line);
    void readSelector(Node const& line);
    void readEnd(Node const& line);
    void readLost(Node const& line);
    void readCall(Node const& line);
    void readFacts(Node const& line, RecordedCall& call);
    void checkNumber(Node const& number);
    void addGap(std::string reason);
    RecordedProperties properties() const;

    std::istream& mIn;
    std::string mFile;
    size_t mLine = 0;
    bool mHasHeader = false;
    bool mHasEnded = false;
    bool mHasCall = false;
    std::optional<RecordingPart> mBefore;
    RecordingPart mPart;
    uint64_t mSelector = 0;                  // of version 2
    std::deque<RecordedEvent> mEvents;       // read, and not yet asked for
    RecordedProperties mProperties;          // as told last
    std::optional<int64_t> mSwitch;          // what the plug-in holds the runtime switch to be; -1: unknown
    int64_t mOthers = 0;                     // other selectors that have been called
    std::map<uint64_t, KnownInputs> mKnown;  // by selector
    std::vector<std::string> mNotes;
};

}  // namespace Replay
