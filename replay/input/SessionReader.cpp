#include "SessionReader.h"

#include "SessionParts.h"

namespace Replay {

namespace {

constexpr int64_t kMaxSelectors = 16;

}  // namespace

SessionSet readSession(std::string const& text, std::string const& file) {
    nlohmann::json const document = parseJson(text, file);
    Node const root(document, file, "");
    root.object({"description", "properties", "selectors", "streams", "frames", "changes", "requests"});
    SessionSet set;
    Session session;
    session.name = file;
    if (root.has("description")) {
        session.name = root.at("description").text();
    }
    if (root.has("selectors")) {
        session.selectors = static_cast<size_t>(root.at("selectors").integer(1, kMaxSelectors));
    }
    if (root.has("properties")) {
        root.at("properties").eachMember([&](std::string const& key, Node const& value) {
            session.properties.emplace_back(key, value.text());
        });
    }
    StreamSets const streams = root.has("streams") ? readStreamSets(root.at("streams")) : StreamSets{};
    root.at("frames").eachItem([&](Node const& node) { readFrames(node, streams, session.frames); });
    if (root.has("changes")) {
        root.at("changes").eachItem([&](Node const& node) { applyChange(node, session.frames); });
    }
    root.at("requests").eachItem([&](Node const& node) { readRequests(node, streams, session); });
    if (session.requests.empty()) {
        root.at("requests").fail("the session asks for no capture");
    }
    set.sessions.push_back(std::move(session));
    return set;
}

}  // namespace Replay
