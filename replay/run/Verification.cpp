#include "Verification.h"

#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "OnPlugin.h"
#include "replay/input/RecordedCalls.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;
using Output = ISelector::SelectOutputParams;

constexpr size_t kShownDifferences = 5;

bool haveSameReserved(Output const& left, Output const& right) {
    return std::all_of(left.selectedFrames.begin(), left.selectedFrames.end(), [&](auto const& entry) {
        auto const other = right.selectedFrames.find(entry.first);
        return other == right.selectedFrames.end() || other->second.reserved == entry.second.reserved;
    });
}

bool areEqual(Output const& left, Output const& right) {
    auto const sameFrame = [](auto const& one, auto const& other) {
        return one.first == other.first && one.second.frameNo == other.second.frameNo;
    };
    return left.frameOps == right.frameOps && left.frameNoSet == right.frameNoSet &&
           haveSameReserved(left, right) &&
           std::equal(left.selectedFrames.begin(), left.selectedFrames.end(), right.selectedFrames.begin(),
                      right.selectedFrames.end(), sameFrame);
}

/// An answer in words: "F24, lock F25", "waits". What hosts do not read is named where it tells it from `other`.
std::string wordsOf(Output const& out, Output const& other) {
    std::string text;
    auto const add = [&](std::string const& part) { text += (text.empty() ? "" : ", ") + part; };
    bool const hasReserved = !haveSameReserved(out, other);
    for (auto const& [index, result] : out.selectedFrames) {
        bool const isOnly = out.selectedFrames.size() == 1 && index == 0;
        add((isOnly ? "" : fmt::format("[{}] ", index)) +
            (result.frameNo == kNoFrame ? "none" : fmt::format("F{}", result.frameNo)) +
            (hasReserved ? fmt::format(" (reserved {})", result.reserved) : ""));
    }
    if (text.empty()) {
        text = "waits";
    }
    for (auto const& [frameNo, operation] : out.frameOps) {
        add(fmt::format("{} F{}", operation == ISelector::OpT::Lock ? "lock" : "unlock", frameNo));
    }
    if (out.frameNoSet != other.frameNoSet) {
        std::string numbers;
        for (FrameNo const frameNo : out.frameNoSet) {
            numbers += fmt::format("{}{}", numbers.empty() ? "" : " ", frameNo);
        }
        add(fmt::format("frameNoSet {{{}}}", numbers));
    }
    return text;
}

/// Makes the calls of one recording again.
class Verifier {
  public:
    explicit Verifier(Plugin const& plugin) : mPlugin(plugin) {}

    void take(RecordedEvent const& event) {
        if (auto const* const properties = std::get_if<RecordedProperties>(&event)) {
            for (auto const& [name, value] : *properties) {
                NSCam::Utils::Properties::set(name, value);
            }
        } else if (auto const* const selector = std::get_if<RecordedSelector>(&event)) {
            takeSelector(*selector);
        } else if (auto const* const gap = std::get_if<RecordedGap>(&event)) {
            if (mGap.empty()) {
                mGap = fmt::format("from call {} on: {}", gap->call, gap->reason);
            }
        } else {
            compare(std::get<RecordedCall>(event));
        }
    }

    Verification const& result() const { return mResult; }

  private:
    void takeSelector(RecordedSelector const& selector) {
        if (selector.isMade) {
            ++mResult.selectors;
            mSelectors[selector.number] = makeSelectorOf(mPlugin);
        } else {
            mSelectors.erase(selector.number);
        }
    }

    void compare(RecordedCall const& call) {
        ++mResult.calls;
        Output const out = mSelectors.at(call.selector)->select(call.input.in);
        if (!mGap.empty() || call.isOfSharedState) {
            leaveOut(call);
            return;
        }
        if (!areEqual(out, call.out) && ++mResult.differing <= kShownDifferences) {
            auto const& in = call.input.in;
            mResult.differences.push_back(fmt::format("call {}, R{} after {} ms: recorded {}; now {}", call.number,
                                                      in.requestNo, in.elapsedMs, wordsOf(call.out, out),
                                                      wordsOf(out, call.out)));
        }
    }

    void leaveOut(RecordedCall const& call) {
        if (++mResult.unsure > 1) {
            return;
        }
        mResult.why =
            mGap.empty() ? fmt::format("of hint 4, from call {} on: other selectors of the process share its phase",
                                       call.number)
                         : mGap;
    }

    Plugin const& mPlugin;
    std::map<uint64_t, std::shared_ptr<ISelector>> mSelectors;
    std::string mGap;  // since when the selector's state is not known, and why
    Verification mResult;
};

std::string errorOr(char const* otherwise) { return errno != 0 ? std::strerror(errno) : otherwise; }

/// Answers which part of its recording it was; `before` is the part before it.
std::optional<RecordingPart> verifyFile(std::string const& file, std::optional<RecordingPart> const& before,
                                        Verifier& verifier, std::vector<std::string>& notes) {
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    if (!in || in.peek() == std::ifstream::traits_type::eof()) {
        throw InputError(fmt::format("{}: {}", file, errorOr("empty; expected a recording")));
    }
    RecordingReader reader(in, file, before);
    errno = 0;
    while (auto const event = reader.next()) {
        verifier.take(*event);
        errno = 0;
    }
    if (in.bad()) {
        throw InputError(fmt::format("{}: {}", file, errorOr("cannot be read")));
    }
    notes.insert(notes.end(), reader.notes().begin(), reader.notes().end());
    return reader.part();
}

}  // namespace

Verification verifyRecording(std::vector<std::string> const& files, std::string const& plugin) {
    NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    NSCam::Utils::Properties::clear();
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    return onPlugin(plugin, [&](Plugin const& loaded) {
        Verifier verifier(loaded);
        std::vector<std::string> notes;
        std::optional<RecordingPart> before;
        for (std::string const& file : files) {
            before = verifyFile(file, before, verifier, notes);
        }
        Verification result = verifier.result();
        result.notes = std::move(notes);
        return result;
    });
}

}  // namespace Replay
