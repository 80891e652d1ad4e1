#include "Session.h"

#include <algorithm>

namespace Replay {

int64_t startOf(Session const& session) {
    int64_t start = session.frames.empty() ? 0 : session.frames.front().startNs;
    for (Request const& request : session.requests) {
        start = std::min(start, request.shutterNs);
    }
    return start;
}

}  // namespace Replay
