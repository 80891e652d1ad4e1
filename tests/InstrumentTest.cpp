// The log understood, explanations, pictures and comparisons.
#include <vzrcam/LogSink.h>

#include <filesystem>
#include <random>

#include <nlohmann/json.hpp>

#include "Desk.h"
#include "replay/explain/Logcat.h"
#include "replay/model/Printable.h"
#include "replay/report/Markup.h"
#include "replay/report/Numbers.h"
#include "replay/report/Page.h"
#include "replay/report/TimeAxis.h"
#include "replay/report/Trace.h"
#include "replay/sweep/Sweep.h"

namespace ZslTest {
namespace {

using namespace Replay;

TEST(CallReader, Reasons) {
    std::string const request = "[f] [r1,0/9ms]<ispHidl>IspHidl(0/2) ";
    std::pair<std::vector<std::string>, char const*> const cases[] = {
        {{"[isAFStable] AF fail: afMode=4 afState=1 lensState=1", "[isQualify] hf[F8] AF X"}, "AF scanning"},
        {{"[isAFStable] AF fail: afMode=4 afState=2 lensState=1", "[isQualify] hf[F8] AF X"}, "AF lens moving"},
        {{"[isAFStable] tag(0x10007) not found! (isAFStable)", "[isQualify] hf[F8] AF X"}, "AF afMode absent"},
        {{"[isMatched] [isAEStable] tag(0x1001f) val=1 target=2,3 bc=0", "[isQualify] hf[F8] AE X"},
         "AE searching"},
        {{"[isQualify] hf[F7] (soft) AE X", "[isQualify] hf[F8] does not include tareget EV=3"}, "EV"},
        {{"[isQualify] hf[F7] FrameSync X", request + "cannot get continuous hfs"}, "sensors not in sync"},
        {{"[isQualify] hf[F8] OK", request + "MAPPING: (Verify failed! operate at R1)"}, "verification failed"},
        {{request + "DEBUG: not pre-collect, IspHidlReqObj={index=null }, send to pending"}, "other phase"},
        {{request + "DEBUG: cannot select R2 (FIFO), needSelectReqs={R1 R2 }"}, "not its turn"},
        {{"[isQualify] hf[F8] OK", request + "select #1/1 hfs"}, "its frame in flight"},
        {{request + "zsdTs(12"}, ""},  // cut: it may have been served
        {{"[isQualify] hf[F8] A"}, ""},
        {{"[mult"}, ""}};
    for (auto const& [lines, text] : cases) {
        CallReader reader;
        for (std::string const& line : lines) {
            reader.take(line);
        }
        EXPECT_EQ(reader.endCall().reason.name, text) << lines.back();
    }
}

/// Some requests of bundled sessions that meet what there is to tell.
std::vector<std::pair<std::string, std::vector<RequestNo>>> const kTold = {{"time-out", {900}},
                                                                           {"fifo-out-of-order", {902}},
                                                                           {"latest-verify-fails", {902, 903}},
                                                                           {"quality-none-passes", {900}},
                                                                           {"mfnr-hdr", {903}}};

TEST(Explain, BundledSessionsInWords) {
    std::string told;
    for (auto const& [name, requests] : kTold) {
        Session session;
        HostOptions options;
        PlayedSession const played = playFile(SESSIONS "/" + name + ".json", session, options, true);
        for (size_t index = 0; index < session.requests.size(); ++index) {
            Outcome const& outcome = played.result.outcomes[index];
            if (std::count(requests.begin(), requests.end(), outcome.request->requestNo) != 0) {
                told += name + ": " + played.explanations[index].text() + '\n';
            }
        }
    }
    expectFile("explained.txt", told);
}

/// The host knows when each frame was exposed, a log's reader only what the lines say.
std::string withoutOffsets(std::string text) {
    for (size_t end = 0; (end = text.find(" ms from the shutter)")) != std::string::npos;) {
        size_t const begin = text.rfind(" (", end);
        text.erase(begin, text.find(')', end) + 1 - begin);
    }
    return text;
}

/// The forms of logcat: what stands before a line's level, and behind it.
std::pair<std::string, std::string> const kForms[] = {
    {"01-01 00:00:01.225  77  78 ", " SampleSelector: "},
    {"2026-01-01 00:00:01.225123 +0100 root  77  78 ", " SampleSelector: "},
    {"01-01 00:00:01.225 ", "/SampleSelector(   77): "},
    {"", "/SampleSelector: "}};

TEST(Explain, ALogcatTellsTheSame) {
    for (char const* const name : {"time-out", "fifo-out-of-order", "quality-none-passes", "mfnr-hdr"}) {
        Session session;
        HostOptions options;
        options.log = std::make_shared<LogFile>();
        PlayedSession const played = playFile(SESSIONS "/" + std::string(name) + ".json", session, options, true);
        SessionResult const& result = played.result;
        for (auto const& [before, behind] : kForms) {
            std::string log = "--------- beginning of main\n01-01 00:00:00.000  1  1 I Other: SampleSelector: no\n";
            played.log->forEach([&, before = &before, behind = &behind](LogLine const& line) {
                char const level = NSCam::Utils::Log::priorityLetter(line.priority);
                log += *before;
                log += level + *behind + line.text + "\r\n";
                // Another process writes the same in between.
                log +=
                    std::string("01-01 00:00:00.000  4711  4711 ") + level + " SampleSelector: " + line.text + '\n';
            });
            auto const processes = readLogcat(log);
            ASSERT_EQ(processes.size(), 2U);
            for (LoggedProcess const& process : processes) {
                EXPECT_TRUE(process.hasDebug);
                ASSERT_EQ(process.requests.size(), result.outcomes.size());
                for (LoggedRequest const& request : process.requests) {
                    auto const at =
                        std::find_if(result.outcomes.begin(), result.outcomes.end(), [&](Outcome const& candidate) {
                            return candidate.request->requestNo == request.requestNo;
                        });
                    auto const index = static_cast<size_t>(at - result.outcomes.begin());
                    EXPECT_EQ(withoutOffsets(request.explanation.text()),
                              withoutOffsets(played.explanations.at(index).text()))
                        << log.substr(0, 200);
                }
            }
        }
    }
}

/// Whether `said`, of a log that lacks lines, says nothing that this call of the whole log does not say. When many
/// lines are missing, a frame's lines may be taken for those of the next one.
bool isPartOf(CallStory const& said, CallStory const& whole, bool isStrict) {
    auto const isReason = [&](Reason const& reason, Reason const& other) {
        return reason.kind == other.kind &&
               (!isStrict || startsWith(other.words, reason.words.substr(0, reason.words.find(')'))));
    };
    auto const isSaid = [&](auto const& isIt) {
        return std::any_of(whole.verdicts.begin(), whole.verdicts.end(), isIt);
    };
    bool const isWhy = !said.isEndKnown || !said.reason || isReason(said.reason, whole.reason) ||
                       said.reason.kind == ReasonKind::TimedOut ||
                       said.reason.kind == ReasonKind::WentNonZslBefore ||
                       isSaid([&](Verdict const& verdict) { return isReason(said.reason, verdict.reason); });
    bool const isAnswer = !said.isServed || said.unnamed > 0 || said.selected == whole.selected;
    return said.requestNo == whole.requestNo && said.waitedMs == whole.waitedMs && isWhy &&
           (!said.isEndKnown || (said.isServed == whole.isServed && isAnswer)) &&
           std::all_of(said.verdicts.begin(), said.verdicts.end(), [&](Verdict const& verdict) {
               return !isStrict || isSaid([&](Verdict const& other) {
                   return other.frameNo == verdict.frameNo && other.isUnchecked == verdict.isUnchecked &&
                          isReason(verdict.reason, other.reason);
               });
           });
}

TEST(Explain, MissingLinesInventNothing) {
    constexpr size_t kSubsets = 100;
    for (auto const& file : std::filesystem::directory_iterator(SESSIONS)) {
        Session session;
        HostOptions options;
        options.log = std::make_shared<LogFile>();
        std::vector<CallStory> calls;
        options.onCall = [&](size_t, CallStory const& call) { calls.push_back(call); };
        std::vector<LogLine> log;
        playFile(file.path(), session, options).log->forEach([&](LogLine const& line) { log.push_back(line); });
        std::mt19937 random(7);
        // The whole log; a short one without each of its lines; then without more and more lines.
        size_t const single = log.size() < 1000 ? log.size() + 1 : 1;
        size_t knownOfAll = 0;
        for (size_t trial = 0; trial < single + kSubsets; ++trial) {
            CallReader reader(LogSource::Logcat);
            size_t known = 0;
            auto const check = [&](std::optional<CallStory> const& call) {
                if (call && call->isNamed) {
                    known += call->isEndKnown ? 1 : 0;
                    EXPECT_TRUE(
                        std::any_of(calls.begin(), calls.end(),
                                    [&](CallStory const& whole) { return isPartOf(*call, whole, trial < single); }))
                        << file.path() << " trial " << trial << ": R" << call->requestNo << " after "
                        << call->waitedMs;
                }
            };
            for (size_t index = 0; index < log.size(); ++index) {
                if (trial < single ? index + 1 != trial : random() % kSubsets >= trial - single) {
                    check(reader.take(log[index].text));
                }
            }
            check(reader.endCall());
            knownOfAll = trial == 0 ? known : knownOfAll;
            EXPECT_TRUE(trial >= single || known + 2 >= knownOfAll) << file.path() << " trial " << trial;
        }
    }
}

TEST(Explain, LogsThatLackLines) {
    std::string const head = "01-01 00:00:00.000  1  1 ";
    std::string const request = "[r9,20/1000ms]<multiFrame> ";
    std::string const info = head + "I SampleSelector: [select] " + request + "INFO: hint=0, policy=None\n";
    struct {
        std::string log;
        char const* closing;
    } const cases[] = {
        {info, "R9 was presented for 20 ms; what its last call answered is not in this log."},
        {info + head + "D SampleSelector: [multiFrameSelect] " + request + "select #1/1",
         "R9 was presented for 20 ms; what its last call answered is not in this log."},
        {info + head + "I SampleSelector: [multiFrameSelect] " + request +
             "zsdTs(5) => hf[null], do pending directly",
         "R9 still waited after 20 ms because the frame at the shutter had not arrived yet (1 call)."},
        {info + head + "I SampleSelector: [isQualify] TIMEOUT: take hf[F3] without checking quality\n" + head +
             "D SampleSelector: [multiFrameSelect] " + request + "select #1/2 hfs\n" + head +
             "W SampleSelector: [multiFrameSelect] " + request + "TIMEOUT: sel(#1) < zf(#2), change to non-Zsl",
         "R9 waited 20 ms, past the time-out of 1000 ms, because too few fit frames had come by the time-out (1 "
         "call); then it took F3 without checking quality: of the history, oldest first, the first with the needed "
         "streams and "
         "sensor modes; 1 more are captured without ZSL."}};
    for (auto const& one : cases) {
        auto const processes = readLogcat(one.log);
        ASSERT_EQ(processes.size(), 1U);
        ASSERT_EQ(processes[0].requests.size(), 1U);
        EXPECT_EQ(processes[0].requests[0].explanation.closing, one.closing);
    }
    // Two selectors on two threads; colours; lines that the log dropped; numbers that no type holds.
    auto const line = [](char const* thread, std::string const& text) {
        return "\x1b[38;5;75m01-01 00:00:00.000  7  " + std::string(thread) + " D " + text + "\x1b[0m\n";
    };
    std::string const answer = "SampleSelector: [multiFrameSelect] " + request;
    LoggedProcess const two =
        readLogcat(line("8", answer + "PENDING: sel(#0) < zf(#1)") +
                   line("9", answer + "zsdTs(5) => hf[null], do pending directly") +
                   line("9", "chatty  : uid=1047(cameraserver) expire 60 lines") +
                   line("9", answer + "select #99999999999/-3 hfs") +
                   line("8", answer + "SELECT: R9 [hF99999999999]") +
                   line("9", "SampleSelector: [f] [r1,9223372036854775807/9ms]<none> select #1/1 hfs"))
            .at(0);
    ASSERT_EQ(two.requests.size(), 3U);
    EXPECT_EQ(two.requests[0].explanation.closing,
              "R9 was presented for 20 ms, the log does not say why (1 call); what its last call answered is not "
              "in this log.");
    EXPECT_EQ(two.requests[1].explanation.heading, "R9, thread 9: continuous selection, time-out 1000 ms");
    EXPECT_EQ(two.requests[1].explanation.lines.at(1), "  the log has dropped 60 lines here");
    EXPECT_EQ(two.requests[2].explanation.closing,
              "R1 took 1 frame that the log does not name, after 9223372036854775807 ms.");
    EXPECT_EQ(two.notes, std::vector<std::string>{"process 7, thread 9: 60 lines dropped by the log (chatty), "
                                                  "between R9 after 20 ms and R9 after 20 ms"});
    // Of one selector, a request may be presented by several threads.
    EXPECT_EQ(readLogcat(line("7", "SampleSelector: [SampleSelector] SampleSelector ctor(0x1), mLogLevel(1)") +
                         line("8", answer + "PENDING: sel(#0) < zf(#1)") +
                         line("9", answer + "PENDING: sel(#0) < zf(#1)"))
                  .at(0)
                  .requests.size(),
              1U);
    // Served, and presented anew under the same number.
    std::string const served = head + "D SampleSelector: [multiFrameSelect] " + request + "select #1/1 hfs\n";
    EXPECT_EQ(readLogcat(info + served + info + served).at(0).requests.size(), 2U);
    EXPECT_TRUE(readLogcat(head + "I Other: text\nSampleSelector\nD/SampleSelector(1").empty());
}

/// A session played for pictures.
class Pictures : public testing::Test {
  protected:
    void play(std::string const& name) {
        HostOptions options;
        options.log = std::make_shared<LogFile>();
        mReport.played.push_back(playFile(SESSIONS "/" + name + ".json", mSession, options, true));
        mSession.name = "<script>alert(1)</script> \"&'";
    }

    Session mSession;
    Report mReport;
};

TEST_F(Pictures, SlicesOfATrackDoNotOverlap) {
    play("quality-older-passes");
    std::ostringstream out;
    writeTrace(out, mReport);
    std::map<int, std::vector<std::pair<double, double>>> slices;
    std::map<int, std::string> tracks;
    size_t texts = 0;
    nlohmann::json const trace = nlohmann::json::parse(out.str());
    for (auto const& event : trace.at("traceEvents")) {
        if (event.at("name") == "thread_name") {
            tracks[event.at("tid")] = event.at("args").at("name");
        }
        if (event.at("ph") == "X") {
            slices[event.at("tid")].emplace_back(event.at("ts"), event.at("dur"));
        }
        texts += event.at("ph") == "i" && event.contains("args") ? 1 : 0;
    }
    std::set<std::string> names;
    for (auto& [track, spans] : slices) {
        names.insert(tracks.at(track));
        std::sort(spans.begin(), spans.end());
        for (size_t index = 1; index < spans.size(); ++index) {
            EXPECT_LE(spans[index - 1].first + spans[index - 1].second, spans[index].first + 1e-6);
        }
    }
    for (char const* const name : {"sensor", "in flight 2", "history 30", "lock F22", "lock F25", "R900", "R902"}) {
        EXPECT_EQ(names.count(name), 1U) << name;
    }
    size_t lines = 0;
    mReport.played[0].log->forEach([&](LogLine const&) { ++lines; });
    EXPECT_EQ(texts, lines);
}

TEST_F(Pictures, TextOfARecordingStaysText) {
    play("time-out");
    std::ostringstream out;
    writePage(out, mReport);
    std::string const page = out.str();
    EXPECT_EQ(page.find("<script>alert"), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;alert(1)&lt;/script&gt; &quot;&amp;&#39;"), std::string::npos);
    // Each frame and request has its explanation; the refused, the unchecked and the unjudged frame their marks.
    for (char const* const part :
         {"href=\"#f-0-26\"", "id=\"f-0-26\"", "href=\"#r-0-1\"", "id=\"r-0-1\"", ">AV</text>", ">?</text>",
          "R901 non-ZSL", "R900 took it after the time-out, unchecked; taken by R900"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(escaped("a\x01\x7F\xFF\uFFFE\uFFFF\U0001F600z"), "a\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\U0001F600z");
}

TEST(Printable, TerminalsObeyNothing) {
    std::pair<char const*, char const*> const cases[] = {
        {"\x1b[31m\x7F\u009b\u202e", "\\x1b[31m\\x7f\\u009b\\u202e"},
        {"a\n\tb\\ \u00e9\u20ac\U0001F600", "a\\n\\tb\\ \u00e9\u20ac\U0001F600"},
        {"\xff \xc0\x80 \xed\xa0\x80 \xf4\x90\x80\x80", "\\xff \\xc0\\x80 \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80"},
        {"cut \xe2\x82", "cut \\xe2\\x82"}};
    for (auto const& [text, shown] : cases) {
        EXPECT_EQ(printable(text), shown);
    }
}

TEST(TimeAxis, LongGapsAreCut) {
    auto const texts = [](std::vector<TimeAxis::Mark> const& marks) {
        std::string all;
        for (auto const& [place, text] : marks) {
            all += std::to_string(std::lround(place)) + "=" + text + " ";
        }
        return all;
    };
    int64_t const ms = 1000000;
    TimeAxis const axis({0, 200 * ms, 7500200 * ms, 7500500 * ms, 90000500 * ms, 900000000 * ms}, 100 * ms, 1e-6);
    EXPECT_EQ(texts(axis.cuts()), "200=2 h 5 min 600=22 h 55 min 700=9 days 9 h ");
    EXPECT_EQ(texts(axis.ticks(900)),
              "0=-100 ms 100=0 ms 200=100 ms 300=7500100 ms 400=7500200 ms 500=7500300 ms 600=7500400 ms "
              "700=90000400 ms 800=899999900 ms 900=900000000 ms ");
    EXPECT_EQ(axis.place(7500300 * ms), 400);
    // Steps of any size, and moments as far apart as can be.
    for (double const pixelsPerNs : {36.0, 36e-8, 36e-15, 36 / 9e18}) {
        EXPECT_LE(TimeAxis({1, 2, INT64_MAX}, 1, pixelsPerNs).ticks(2000).size(), 23U) << pixelsPerNs;
    }
    EXPECT_EQ(durationText(850) + durationText(5310) + durationText(1740000) + durationText(3600000 * 24),
              "850 ms5.3 s29 min1 day");
}

TEST(Sweep, SumsAndMarks) {
    Distribution values;
    EXPECT_EQ(values.quantile(0.5), std::nullopt);
    for (int const value : {40, 10, 30, 20}) {
        values.add(value);
    }
    EXPECT_EQ(values.quantile(0.5), 20);
    EXPECT_EQ(values.quantile(0.95), 40);

    Session session;
    SessionResult const result = playFile(SESSIONS "/time-out.json", session).result;
    Tally tally;
    tally.add(session, result);
    EXPECT_EQ(columnsOf(Tally::fromJson(tally.toJson())), columnsOf(tally));
    Tally better = tally;
    better.add(Tally{{0, 1, 0}, values, values, {1, 1}, {}, {}});
    std::ostringstream table;
    printSweepTable(table, {{"0", "None", "300"}, {"2", "default", "default"}}, {tally, better});
    std::ostringstream csv;
    printSweepCsv(csv, {{"0", "None", "300"}}, {tally});
    expectFile("sweep.txt", table.str() + csv.str());
}

}  // namespace
}  // namespace ZslTest
