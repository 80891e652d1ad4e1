#include "Logcat.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>

namespace Replay {

namespace {

constexpr std::string_view kTag = "SampleSelector";
constexpr std::string_view kChatty = "chatty";

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isLevel(std::string_view text) {
    return text.size() == 1 && std::string_view("VDIWEFA").find(text[0]) != std::string_view::npos;
}

/// Takes the last word off the text.
std::string_view takeWord(std::string_view& text) {
    size_t const last = text.find_last_not_of(" \t");
    text = text.substr(0, last == std::string_view::npos ? 0 : last + 1);
    size_t const before = text.find_last_of(" \t");
    size_t const begin = before == std::string_view::npos ? 0 : before + 1;
    std::string_view const word = text.substr(begin);
    text = text.substr(0, begin);
    return word;
}

/// What stands in front of the tag: the last words say process, thread and level.
bool readHead(std::string_view head, LogcatLine& read) {
    if (head.empty()) {
        return false;
    }
    if (head.back() == '/') {  // time, brief, tag: "... D/"
        std::string_view const level = head.substr(head.size() < 2 ? 0 : head.size() - 2, 1);
        read.level = level[0];
        return isLevel(level) && (head.size() == 2 || head[head.size() - 3] == ' ');
    }
    bool const isApart = head.back() == ' ';
    std::string_view const level = takeWord(head);
    std::string_view const thread = takeWord(head);
    std::string_view const process = takeWord(head);
    if (!isApart || !isLevel(level) || !isNumber(thread) || !isNumber(process)) {
        return false;
    }
    read.level = level[0];
    read.thread = thread;
    read.process = process;
    return true;
}

/// Without the sequences that colour a terminal.
std::string withoutColour(std::string_view line) {
    std::string text;
    for (size_t place = 0; place < line.size();) {
        size_t const escape = std::min(line.find("\x1b[", place), line.size());
        text += line.substr(place, escape - place);
        size_t const end = line.find_first_not_of("0123456789;", std::min(escape + 2, line.size()));
        place = end == std::string_view::npos ? line.size() : end + 1;
    }
    return text;
}

/// What a line of chatty says is not there, "60 lines"; empty: nothing.
std::string dropped(std::string_view text) {
    for (std::string_view const word : {" expire ", " identical "}) {
        if (auto const count = numberAfter<uint64_t>(text, word)) {
            return fmt::format("{}{}{}", *count, word == " expire " ? "" : " identical",
                               *count == 1 ? " line" : " lines");
        }
    }
    return "";
}

std::string placeOf(CallStory const& call) { return fmt::format("R{} after {} ms", call.requestNo, call.waitedMs); }

/// A request in the log, the calls of which are still being read.
struct OpenRequest {
    uint32_t requestNo = 0;
    std::string thread;
    size_t line;  // of its first call
    Explainer explainer;
    CallStory last;  // not yet told: that another call follows says how it ended
};

/// What has to be known of a process before its calls can be told apart.
struct ProcessFacts {
    bool hasDebug = false;
    bool hasLines = false;
    bool isOfOneSelector = false;  ///< at a time, as far back as the log goes
    std::set<std::string> alive;   ///< the selectors, by their addresses
    std::set<std::string> threads;

    void take(LogcatLine const& line) {
        hasDebug = hasDebug || (line.level == 'D' && isSelectorDebug(line.text));
        threads.insert(line.thread);
        bool const isMade = startsWith(line.text, "[SampleSelector] ");
        isOfOneSelector = hasLines ? isOfOneSelector : isMade;
        hasLines = true;
        if (isMade || startsWith(line.text, "[~SampleSelector] ")) {
            count(line.text, isMade);
        }
        isOfOneSelector = isOfOneSelector && alive.size() <= 1;
    }

    /// Answers whether no selector is left.
    bool count(std::string const& text, bool isMade) {
        std::string const address = text.substr(std::min(text.find("tor("), text.size()));
        std::string const id = address.substr(0, address.find(')'));
        isMade ? (void)alive.insert(id) : (void)alive.erase(id);
        return alive.empty();
    }
};

/// The calls of one process.
class ProcessReader {
  public:
    ProcessReader(std::string id, ProcessFacts const& facts) : mId(std::move(id)), mFacts(facts) {
        mFacts.alive.clear();
    }

    void take(LogcatLine const& line) {
        Thread& thread = threadOf(line.thread);
        thread.line = thread.reader.isReading() ? thread.line : mLine + 1;
        if (line.isOfChatty) {
            takeGap(thread, line);
            return;
        }
        if (startsWith(line.text, "[SampleSelector] ") || startsWith(line.text, "[~SampleSelector] ")) {
            if (mFacts.count(line.text, line.text[1] != '~')) {
                forgetAll();
            }
            return;
        }
        ++mLine;
        if (auto const before = thread.reader.take(line.text)) {
            add(line.thread, before);
            thread.line = mLine;
        }
        if (!thread.openGap.empty() && thread.reader.call().isNamed) {
            closeGap(thread, "and " + placeOf(thread.reader.call()));
        }
    }

    LoggedProcess end() {
        for (auto& [name, thread] : mThreads) {
            add(name, thread.reader.endCall());
            closeGap(thread, "and the end of the log");
        }
        bool const isThreadTold = mFacts.threads.size() > 1 && !mFacts.isOfOneSelector;
        LoggedProcess process{mId, mFacts.hasDebug, {}, std::move(mNotes)};
        std::stable_sort(mRequests.begin(), mRequests.end(),
                         [](OpenRequest const& left, OpenRequest const& right) { return left.line < right.line; });
        for (OpenRequest& request : mRequests) {
            request.explainer.add(std::move(request.last));
            process.requests.push_back(
                {request.requestNo, request.explainer.explain(isThreadTold ? ", thread " + request.thread : "")});
        }
        return process;
    }

  private:
    struct Thread {
        explicit Thread(LogSource source) : reader(source) {}

        CallReader reader;
        std::string lastPlace = "the beginning of the log";
        size_t line = 0;      // where the present call begins
        std::string openGap;  // of which the call behind it has not been named yet
    };

    Thread& threadOf(std::string const& name) {
        return mThreads.try_emplace(name, mFacts.hasDebug ? LogSource::Logcat : LogSource::LogcatNoDebug)
            .first->second;
    }

    std::string selectorOf(std::string const& thread) const { return mFacts.isOfOneSelector ? "" : thread; }

    void takeGap(Thread& thread, LogcatLine const& line) {
        std::string const what = dropped(line.text);
        if (what.empty()) {
            return;
        }
        if (thread.reader.isReading() && thread.reader.call().isNamed) {
            thread.lastPlace = placeOf(thread.reader.call());
        }
        closeGap(thread, "and more that is missing");
        thread.openGap = fmt::format("process {}{}: {} dropped by the log (chatty), between {} ", mId,
                                     line.thread.empty() ? "" : ", thread " + line.thread, what, thread.lastPlace);
        thread.reader.takeGap("the log has dropped " + what + " here");
    }

    void closeGap(Thread& thread, std::string const& end) {
        if (!thread.openGap.empty()) {
            mNotes.push_back(thread.openGap + end);
            thread.openGap.clear();
        }
    }

    /// The last selector is gone: the same numbers are other requests and frames from now on.
    void forgetAll() {
        for (auto& [name, thread] : mThreads) {
            add(name, thread.reader.endCall());
            thread.reader.forgetBursts();
        }
        mOpen.clear();
        mTimestamps.clear();
    }

    void add(std::string const& thread, std::optional<CallStory> ended) {
        if (!ended || !ended->isNamed) {
            return;
        }
        CallStory& call = *ended;
        threadOf(thread).lastPlace = placeOf(call);
        std::string const selector = selectorOf(thread);
        auto const known = mOpen.find({selector, call.requestNo});
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
        auto& timestamps = mTimestamps[selector];
        timestamps = timestamps ? timestamps : std::make_shared<Timestamps>();
        mOpen[{selector, call.requestNo}] = mRequests.size();
        mRequests.push_back(
            {call.requestNo, thread, threadOf(thread).line, Explainer(timestamps), std::move(call)});
    }

    std::string mId;
    ProcessFacts mFacts;
    size_t mLine = 0;
    std::map<std::string, Thread> mThreads;
    std::map<std::pair<std::string, uint32_t>, size_t> mOpen;  // by selector and request number
    std::vector<OpenRequest> mRequests;
    std::map<std::string, std::shared_ptr<Timestamps>> mTimestamps;  // by selector
    std::vector<std::string> mNotes;
};

/// The line as one of this tag; nothing: it is none.
std::optional<LogcatLine> readLine(std::string_view line, std::string_view tag) {
    LogcatLine read;
    size_t const at = line.find(tag);
    if (at == std::string_view::npos || !readHead(line.substr(0, at), read)) {
        return std::nullopt;
    }
    size_t place = line.find_first_not_of(' ', at + tag.size());
    if (place != std::string_view::npos && line[place] == '(') {
        size_t const close = line.find(')', place);
        size_t const number = line.find_first_not_of(' ', place + 1);
        if (close == std::string_view::npos) {
            return std::nullopt;
        }
        read.process = line.substr(number, close - number);
        place = line.find_first_not_of(' ', close + 1);
    }
    if (place == std::string_view::npos || line[place] != ':') {
        return std::nullopt;
    }
    size_t const text = line.find_first_not_of(' ', place + 1);
    read.text = text == std::string_view::npos ? "" : line.substr(text);
    read.isOfChatty = tag == kChatty;
    return read;
}

}  // namespace

std::optional<LogcatLine> readLogcatLine(std::string_view line) {
    if (!contains(line, kTag) && !contains(line, kChatty)) {
        return std::nullopt;
    }
    std::string plain = withoutColour(line);
    if (!plain.empty() && plain.back() == '\r') {
        plain.pop_back();
    }
    auto read = readLine(plain, kTag);
    return read ? read : readLine(plain, kChatty);
}

std::vector<LoggedProcess> readLogcat(std::string const& text) {
    std::vector<LogcatLine> lines;
    std::vector<std::string> ids;  // in the order of their first lines
    std::map<std::string, ProcessFacts> facts;
    for (size_t begin = 0; begin < text.size();) {
        size_t const end = std::min(text.find('\n', begin), text.size());
        if (auto read = readLogcatLine(std::string_view(text).substr(begin, end - begin))) {
            if (!read->isOfChatty) {
                ProcessFacts& process = facts[read->process];
                if (!process.hasLines) {
                    ids.push_back(read->process);
                }
                process.take(*read);
            }
            lines.push_back(std::move(*read));
        }
        begin = end + 1;
    }
    std::map<std::string, ProcessReader> readers;
    for (LogcatLine const& line : lines) {
        auto const known = facts.find(line.process);  // chatty tells of others, too
        if (known != facts.end() && (!line.isOfChatty || known->second.threads.count(line.thread) != 0)) {
            readers.try_emplace(line.process, line.process, known->second).first->second.take(line);
        }
    }
    std::vector<LoggedProcess> processes;
    processes.reserve(ids.size());
    for (std::string const& id : ids) {
        processes.push_back(readers.at(id).end());
    }
    return processes;
}

}  // namespace Replay
