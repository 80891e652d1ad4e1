// zsl-replay verify: makes recorded calls again, and compares every answer.
#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "CommandSupport.h"
#include "Commands.h"
#include "PlayOptions.h"
#include "replay/input/RecordedCalls.h"
#include "replay/run/Workers.h"
#include "replay/selector/Plugin.h"

namespace Replay {

namespace {

using Json = nlohmann::json;
using NSCam::ZslPolicy::kNoFrame;

constexpr size_t kShownDifferences = 5;

struct Arguments {
    std::vector<std::string> inputs;
    std::string plugin = PlayOptions().plugin;
    size_t jobs = 1;
};

/// An answer in words: "F24 and lock F25", "waits".
std::string wordsOf(ISelector::SelectOutputParams const& out) {
    std::string text;
    auto const add = [&](std::string const& part) { text += (text.empty() ? "" : ", ") + part; };
    for (auto const& [index, result] : out.selectedFrames) {
        std::string const frame = result.frameNo == kNoFrame ? "none" : "F" + std::to_string(result.frameNo);
        add(out.selectedFrames.size() == 1 && index == 0 ? frame : "[" + std::to_string(index) + "] " + frame);
    }
    if (text.empty()) {
        text = "waits";
    }
    for (auto const& [frameNo, operation] : out.frameOps) {
        add((operation == ISelector::OpT::Lock ? "lock F" : "unlock F") + std::to_string(frameNo));
    }
    return text;
}

bool areEqual(ISelector::SelectOutputParams const& left, ISelector::SelectOutputParams const& right) {
    auto const sameFrame = [](auto const& one, auto const& other) {
        return one.first == other.first && one.second.frameNo == other.second.frameNo &&
               one.second.reserved == other.second.reserved;
    };
    return left.frameOps == right.frameOps && left.frameNoSet == right.frameNoSet &&
           left.selectedFrames.size() == right.selectedFrames.size() &&
           std::equal(left.selectedFrames.begin(), left.selectedFrames.end(), right.selectedFrames.begin(),
                      sameFrame);
}

/// Makes the calls of one recording again, in this process.
class Verification {
  public:
    explicit Verification(Plugin const& plugin) : mPlugin(plugin) {}

    void take(RecordedEvent const& event) {
        if (auto const* const properties = std::get_if<RecordedProperties>(&event)) {
            for (auto const& [name, value] : *properties) {
                NSCam::Utils::Properties::set(name, value);
            }
        } else if (auto const* const selector = std::get_if<RecordedSelector>(&event)) {
            if (selector->isMade) {
                ++mSelectorCount;
                mSelectors[selector->number] = mPlugin.makeSelector();
                if (mSelectors[selector->number] == nullptr) {
                    throw BrokenPlugin("the plug-in's createCustomSelector leaves the pointer null");
                }
            } else {
                mSelectors.erase(selector->number);
            }
        } else if (auto const* const gap = std::get_if<RecordedGap>(&event)) {
            if (mGap.empty()) {
                mGap = "from call " + std::to_string(gap->call) + " on: " + gap->reason;
            }
        } else {
            compare(std::get<RecordedCall>(event));
        }
    }

    Json result() const {
        return {{"calls", mCalls},       {"selectors", mSelectorCount}, {"differing", mDiffering},
                {"differences", mTexts}, {"unsure", mUnsure},           {"why", mWhy}};
    }

  private:
    void compare(RecordedCall const& call) {
        ++mCalls;
        auto const out = mSelectors.at(call.selector)->select(call.input.in);
        if (!mGap.empty() || call.isOfSharedState) {
            ++mUnsure;
            if (mWhy.empty()) {
                mWhy = !mGap.empty() ? mGap
                                     : "of hint 4, from call " + std::to_string(call.number) +
                                           " on: other selectors of the process share its phase";
            }
            return;
        }
        if (areEqual(out, call.out)) {
            return;
        }
        if (++mDiffering <= kShownDifferences) {
            mTexts.push_back("call " + std::to_string(call.number) + ", R" +
                             std::to_string(call.input.in.requestNo) + " after " +
                             std::to_string(call.input.in.elapsedMs) + " ms: recorded " + wordsOf(call.out) +
                             "; now " + wordsOf(out));
        }
    }

    Plugin const& mPlugin;
    std::map<uint64_t, std::shared_ptr<ISelector>> mSelectors;
    size_t mCalls = 0;
    size_t mSelectorCount = 0;
    size_t mDiffering = 0;
    size_t mUnsure = 0;  // calls whose answer depends on what is not recorded
    std::string mGap;    // since when the selector's state is not known, and why
    std::string mWhy;    // of the first of mUnsure
    std::vector<std::string> mTexts;
};

/// In a process of its own: what came of the files of a recording, or {"error"}, with "fatal" when no other will
/// fare better.
std::string verifyFiles(std::vector<std::string> const& paths, std::string const& pluginPath) {
    try {
        NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
        NSCam::Utils::Properties::clear();
        NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
        Plugin const plugin(pluginPath);
        Verification verification(plugin);
        std::vector<std::string> notes;
        std::optional<RecordingPart> before;
        for (std::string const& path : paths) {
            errno = 0;
            std::ifstream file(path, std::ios::binary);
            if (!file || file.peek() == std::ifstream::traits_type::eof()) {
                throw InputError(path + ": " + (errno != 0 ? std::strerror(errno) : "empty; expected a recording"));
            }
            RecordingReader reader(file, path, before);
            while (auto const event = reader.next()) {
                verification.take(*event);
            }
            before = reader.part();
            notes.insert(notes.end(), reader.notes().begin(), reader.notes().end());
        }
        Json result = verification.result();
        result["notes"] = notes;
        return result.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (PluginError const& error) {
        return Json{{"error", error.what()}, {"fatal", true}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (InputError const& error) {
        return Json{{"error", error.what()}, {"fatal", false}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (BrokenPlugin const& error) {
        return Json{{"error", paths.front() + ": " + error.what()}, {"fatal", false}}.dump();
    } catch (...) {
        return Json{{"error", paths.front() + ": the plug-in threw an exception"}, {"fatal", false}}.dump();
    }
}

struct Sums {
    size_t differing = 0;  // recordings
    size_t failed = 0;
    bool isFatal = false;
};

void tell(std::string const& path, bool isAlone, Json const& result, Sums& sums) {
    if (result.contains("error")) {
        ++sums.failed;
        if (!sums.isFatal) {
            std::cerr << "zsl-replay: " << result.at("error").get<std::string>() << '\n';
        }
        sums.isFatal = sums.isFatal || result.at("fatal");
        return;
    }
    for (auto const& note : result.at("notes")) {
        std::cerr << "zsl-replay: note: " << note.get<std::string>() << '\n';
    }
    std::cout << (isAlone ? "" : path + ": ") << result.at("calls") << " calls of " << result.at("selectors")
              << " selectors: ";
    size_t const differing = result.at("differing");
    size_t const unsure = result.at("unsure");
    std::string const others = unsure == 0 ? ""
                                           : "; " + std::to_string(unsure) + " cannot be vouched for (" +
                                                 result.at("why").get<std::string>() + ")";
    if (differing == 0) {
        std::cout << (unsure == 0                    ? "all"
                      : unsure == result.at("calls") ? "no"
                                                     : "the other")
                  << " answers as recorded" << others << std::endl;
        return;
    }
    ++sums.differing;
    std::cout << differing << " answers differ" << others << '\n';
    for (auto const& text : result.at("differences")) {
        std::cout << "  " << text.get<std::string>() << '\n';
    }
    if (differing > kShownDifferences) {
        std::cout << "  and " << differing - kShownDifferences << " more\n";
    }
    std::cout << std::flush;
}

int verify(Arguments const& arguments) {
    auto const recordings = seriesOf(filesOf(arguments.inputs));
    Sums sums;
    Progress progress;
    size_t done = 0;
    Workers workers(arguments.jobs, [&](size_t task, std::string const& answer, std::string const& failure) {
        progress.clear();
        std::string const& name = recordings[task].front();
        tell(name, recordings.size() == 1,
             failure.empty() ? Json::parse(answer)
                             : Json{{"error", name + ": the plug-in broke: " + failure}, {"fatal", false}},
             sums);
        ++done;
        progress.show(std::to_string(done) + " of " + std::to_string(recordings.size()) + " recordings verified");
    });
    for (size_t index = 0; index < recordings.size() && !sums.isFatal; ++index) {
        workers.start(index, [&] { return verifyFiles(recordings[index], arguments.plugin); });
    }
    workers.finish();
    progress.clear();
    if (recordings.size() > 1 && !sums.isFatal) {
        std::cout << recordings.size() << " recordings: " << recordings.size() - sums.differing - sums.failed
                  << " as recorded, " << sums.differing << " differ, " << sums.failed << " failed\n";
    }
    return sums.differing > 0 ? kExitDiffers : sums.failed > 0 ? kExitFailed : 0;
}

}  // namespace

std::function<int()> addVerify(CommandLine& line) {
    auto const arguments = std::make_shared<Arguments>();
    arguments->jobs = std::max(1U, std::thread::hardware_concurrency());
    line.addInputs("FILE", "Recordings, and folders of them",
                   [arguments](std::string const& text) { arguments->inputs.push_back(text); });
    line.add("--plugin", "FILE", "The plug-in library (default: the one of this build)",
             [arguments](std::string const& text) { arguments->plugin = text; });
    line.add("--jobs", "COUNT", "How many processes verify at once (default: as many as processors)",
             [arguments](std::string const& text) {
                 arguments->jobs = static_cast<size_t>(wholeNumber(text, "--jobs", 1, 1024));
             });
    return [arguments] { return verify(*arguments); };
}

}  // namespace Replay
