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
        } else {
            compare(std::get<RecordedCall>(event));
        }
    }

    Json result() const {
        return {
            {"calls", mCalls}, {"selectors", mSelectorCount}, {"differing", mDiffering}, {"differences", mTexts}};
    }

  private:
    void compare(RecordedCall const& call) {
        ++mCalls;
        auto const out = mSelectors.at(call.selector)->select(call.input.in);
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
    std::vector<std::string> mTexts;
};

/// In a process of its own: what came of a recording, or {"error"}, with "fatal" when no other will fare better.
std::string verifyFile(std::string const& path, std::string const& pluginPath) {
    try {
        errno = 0;
        std::ifstream file(path, std::ios::binary);
        if (!file || file.peek() == std::ifstream::traits_type::eof()) {
            throw InputError(path + ": " + (errno != 0 ? std::strerror(errno) : "empty; expected a recording"));
        }
        NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
        NSCam::Utils::Properties::clear();
        NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
        Plugin const plugin(pluginPath);
        RecordingReader reader(file, path);
        Json result;
        {
            Verification verification(plugin);
            while (auto const event = reader.next()) {
                verification.take(*event);
            }
            result = verification.result();
        }
        result["notes"] = reader.notes();
        return result.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (PluginError const& error) {
        return Json{{"error", error.what()}, {"fatal", true}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (InputError const& error) {
        return Json{{"error", error.what()}, {"fatal", false}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (BrokenPlugin const& error) {
        return Json{{"error", path + ": " + error.what()}, {"fatal", false}}.dump();
    } catch (...) {
        return Json{{"error", path + ": the plug-in threw an exception"}, {"fatal", false}}.dump();
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
    if (differing == 0) {
        std::cout << "all answers as recorded" << std::endl;
        return;
    }
    ++sums.differing;
    std::cout << differing << " answers differ\n";
    for (auto const& text : result.at("differences")) {
        std::cout << "  " << text.get<std::string>() << '\n';
    }
    if (differing > kShownDifferences) {
        std::cout << "  and " << differing - kShownDifferences << " more\n";
    }
    std::cout << std::flush;
}

int verify(Arguments const& arguments) {
    auto const files = filesOf(arguments.inputs);
    Sums sums;
    Progress progress;
    size_t done = 0;
    Workers workers(arguments.jobs, [&](size_t task, std::string const& answer, std::string const& failure) {
        progress.clear();
        tell(files[task], files.size() == 1,
             failure.empty() ? Json::parse(answer)
                             : Json{{"error", files[task] + ": the plug-in broke: " + failure}, {"fatal", false}},
             sums);
        ++done;
        progress.show(std::to_string(done) + " of " + std::to_string(files.size()) + " recordings verified");
    });
    for (size_t index = 0; index < files.size() && !sums.isFatal; ++index) {
        workers.start(index, [&] { return verifyFile(files[index], arguments.plugin); });
    }
    workers.finish();
    progress.clear();
    if (files.size() > 1 && !sums.isFatal) {
        std::cout << files.size() << " recordings: " << files.size() - sums.differing - sums.failed
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
