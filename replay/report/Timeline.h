// Draws a played session as a timeline.
#pragma once

#include "Report.h"

namespace Replay {

/// What the pictures need beside the outcomes: numbers for links, so that several sessions fit on a page.
struct TimelineOptions {
    size_t session = 0;  ///< number of the session on the page
    /// Frames and requests link to their explanations, #f-SESSION-FRAME and #r-SESSION-INDEX.
    bool hasLinks = true;
};

/// The style of the picture's parts, for light, dark and print.
std::string timelineStyle();

/// An <svg> element and its size in pixels.
struct Picture {
    std::vector<std::string> parts;  ///< of the element, which may be large
    double width;
    double height;
};

std::ostream& operator<<(std::ostream& out, Picture const& picture);

/// A picture of the session: frames as boxes along session time, in flight and locked below, requests as rows
/// with shutter, wait and arrows to the chosen frames.
Picture timelineSvg(PlayedSession const& played, Report const& report, TimelineOptions const& options);

/// Writes the timelines of all sessions as one SVG file.
void writeSvg(std::ostream& out, Report const& report);

}  // namespace Replay
