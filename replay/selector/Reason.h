// Why a frame was refused, or a request was not served from the history.
#pragma once

#include <string>

namespace Replay {

enum class ReasonKind {
    None,
    // of a frame; of a request: the frames it could have had were refused so
    Focus,
    Exposure,
    SoftExposure,
    FrameSync,
    Ev,
    SensorMode,
    Streams,
    ForcedPending,
    // of a request
    ShutterInFlight,
    NotItsTurn,
    OtherPhase,
    UnknownBurst,
    RequestWithoutEv,
    FrameInFlight,
    NoHintedFrame,
    TooFewFrames,
    VerificationFailed,
    TimedOut,
    WentNonZslBefore,
    OwnFrameInFlight
};

/// A kind, and what is known beyond it.
struct Reason {
    ReasonKind kind = ReasonKind::None;
    std::string name;   ///< short, for tables: "AF scanning"; empty for None
    std::string words;  ///< for sentences: "auto-focus scanning, lens moving"

    explicit operator bool() const { return kind != ReasonKind::None; }
    bool isOfFrames() const { return kind >= ReasonKind::Focus && kind <= ReasonKind::ForcedPending; }
    bool operator==(Reason const& other) const { return kind == other.kind && words == other.words; }
};

/// The kind put into words, with a detail behind each of them; details may be empty.
Reason reasonOf(ReasonKind kind, std::string const& nameDetail = "", std::string const& wordsDetail = "");

}  // namespace Replay
