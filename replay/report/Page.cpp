#include "Page.h"

#include <sstream>

#include "FrameTexts.h"
#include "Markup.h"
#include "Timeline.h"

namespace Replay {

namespace {

constexpr char const* kStyle = R"css(
:root { color-scheme: light dark; --page: #ffffff; --text: #1a1f24; --muted: #59636e; --rule: #d5dae0; --link: #0b5cad; }
@media (prefers-color-scheme: dark) {
  :root { --page: #14181d; --text: #e8edf2; --muted: #a9b4bf; --rule: #333c45; --link: #6cb2ff; }
}
@media print {
  :root { --page: #ffffff; --text: #1a1f24; --muted: #59636e; --rule: #d5dae0; --link: #0b5cad; }
  .scroll { overflow: visible; border: 0; }
  .scroll svg { max-width: 100%; height: auto; }
  .zoom, .skip, #panel { display: none; }
}
body { margin: 0 auto; padding: 1.5rem; max-width: 76rem; background: var(--page); color: var(--text);
  font: 15px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.4rem; margin: 0 0 .5rem; } h2 { font-size: 1.15rem; margin: 2rem 0 .5rem; } h3 { font-size: 1rem; margin: 1.2rem 0 .2rem; }
p { margin: .3rem 0; } a { color: var(--link); } .muted { color: var(--muted); }
.skip { position: absolute; left: -999px; } .skip:focus { position: static; }
.scroll { overflow: auto; max-height: 70vh; border: 1px solid var(--rule); border-radius: 4px; }
.scroll:focus-visible, button:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.zoom { margin: .4rem 0; } button { font: inherit; padding: .1rem .7rem; }
.legend { display: flex; flex-wrap: wrap; gap: .2rem 1.2rem; margin: .4rem 0; font-size: .9rem; }
.legend b { display: inline-block; min-width: 1.6em; text-align: center; border: 1px solid var(--edge); border-radius: 2px; margin-right: .35em; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .15rem 1rem .15rem 0; border-bottom: 1px solid var(--rule); vertical-align: top; }
pre { margin: .2rem 0; white-space: pre-wrap; font: 13px/1.45 ui-monospace, monospace; }
section:target, tr:target { outline: 2px solid var(--link); outline-offset: 4px; }
#panel { position: fixed; right: 1rem; bottom: 1rem; width: min(44rem, calc(100vw - 4rem)); max-height: 45vh; overflow: auto;
  background: var(--page); border: 2px solid var(--link); border-radius: 6px; padding: .6rem 1rem; }
#panel button { float: right; }
)css";

// A click on a frame or a request shows its explanation beside the timeline; without scripts the link leads to it.
constexpr char const* kScript = R"js(
const panel = document.getElementById('panel'), body = document.getElementById('panel-body');
let opener = null;
const closePanel = () => { panel.hidden = true; if (opener) opener.focus(); };
document.addEventListener('click', event => {
  const link = event.target.closest('svg a');
  const target = link && document.getElementById(link.getAttribute('href').slice(1));
  if (!target) return;
  event.preventDefault();
  opener = link;
  const text = target.dataset.text;
  if (text) body.textContent = text; else body.replaceChildren(...[...target.childNodes].map(node => node.cloneNode(true)));
  panel.hidden = false;
  panel.focus();
});
document.getElementById('panel-close').addEventListener('click', closePanel);
document.addEventListener('keydown', event => { if (event.key === 'Escape' && !panel.hidden) closePanel(); });
for (const zoom of document.querySelectorAll('.zoom')) {
  const scroll = zoom.nextElementSibling, svg = scroll.querySelector('svg');
  const width = svg.width.baseVal.value, height = svg.height.baseVal.value;
  let scale = 1;
  svg.setAttribute('preserveAspectRatio', 'none');  // far away, it shrinks along the time alone
  const first = svg.querySelector('.request');
  if (first) scroll.scrollLeft = first.x.baseVal.value - scroll.clientWidth / 3;
  zoom.hidden = false;
  zoom.addEventListener('click', event => {
    const kind = event.target.dataset.zoom;
    if (!kind) return;
    const middle = (scroll.scrollLeft + scroll.clientWidth / 2) / scale;
    scale = kind === 'in' ? scale * 1.5 : kind === 'out' ? scale / 1.5 : kind === 'fit' ? scroll.clientWidth / width : 1;
    scale = Math.min(8, Math.max(0.005, scale));
    svg.setAttribute('width', width * scale);
    svg.setAttribute('height', height * Math.max(1, scale));
    svg.classList.toggle('far', scale < 0.6);
    scroll.scrollLeft = middle * scale - scroll.clientWidth / 2;
  });
}
)js";

constexpr char const* kLegend = R"html(<div class="legend">
<span><b style="background:var(--fit);color:var(--on)">ok</b>fit to use</span>
<span><b style="background:var(--refused);color:var(--on)">A</b>refused: A focus, E exposure, S soft exposure,
Y frame sync, V exposure compensation, M sensor mode, N streams</span>
<span><b style="background:var(--fit);color:var(--on)">?</b>taken after the time-out, unchecked</span>
<span><b style="background:var(--plain)">&nbsp;</b>not judged</span>
<span><b style="outline:3px solid var(--ink);border:0">&nbsp;</b>chosen</span>
<span><b style="border-color:var(--flight)">&nbsp;</b>thin outline: in flight</span>
<span><b style="background:var(--lock)">&nbsp;</b>locked</span>
<span><b style="background:var(--wait)">&nbsp;</b>a request waits; dashed: its shutter; arrows: its frames</span>
</div>
)html";

std::string htmlOf(Explanation const& explanation) {
    std::string lines;
    for (std::string const& line : explanation.lines) {
        lines += escaped(line) + "\n";
    }
    return "<h3>" + escaped(explanation.heading) + "</h3><p><strong>" + escaped(explanation.closing) +
           "</strong></p><pre>" + lines + "</pre>";
}

void writeFrames(std::ostream& out, PlayedSession const& played, size_t session) {
    FrameTexts const texts(played);
    out << "<details><summary>All " << played.session->frames.size() << " frames</summary><table>\n";
    for (size_t index = 0; index < played.session->frames.size(); ++index) {
        std::string const text = escaped(texts[index]);
        out << "<tr id=\"f-" << session << '-' << played.session->frames[index].frameNo << "\" data-text=\"" << text
            << "\"><td>" << text << "</td></tr>\n";
    }
    out << "</table></details>\n";
}

void writeSession(std::ostream& out, PlayedSession const& played, Report const& report, size_t session) {
    out << "<h2>" << escaped(played.session->name) << "</h2>\n"
        << "<a class=\"skip\" href=\"#after-" << session << "\">Skip the timeline</a>\n"
        << "<div class=\"zoom\" hidden><button data-zoom=\"in\">Zoom in</button> <button data-zoom=\"out\">Zoom "
           "out</button> <button data-zoom=\"fit\">Whole session</button> <button data-zoom=\"one\">Actual "
           "size</button></div>\n"
        << "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Timeline, scrolls\">\n"
        << timelineSvg(played, report, {session, true}) << "</div>\n<div id=\"after-" << session << "\"></div>\n";
    for (size_t index = 0; index < played.result.outcomes.size(); ++index) {
        Outcome const& outcome = played.result.outcomes[index];
        if (report.isShown(outcome)) {
            out << "<section id=\"r-" << session << '-' << index << "\">" << htmlOf(played.explanations[index])
                << "</section>\n";
        }
    }
    writeFrames(out, played, session);
}

}  // namespace

void writePage(std::ostream& out, Report const& report) {
    std::ostringstream summary;
    printTable(summary, report);
    out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
           "script-src 'unsafe-inline'; img-src data:\">\n"
           "<link rel=\"icon\" href=\"data:,\">\n<title>"
        << (report.played.empty() ? "No session" : escaped(report.played.front().session->name))
        << "</title>\n<style>" << kStyle << timelineStyle() << "</style></head><body>\n<main>\n"
        << "<h1>Which frames the selector chose, and why</h1>\n<div class=\"scroll\" tabindex=\"0\" "
           "role=\"region\" "
           "aria-label=\"Summary\"><pre style=\"white-space: pre; padding: .5rem\">"
        << escaped(summary.str()) << "</pre></div>\n"
        << kLegend;
    for (size_t session = 0; session < report.played.size(); ++session) {
        writeSession(out, report.played[session], report, session);
    }
    out << "</main>\n<aside id=\"panel\" tabindex=\"-1\" role=\"dialog\" aria-label=\"Explanation\" hidden><button "
           "id=\"panel-close\">Close</button><div id=\"panel-body\"></div></aside>\n<script>"
        << kScript << "</script></body></html>\n";
}

}  // namespace Replay
