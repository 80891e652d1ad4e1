#include "Logcat.h"

#include <algorithm>
#include <sstream>

namespace Replay {

namespace {

constexpr char const* kTag = "SampleSelector";
constexpr size_t kTagLength = 14;

bool isNumber(std::string const& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

bool isLevel(std::string const& text) {
    return text.size() == 1 && std::string("VDIWEFA").find(text[0]) != std::string::npos;
}

/// What stands in front of the tag: the last words say process, thread and level.
bool readHead(std::string const& head, LogcatLine& read) {
    if (head.empty()) {
        return false;
    }
    if (head.back() == '/') {  // time, brief, tag: "... D/"
        std::string const level = head.substr(head.size() < 2 ? 0 : head.size() - 2, 1);
        read.level = level[0];
        return isLevel(level) && (head.size() == 2 || head[head.size() - 3] == ' ');
    }
    std::istringstream stream(head);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    size_t const count = words.size();
    if (head.back() != ' ' || count < 3 || !isLevel(words[count - 1]) || !isNumber(words[count - 2]) ||
        !isNumber(words[count - 3])) {
        return false;
    }
    read.level = words[count - 1][0];
    read.thread = words[count - 2];
    read.process = words[count - 3];
    return true;
}

/// A request in the log, the calls of which are still being read.
struct OpenRequest {
    uint32_t requestNo = 0;
    Explainer explainer;
    CallStory last;  // not yet told: that another call follows says how it ended
};

/// The calls of one process.
class ProcessReader {
  public:
    ProcessReader(std::string id, bool hasDebug) : mId(std::move(id)), mHasDebug(hasDebug) {}

    void take(LogcatLine const& line) {
        CallReader& reader = mReaders.try_emplace(line.thread, mHasDebug).first->second;
        if (reader.beginsCall(line.text)) {
            add(reader.endCall());
        }
        reader.take(line.text);
    }

    LoggedProcess end() {
        for (auto& entry : mReaders) {
            add(entry.second.endCall());
        }
        LoggedProcess process{mId, mHasDebug, {}};
        for (OpenRequest& request : mRequests) {
            request.explainer.add(std::move(request.last));
            process.requests.push_back({request.requestNo, request.explainer.explain()});
        }
        return process;
    }

  private:
    void add(CallStory call) {
        if (!call.isNamed) {
            return;
        }
        auto const known = mOpen.find(call.requestNo);
        if (known != mOpen.end()) {
            OpenRequest& request = mRequests[known->second];
            // A request that has its frames, or waits for a shorter time than before, has come anew.
            if (!request.last.isServed && request.last.waitedMs <= call.waitedMs) {
                request.last.isEndKnown = true;
                request.explainer.add(std::move(request.last));
                request.last = std::move(call);
                return;
            }
        }
        mOpen[call.requestNo] = mRequests.size();
        mRequests.push_back({call.requestNo, Explainer(mTimestamps), std::move(call)});
    }

    std::string mId;
    bool mHasDebug;
    std::map<std::string, CallReader> mReaders;  // by thread
    std::map<uint32_t, size_t> mOpen;            // by request number
    std::vector<OpenRequest> mRequests;
    std::shared_ptr<Timestamps> mTimestamps = std::make_shared<Timestamps>();
};

}  // namespace

std::optional<LogcatLine> readLogcatLine(std::string const& line) {
    LogcatLine read;
    size_t const tag = line.find(kTag);
    if (tag == std::string::npos || !readHead(line.substr(0, tag), read)) {
        return std::nullopt;
    }
    size_t place = line.find_first_not_of(' ', tag + kTagLength);
    if (place != std::string::npos && line[place] == '(') {
        size_t const close = line.find(')', place);
        if (close == std::string::npos) {
            return std::nullopt;
        }
        size_t const number = line.find_first_not_of(' ', place + 1);
        read.process = line.substr(number, close - number);
        place = line.find_first_not_of(' ', close + 1);
    }
    if (place == std::string::npos || line[place] != ':') {
        return std::nullopt;
    }
    size_t const text = line.find_first_not_of(' ', place + 1);
    read.text = text == std::string::npos ? "" : line.substr(text);
    if (!read.text.empty() && read.text.back() == '\r') {
        read.text.pop_back();
    }
    return read;
}

std::vector<LoggedProcess> readLogcat(std::string const& text) {
    std::vector<LogcatLine> lines;
    std::vector<std::string> ids;  // in the order of their first lines
    std::map<std::string, bool> hasDebug;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (auto read = readLogcatLine(line)) {
            if (hasDebug.count(read->process) == 0) {
                ids.push_back(read->process);
            }
            bool& debug = hasDebug[read->process];
            debug = debug || (read->level == 'D' && isSelectorDebug(read->text));
            lines.push_back(std::move(*read));
        }
    }
    std::map<std::string, ProcessReader> readers;
    for (LogcatLine const& line : lines) {
        readers.try_emplace(line.process, line.process, hasDebug[line.process]).first->second.take(line);
    }
    std::vector<LoggedProcess> processes;
    processes.reserve(ids.size());
    for (std::string const& id : ids) {
        processes.push_back(readers.at(id).end());
    }
    return processes;
}

}  // namespace Replay
