// A played recording as a page that stands alone: summary, timelines, explanations.
#pragma once

#include "Report.h"

namespace Replay {

/// Writes the page. It needs no network, and all that it tells can be read without scripts.
void writePage(std::ostream& out, Report const& report);

}  // namespace Replay
