#include "Reason.h"

namespace Replay {

namespace {

struct Words {
    char const* name;
    char const* words;
};

Words wordsOf(ReasonKind kind) {
    switch (kind) {
        case ReasonKind::None: return {"", ""};
        case ReasonKind::Focus: return {"AF", "auto-focus"};
        case ReasonKind::Exposure: return {"AE", "auto-exposure"};
        case ReasonKind::SoftExposure: return {"soft AE unstable", "soft auto-exposure unstable"};
        case ReasonKind::FrameSync: return {"sensors not in sync", "sensors not in sync"};
        case ReasonKind::Ev: return {"EV", "exposure compensation"};
        case ReasonKind::SensorMode: return {"sensor mode", "sensor mode"};
        case ReasonKind::Streams: return {"streams", "a needed stream is missing"};
        case ReasonKind::ForcedPending: return {"forced pending", "the policy ForcePending refuses every frame"};
        case ReasonKind::ShutterInFlight:
            return {"frame at the shutter in flight", "the frame at the shutter had not arrived yet"};
        case ReasonKind::NotItsTurn:
            return {"not its turn", "an earlier request of the burst was still to be served"};
        case ReasonKind::OtherPhase:
            return {"other phase", "the selector was in its other phase (noise reduction, then HDR)"};
        case ReasonKind::UnknownBurst: return {"unknown burst", "the first request of its burst had not come"};
        case ReasonKind::RequestWithoutEv:
            return {"request without EV", "the request names no exposure compensation"};
        case ReasonKind::FrameInFlight: return {"frame in flight", "a frame of the burst had not arrived yet"};
        case ReasonKind::NoHintedFrame:
            return {"no frame with the pre-collect hint", "no frame with the pre-collect hint had arrived"};
        case ReasonKind::TooFewFrames: return {"too few frames", "there were too few frames for the burst"};
        case ReasonKind::VerificationFailed:
            return {"verification failed", "a frame meant for the burst failed its check"};
        case ReasonKind::TimedOut: return {"timed out", "too few fit frames had come by the time-out"};
        case ReasonKind::WentNonZslBefore:
            return {"the burst went non-ZSL before", "its burst went without ZSL before"};
        case ReasonKind::OwnFrameInFlight: return {"its frame in flight", "its frame had not arrived yet"};
    }
    return {"", ""};
}

}  // namespace

Reason reasonOf(ReasonKind kind, std::string const& nameDetail, std::string const& wordsDetail) {
    Words const words = wordsOf(kind);
    return {kind, words.name + nameDetail, words.words + wordsDetail};
}

}  // namespace Replay
