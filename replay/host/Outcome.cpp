#include "Outcome.h"

namespace Replay {

char const* nameOf(RequestState state) {
    switch (state) {
        case RequestState::Pending: return "pending";
        case RequestState::FromHistory: return "history";
        case RequestState::NonZsl: return "non-ZSL";
    }
    return "";
}

void StateCounts::add(RequestState state, size_t count) {
    switch (state) {
        case RequestState::Pending: pending += count; break;
        case RequestState::FromHistory: fromHistory += count; break;
        case RequestState::NonZsl: nonZsl += count; break;
    }
}

}  // namespace Replay
