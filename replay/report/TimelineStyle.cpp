#include "Timeline.h"

namespace Replay {

std::string timelineStyle() {
    return R"(svg.timeline, .legend {
  --back: #ffffff; --ink: #1a1f24; --soft: #59636e; --line: #d5dae0;
  --fit: #0b5cad; --refused: #9a4300; --on: #ffffff; --plain: #eceff2; --edge: #6b7680;
  --flight: #6b7680; --lock: #8a2be2; --wait: #0b5cad; --pending: #9a4300; --nonzsl: #b3261e;
}
@media (prefers-color-scheme: dark) {
  svg.timeline, .legend {
    --back: #14181d; --ink: #e8edf2; --soft: #a9b4bf; --line: #333c45;
    --fit: #6cb2ff; --refused: #ffb066; --on: #10151a; --plain: #252c33; --edge: #8d99a5;
    --flight: #8d99a5; --lock: #c79bff; --wait: #6cb2ff; --pending: #ffb066; --nonzsl: #ff8a80;
  }
}
@media print {
  svg.timeline, .legend {
    --back: #ffffff; --ink: #1a1f24; --soft: #59636e; --line: #d5dae0;
    --fit: #0b5cad; --refused: #9a4300; --on: #ffffff; --plain: #eceff2; --edge: #6b7680;
    --flight: #6b7680; --lock: #8a2be2; --wait: #0b5cad; --pending: #9a4300; --nonzsl: #b3261e;
  }
}
svg.timeline { background: var(--back); font: 11px system-ui, sans-serif; }
.timeline text { fill: var(--ink); }
.timeline .axis { fill: var(--soft); }
.timeline.far text, .timeline.far .flight { display: none; }
.timeline.far .frame, .timeline.far .tick { stroke: none; }
.timeline.far .request { stroke: var(--wait); stroke-width: 2px; vector-effect: non-scaling-stroke; }
.timeline.far .pending { stroke: var(--pending); }
.timeline.far .nonzsl { stroke: var(--nonzsl); }
.timeline .on { fill: var(--on); }
.timeline .tick { stroke: var(--line); }
.timeline .cut { stroke: var(--soft); fill: none; }
.timeline .frame { stroke: var(--edge); rx: 2px; }
.timeline .plain { fill: var(--plain); }
.timeline .fit { fill: var(--fit); }
.timeline .refused { fill: var(--refused); }
.timeline .taken { stroke: var(--ink); stroke-width: 3; }
.timeline .flight { fill: none; stroke: var(--flight); }
.timeline .lock { fill: var(--lock); }
.timeline .request { fill: var(--wait); rx: 2px; }
.timeline .pending { fill: var(--pending); }
.timeline .nonzsl { fill: var(--nonzsl); }
.timeline .shutter { stroke: var(--ink); stroke-dasharray: 3 2; fill: none; }
.timeline .arrow { stroke: var(--wait); stroke-width: 1.5; fill: none; }
.timeline a:focus, .timeline a:hover { outline: none; }
.timeline a:focus rect, .timeline a:hover rect { stroke: var(--ink); stroke-width: 3; }
)";
}

}  // namespace Replay
