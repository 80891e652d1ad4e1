// The camera service's tag monitor, as `adb shell cmd media.camera watch dump` prints it:
//
//   Client: com.example.camera (active)
//   0:com.example.camera  f361:95581666725026ns:    REQ: output stream ids: 2
//   0:com.example.camera  f361:95581666725026ns:    REQ:android.control.captureIntent: [STILL_CAPTURE]
//   0:com.example.camera  f361:95581777742151ns:    RES:android.control.afState: [PASSIVE_FOCUSED]
//
// The time of a REQ line is when the request was submitted, that of a RES line the frame's sensor timestamp.
// Only changes are listed: a tag keeps its value until the next line for it.
#include "DumpText.h"

#include <optional>
#include <sstream>

#include "replay/model/Integer.h"

namespace Replay {

namespace {

constexpr int64_t kLatestNs = 1000000000000000000;  // 31 years after boot: no clock reads that

struct Line {
    std::string client;  // "<camera id>:<name>"
    int64_t frame;
    int64_t ns;
    bool isRequest;
    std::string content;  // what follows "REQ:" or "RES:"
};

std::string trimmed(std::string const& text) {
    size_t const first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// A number of decimal digits only.
std::optional<int64_t> parseDigits(std::string const& text) {
    bool const isDigits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return isDigits ? parseInteger(text) : std::nullopt;
}

std::optional<Line> parseLine(std::string const& text) {
    size_t const blank = text.find_first_of(" \t");
    size_t const frameStart = blank == std::string::npos ? blank : text.find_first_not_of(" \t", blank);
    if (frameStart == std::string::npos || text[frameStart] != 'f' || text.find(':') > blank) {
        return std::nullopt;
    }
    size_t const colon = text.find(':', frameStart);
    size_t const unit = colon == std::string::npos ? colon : text.find("ns:", colon);
    if (unit == std::string::npos) {
        return std::nullopt;
    }
    auto const frame = parseDigits(text.substr(frameStart + 1, colon - frameStart - 1));
    auto const ns = parseDigits(text.substr(colon + 1, unit - colon - 1));
    std::string const rest = trimmed(text.substr(unit + 3));
    bool const isRequest = rest.compare(0, 4, "REQ:") == 0;
    if (!frame || !ns || *ns > kLatestNs || (!isRequest && rest.compare(0, 4, "RES:") != 0)) {
        return std::nullopt;
    }
    return Line{text.substr(0, blank), *frame, *ns, isRequest, trimmed(rest.substr(4))};
}

/// The numbers or words of "1 2 3", as the tag's values.
std::optional<std::vector<int64_t>> parseValues(std::string const& text, Tag const* tag) {
    std::vector<int64_t> values;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        auto value = parseInteger(word);
        if (!value && tag != nullptr) {
            value = valueOfWord(*tag, word);
        }
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    return values;
}

/// Takes the line's value over into the client. False when the content is damaged.
bool readContent(Line const& line, DumpClient& client) {
    constexpr std::string_view kOutputs = "output stream ids:";
    if (line.isRequest && line.content.compare(0, kOutputs.size(), kOutputs) == 0) {
        auto ids = parseValues(line.content.substr(kOutputs.size()), nullptr);
        if (ids) {
            client.outputs.set(line.frame, std::move(*ids));
        }
        return ids.has_value();
    }
    size_t const colon = line.content.find(':');
    std::string const value = colon == std::string::npos ? "" : trimmed(line.content.substr(colon + 1));
    if (value.size() < 2 || value.front() != '[' || value.back() != ']') {
        return false;
    }
    Tag const* const tag = findTag(trimmed(line.content.substr(0, colon)));
    if (tag == nullptr) {
        return true;  // a tag that the selector does not read
    }
    auto values = parseValues(value.substr(1, value.size() - 2), tag);
    if (!values || values->empty() || !toItems(tag->type, *values)) {
        return false;
    }
    (line.isRequest ? client.requestTags : client.resultTags)[tag->number].set(line.frame, std::move(*values));
    return true;
}

/// Puts lines to their clients.
class DumpReader {
  public:
    void read(std::string const& line) {
        if (line.compare(0, 7, "Client:") == 0) {
            mSection.clear();
            return;
        }
        if (line.empty() || line.compare(0, 8, "Cached @") == 0) {
            return;
        }
        auto const parsed = parseLine(line);
        DumpClient* const client = parsed ? &clientOf(*parsed) : nullptr;
        if (client == nullptr || !readContent(*parsed, *client)) {
            ++mDump.skipped;
            return;
        }
        (parsed->isRequest ? client->submitNs : client->sensorNs)[parsed->frame] = parsed->ns;
        ++mDump.usable;
    }

    Dump take() { return std::move(mDump); }

  private:
    /// The client of a line: one of those below the present "Client:" heading.
    DumpClient& clientOf(Line const& line) {
        auto const [place, isNew] = mSection.try_emplace(line.client, mDump.clients.size());
        if (isNew) {
            mDump.clients.emplace_back().name = line.client;
        }
        return mDump.clients[place->second];
    }

    Dump mDump;
    std::map<std::string, size_t> mSection;
};

}  // namespace

Dump readDump(std::string_view text) {
    DumpReader reader;
    while (!text.empty()) {
        size_t const end = text.find('\n');
        reader.read(trimmed(std::string(text.substr(0, end))));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return reader.take();
}

}  // namespace Replay
