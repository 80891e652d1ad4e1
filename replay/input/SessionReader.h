// Session files in our JSON format (docs/session-format.md).
#pragma once

#include "replay/model/Session.h"

namespace Replay {

/// The session of a file's text; `file` only names it in errors. Throws InputError.
SessionSet readSession(std::string const& text, std::string const& file);

}  // namespace Replay
