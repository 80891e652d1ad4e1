#include "Wire.h"

#include <cstring>
#include <nlohmann/json.hpp>

namespace Replay {

// Of a list's elements the fields go by their names. What points into the session is put back by its place there.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Reason, kind, name, words)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Verdict, frameNo, isRefused, isUnchecked, reason)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(FrameLife, leftNs, lockedNs, verdicts)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Outcome, state, chosen, offsetsNs, waitedNs, calls, locks, unlocks, refusals,
                                   hasTimedOut)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Explanation, heading, lines, closing)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SessionResult, endNs, lockedAtEnd, isExplained)  // without its lists
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Verification, calls, selectors, unsure, why, differing, differences, notes)

namespace {

using Json = nlohmann::json;

/// A JSON tree is many times as large as what it holds: so long lists go in parts.
constexpr size_t kElementsOfPart = 1000;

class Writer {
  public:
    void add(Json const& part) {
        auto const packed = Json::to_msgpack(part);
        auto const size = static_cast<uint32_t>(packed.size());
        mBytes.append(reinterpret_cast<char const*>(&size), sizeof size);
        mBytes.append(packed.begin(), packed.end());
    }

    template <typename T>
    void addList(std::vector<T> const& list) {
        add(list.size());
        for (size_t done = 0; done < list.size(); done += kElementsOfPart) {
            Json part = Json::array();
            for (size_t index = done; index < std::min(done + kElementsOfPart, list.size()); ++index) {
                part.push_back(list[index]);
            }
            add(part);
        }
    }

    std::string take() { return std::move(mBytes); }

  private:
    std::string mBytes;
};

constexpr char const* kForged = "the plug-in ended the process, which left an answer that cannot be read";

class Reader {
  public:
    explicit Reader(std::string const& bytes) : mNext(bytes.data()), mEnd(bytes.data() + bytes.size()) {}

    Json next() {
        uint32_t const size = takeSize();
        char const* const begin = mNext;
        mNext += size;
        return Json::from_msgpack(begin, mNext);
    }

    template <typename T>
    void takeList(std::vector<T>& list) {
        auto const size = next().get<size_t>();
        while (list.size() < size) {
            for (Json const& element : next()) {
                list.push_back(element.get<T>());
            }
        }
    }

  private:
    uint32_t takeSize() {
        uint32_t size = 0;
        auto const left = [this] { return static_cast<size_t>(mEnd - mNext); };
        if (left() < sizeof size) {
            throw BrokenPlugin(kForged);
        }
        std::memcpy(&size, mNext, sizeof size);
        mNext += sizeof size;
        if (left() < size) {
            throw BrokenPlugin(kForged);
        }
        return size;
    }

    char const* mNext;
    char const* mEnd;
};

/// What `unpack` makes of an answer; the plug-in may have written into the pipe itself.
template <typename Unpack>
auto checked(Unpack const& unpack) {
    try {
        return unpack();
    } catch (Json::exception const&) {
        throw BrokenPlugin(kForged);
    }
}

}  // namespace

std::string pack(PlayedSession const& played) {
    Writer writer;
    writer.add(played.result);
    writer.addList(played.result.outcomes);
    writer.addList(played.result.frames);
    writer.addList(played.explanations);
    return writer.take();
}

PlayedSession unpackPlayed(std::string const& bytes, Session const& session) {
    PlayedSession played = checked([&] {
        Reader reader(bytes);
        PlayedSession read{&session, reader.next().get<SessionResult>(), {}};
        reader.takeList(read.result.outcomes);
        reader.takeList(read.result.frames);
        reader.takeList(read.explanations);
        return read;
    });
    if (played.result.outcomes.size() != session.requests.size()) {
        throw BrokenPlugin(kForged);
    }
    for (size_t index = 0; index < played.result.outcomes.size(); ++index) {
        played.result.outcomes[index].request = &session.requests[index];
    }
    return played;
}

std::string pack(Verification const& verification) {
    Writer writer;
    writer.add(verification);
    return writer.take();
}

Verification unpackVerification(std::string const& bytes) {
    return checked([&] { return Reader(bytes).next().get<Verification>(); });
}

}  // namespace Replay
