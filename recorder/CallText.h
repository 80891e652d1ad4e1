// The text of a call in a recording, from the numbers that Capture put down. docs/recording.md tells the format.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "HostData.h"
#include "Words.h"

namespace NSCam::Recorder {

/// The properties as an object, by name.
void appendProperties(std::string& text, int64_t const* values);

/// Puts the calls of one file into words. Metadata that several frames have in common are told once, and referred
/// to by number.
class CallText {
  public:
    /// Lets the next call stand for itself.
    void forget();

    /// Appends a line, with its end, of the numbers behind the call's bits and the count of those lost before it.
    void append(std::string& text, int64_t bits, WordReader& words);

  private:
    /// Metadata with the same values.
    struct Set {
        size_t number;
        uint64_t usedBy;  // the last call
    };
    struct Frame {
        std::vector<Set*> sets;
        uint64_t usedBy;
    };

    Set& setOf(WordReader& words);
    void appendStreamMetas(std::string& text, char const* name, WordReader& words, Frame& frame);
    void appendHistory(std::string& text, WordReader& words);
    static void appendInflight(std::string& text, WordReader& words);
    void appendRequired(std::string& text, WordReader& words);
    void appendRequest(std::string& text, WordReader& words);
    void useHistory(WordReader runs);
    void dropUnused();

    uint64_t mCall = 0;
    std::map<std::vector<int64_t>, Set> mSets;  // by what putMetadata put
    std::map<int64_t, Frame> mFrames;           // of the history, by number
    size_t mLastSet = 0;
    std::string mNewSets;
    std::string mFrameText;
    std::string mReferences;
    std::string mRequest;
    std::vector<int64_t> mValues;  // of the set looked for
};

}  // namespace NSCam::Recorder
