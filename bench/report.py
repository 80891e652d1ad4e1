#!/usr/bin/env python3
"""Prints benchmark results (Google Benchmark's JSON files) as a table: ratios to the floor first, then ns and
allocations a call."""
import json
import sys

DEPTHS = ["8", "30", "128", "512"]


def load(paths):
    """{(what, mode): {depth: (ns, allocations)}}, and the ns of a refused log line."""
    results, line, context = {}, None, {}
    for path in paths:
        with open(path) as file:
            text = file.read()
        if not text.strip():
            continue  # the filter left nothing of this part
        document = json.loads(text)
        context = document["context"]
        for run in document["benchmarks"]:
            if "error_message" in run:
                sys.exit(f"{run['name']}: {run['error_message']}")
            if run["aggregate_name"] != "median":
                continue
            name = run["run_name"].split("/repeats:")[0]
            if name == "log/refusedLine":
                line = run["real_time"]
                continue
            parts = name.removesuffix("/manual_time").split("/")
            depth = parts.pop().removeprefix("depth:")
            results.setdefault(("/".join(parts[:-1]), parts[-1]), {})[depth] = (run["real_time"], run["allocs"])
    return results, line, context


def cells(values, form):
    return " | ".join(form(values[depth]) if depth in values else "-" for depth in DEPTHS)


def main():
    results, line, context = load(sys.argv[1:])
    print(f"{context['num_cpus']} CPUs at {context['mhz_per_cpu']} MHz, {context['date']}\n")
    head = " | ".join(f"depth {depth}" for depth in DEPTHS)
    print(f"Time as a multiple of the floor, gates closed:\n\n| call | {head} |\n|---|" + "---|" * len(DEPTHS))
    for (what, mode), values in sorted(results.items()):
        closed = results.get((what, "closed")) if mode == "floor" else None
        if closed:
            ratio = {depth: closed[depth][0] / values[depth][0] for depth in values if depth in closed}
            print(f"| {what} | " + cells(ratio, lambda value: f"{value:.2f}") + " |")
    print(f"\nns a call (allocations a call):\n\n| call | {head} |\n|---|" + "---|" * len(DEPTHS))
    for (what, mode), values in sorted(results.items()):
        print(f"| {what}, {mode} | " + cells(values, lambda value: f"{value[0]:.0f} ({value[1]:.3g})") + " |")
    if line is not None:
        print(f"\nA log line that its gate refuses: {line:.2f} ns.")


if __name__ == "__main__":
    main()
