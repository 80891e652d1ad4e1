#include "History.h"

#include "Events.h"

namespace Replay {

History::History(Session const& session, size_t depth, std::vector<FrameLife>& lives)
    : mDepth(depth), mLives(lives) {
    for (size_t index = 0; index < lives.size(); ++index) {
        mLifeIndex[session.frames[index].frameNo] = index;
    }
}

void History::begin(Frame const& frame) { mInflight[frame.frameNo] = {frame.frameNo, streamsOf(frame)}; }

void History::land(Frame const& frame, int64_t nowNs) {
    mInflight.erase(frame.frameNo);
    if (frame.isLost) {
        return;
    }
    mHistory[frame.frameNo] = {frame.frameNo,
                               frame.requestNo,
                               frame.startNs,
                               pointersTo(frame.appMetas),
                               pointersTo(frame.halMetas),
                               streamsOf(frame),
                               false};
    evict(nowNs);
}

void History::leave(FrameNo frameNo, int64_t nowNs) {
    mLeaving.insert(frameNo);
    evict(nowNs);
}

void History::swapInto(ISelector::SelectInputParams& in) {
    in.history.swap(mHistory);
    in.inflight.swap(mInflight);
}

ISelector::HistoryFrame const* History::find(FrameNo frameNo) const {
    auto const entry = mHistory.find(frameNo);
    return entry != mHistory.end() ? &entry->second : nullptr;
}

void History::setLocked(FrameNo frameNo, bool isLocked, int64_t nowNs) {
    auto const entry = mHistory.find(frameNo);
    if (entry != mHistory.end()) {
        noteLock(frameNo, entry->second.locked, isLocked, nowNs);
        entry->second.locked = isLocked;
    }
}

void History::keepFor(size_t request, std::vector<FrameNo> const& frames, int64_t nowNs) {
    auto const kept = mKeptBy.find(request);
    if (kept != mKeptBy.end()) {
        for (FrameNo const frameNo : kept->second) {
            mKept.erase(mKept.find(frameNo));
        }
        mKeptBy.erase(kept);
    }
    if (!frames.empty()) {
        mKeptBy[request] = frames;
        mKept.insert(frames.begin(), frames.end());
    }
    evict(nowNs);
}

size_t History::endLocks(int64_t nowNs) {
    size_t locked = 0;
    for (auto const& [frameNo, frame] : mHistory) {
        locked += frame.locked ? 1 : 0;
        noteLock(frameNo, frame.locked, false, nowNs);
    }
    return locked;
}

FrameLife* History::lifeOf(FrameNo frameNo) {
    auto const index = mLifeIndex.find(frameNo);
    return index != mLifeIndex.end() ? &mLives[index->second] : nullptr;
}

void History::remove(Entry entry, int64_t nowNs) {
    if (FrameLife* const life = lifeOf(entry->first)) {
        life->leftNs = nowNs;
    }
    mHistory.erase(entry);
}

/// Frames leave that nobody holds: those whose time has come, and the oldest while the history is above its depth,
/// the newest included when all others are held.
void History::evict(int64_t nowNs) {
    for (auto leaving = mLeaving.begin(); leaving != mLeaving.end();) {
        auto const entry = mHistory.find(*leaving);
        bool const isHere = entry != mHistory.end();
        bool const stays = isHere && isHeld(entry);
        if (isHere && !stays) {
            remove(entry, nowNs);
        }
        leaving = stays ? std::next(leaving) : mLeaving.erase(leaving);
    }
    auto oldest = mHistory.begin();
    while (mHistory.size() > mDepth && oldest != mHistory.end()) {
        auto const entry = oldest++;
        if (!isHeld(entry)) {
            remove(entry, nowNs);
        }
    }
}

void History::noteLock(FrameNo frameNo, bool wasLocked, bool isLocked, int64_t nowNs) {
    FrameLife* const life = wasLocked != isLocked ? lifeOf(frameNo) : nullptr;
    if (life == nullptr) {
        return;
    }
    if (isLocked) {
        mLockedSinceNs[frameNo] = nowNs;
    } else {
        life->lockedNs.emplace_back(mLockedSinceNs[frameNo], nowNs);
    }
}

}  // namespace Replay
