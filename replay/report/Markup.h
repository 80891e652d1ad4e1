// Text that goes into XML and HTML.
#pragma once

#include <string>

namespace Replay {

/// The text with everything escaped that means something in markup, also inside attributes; what is no UTF-8, and
/// the characters that XML forbids, become U+FFFD.
std::string escaped(std::string const& text);

}  // namespace Replay
