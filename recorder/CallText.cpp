#include "CallText.h"

#include <charconv>
#include <iterator>
#include <utility>

#include "Capture.h"

namespace NSCam::Recorder {

namespace {

void appendNumber(std::string& text, int64_t number) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/// `"name":`, with a comma in front unless it is the first of its object.
void key(std::string& text, char const* name) {
    text += text.empty() || text.back() == '{' ? "\"" : ",\"";
    text += name;
    text += "\":";
}

/// Likewise, for an object by numbers.
void key(std::string& text, int64_t number) {
    text += text.empty() || text.back() == '{' ? "\"" : ",\"";
    appendNumber(text, number);
    text += "\":";
}

void appendField(std::string& text, char const* name, int64_t number) {
    key(text, name);
    appendNumber(text, number);
}

void appendList(std::string& text, WordReader& words, size_t count) {
    text += '[';
    for (size_t index = 0; index < count; ++index) {
        text += index == 0 ? "" : ",";
        appendNumber(text, words.next());
    }
    text += ']';
}

void appendStreams(std::string& text, WordReader& words) {
    for (char const* const name : {"images", "halMetas", "appMetas"}) {
        key(text, name);
        appendList(text, words, words.count());
    }
}

/// Runs of frames, [[first, last], ...].
void appendRuns(std::string& text, char const* name, WordReader& words) {
    key(text, name);
    text += '[';
    for (size_t count = words.count(), index = 0; index < count; ++index) {
        text += index == 0 ? "" : ",";
        appendList(text, words, 2);
    }
    text += ']';
}

/// An object by numbers, of lists of so many.
void appendLists(std::string& text, char const* name, WordReader& words, size_t size) {
    key(text, name);
    text += '{';
    for (size_t count = words.count(); count > 0; --count) {
        key(text, words.next());
        size == 1 ? appendNumber(text, words.next()) : appendList(text, words, size);
    }
    text += '}';
}

void appendFacts(std::string& text, int64_t bits, WordReader& words) {
    for (char const* const name : {"call", "ns", "tookNs", "thread"}) {
        appendField(text, name, words.next());
    }
    if ((bits & kHasProperties) != 0) {
        key(text, "properties");
        appendProperties(text, words.place());
        words.skip(kPropertyCount);
    }
    if ((bits & kHasChange) != 0) {
        key(text, "changedTo");
        appendProperties(text, words.place());
        words.skip(kPropertyCount);
    }
    if ((bits & kHasProcess) != 0) {
        appendField(text, "runtimeSwitch", words.next());
        appendField(text, "others", words.next());
    }
}

}  // namespace

void appendProperties(std::string& text, int64_t const* values) {
    text += '{';
    for (size_t index = 0; index < kPropertyCount; ++index) {
        appendField(text, kPropertyNames[index], values[index]);
    }
    text += '}';
}

void CallText::forget() {
    mSets.clear();
    mFrames.clear();
}

/// The set of a container that is no null pointer; one that is new is told.
CallText::Set& CallText::setOf(WordReader& words) {
    int64_t const present = words.next();
    mValues.assign(1, present);
    for (size_t index = 0; index < kTagCount; ++index) {
        if ((present >> index & 1) != 0) {
            mValues.push_back(words.next());
        }
    }
    auto const [set, isNew] = mSets.try_emplace(mValues, Set{mLastSet + 1, mCall});
    set->second.usedBy = mCall;
    if (isNew) {
        ++mLastSet;
        key(mNewSets, static_cast<int64_t>(set->second.number));
        mNewSets += '{';
        auto value = mValues.begin();
        for (size_t index = 0; index < kTagCount; ++index) {
            if ((present >> index & 1) != 0) {
                key(mNewSets, kMetadataTags[index].number);
                mNewSets += '{';
                appendField(mNewSets, nameOf(kMetadataTags[index].type), *++value);
                mNewSets += '}';
            }
        }
        mNewSets += '}';
    }
    return set->second;
}

void CallText::appendStreamMetas(std::string& text, char const* name, WordReader& words, Frame& frame) {
    key(text, name);
    text += '{';
    for (size_t count = words.count(); count > 0; --count) {
        key(text, words.next());
        if (*words.place() == kNullMetadata) {
            words.skip(1);
            text += '0';
        } else {
            frame.sets.push_back(&setOf(words));
            appendNumber(text, static_cast<int64_t>(frame.sets.back()->number));
        }
    }
    text += '}';
}

/// The frames that are new, and the numbers of all.
void CallText::appendHistory(std::string& text, WordReader& words) {
    key(text, "history");
    text += '{';
    for (size_t count = words.count(); count > 0; --count) {
        int64_t const number = words.next();
        Frame& frame = mFrames[number];
        key(text, number);
        text += '{';
        for (char const* const name : {"key", "frameNo", "requestNo", "timestamp", "locked"}) {
            appendField(text, name, words.next());
        }
        appendStreams(text, words);
        appendStreamMetas(text, "app", words, frame);
        appendStreamMetas(text, "hal", words, frame);
        text += '}';
    }
    text += '}';
    useHistory(words);
    appendRuns(mReferences, "history", words);
}

void CallText::useHistory(WordReader runs) {
    for (size_t count = runs.count(); count > 0; --count) {
        int64_t const first = runs.next();
        int64_t const last = runs.next();
        for (auto frame = mFrames.lower_bound(first); frame != mFrames.end() && frame->first <= last; ++frame) {
            frame->second.usedBy = mCall;
            for (Set* const set : frame->second.sets) {
                set->usedBy = mCall;
            }
        }
    }
}

void CallText::appendInflight(std::string& text, WordReader& words) {
    key(text, "inflight");
    text += '{';
    for (size_t count = words.count(); count > 0; --count) {
        key(text, words.next());
        text += '{';
        appendField(text, "key", words.next());
        appendField(text, "frameNo", words.next());
        appendStreams(text, words);
        text += '}';
    }
    text += '}';
}

void CallText::appendRequired(std::string& text, WordReader& words) {
    key(text, "required");
    text += '{';
    for (size_t count = words.count(); count > 0; --count) {
        key(text, words.next());
        text += '{';
        appendStreams(text, words);
        if (*words.place() == kNullMetadata) {
            words.skip(1);
            appendField(text, "meta", 0);
        } else {
            appendField(text, "meta", static_cast<int64_t>(setOf(words).number));
        }
        if (int64_t const sensors = words.next(); sensors >= 0) {
            key(text, "sensorIds");
            appendList(text, words, static_cast<size_t>(sensors));
        }
        text += '}';
    }
    text += '}';
}

void CallText::appendRequest(std::string& text, WordReader& words) {
    text += '{';
    for (char const* const name : {"requestNo", "elapsedMs", "zsdTs", "targetEv"}) {
        appendField(text, name, words.next());
    }
    key(text, "ispHidl");
    appendList(text, words, 2);
    appendRequired(text, words);
    appendLists(text, "sensorModes", words, 1);
    appendLists(text, "preCollects", words, 2);
    text += ',';
    text += mReferences;
    text += '}';
}

/// What this call does not refer to cannot be referred to again.
void CallText::dropUnused() {
    for (auto frame = mFrames.begin(); frame != mFrames.end();) {
        frame = frame->second.usedBy == mCall ? std::next(frame) : mFrames.erase(frame);
    }
    for (auto set = mSets.begin(); set != mSets.end();) {
        set = set->second.usedBy == mCall ? std::next(set) : mSets.erase(set);
    }
}

void CallText::append(std::string& text, int64_t bits, WordReader& words) {
    ++mCall;
    for (std::string* const part : {&mNewSets, &mFrameText, &mReferences, &mRequest}) {
        part->clear();
    }
    text += '{';
    appendFacts(text, bits, words);
    appendHistory(mFrameText, words);
    appendInflight(mFrameText, words);
    appendRuns(mReferences, "inflight", words);
    appendRequest(mRequest, words);
    for (auto const& [name, part] : {std::pair("tags", &mNewSets), std::pair("new", &mFrameText)}) {
        key(text, name);
        text += '{';
        text += *part;
        text += '}';
    }
    key(text, "in");
    text += mRequest;
    key(text, "out");
    text += '{';
    appendLists(text, "selected", words, 2);
    appendLists(text, "operations", words, 1);
    key(text, "frameNoSet");
    appendList(text, words, words.count());
    text += "}}\n";
    dropUnused();
}

}  // namespace NSCam::Recorder
