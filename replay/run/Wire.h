// What a process tells the one that started it, as bytes.
#pragma once

#include "Runner.h"
#include "Verification.h"

namespace Replay {

std::string pack(PlayedSession const& played);

/// `session` is the one that was played. Throws BrokenPlugin unless the bytes are an answer.
PlayedSession unpackPlayed(std::string const& bytes, Session const& session);

std::string pack(Verification const& verification);

/// Throws BrokenPlugin unless the bytes are an answer.
Verification unpackVerification(std::string const& bytes);

}  // namespace Replay
