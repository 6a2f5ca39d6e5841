#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Draws how costs grow, from the results of the benchmarks whose names begin with "grow".

The results are Google Benchmark's JSON, a file for each process: <program>.<variant>.<round>.json. Each
plot becomes <name>.svg in a folder, which must exist, and the figures are printed as a table.

The time of a work is the smallest of all rounds: other activity of the machine can only add to it.
"""

import argparse
import collections
import json
import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
# The same figures give the same file.
matplotlib.rcParams.update({"svg.hashsalt": "keswardin-infra", "font.size": 9})
from matplotlib import pyplot  # noqa: E402  pylint: disable=wrong-import-position

# Plots: the name before the first "/" of a benchmark, the title, the axis of its argument. An additional
# part of the name is a series.
PLOTS = {
    "growRead": ("An integer of the configuration is read", "names"),
    "growLoad": ("A line of a configuration is loaded", "names"),
    "growLoggers": ("A logger is made by its name", "loggers"),
    "growThreads": ("A line that is on, null appender; elapsed time", "threads"),
    "growCalls": ("A call without a file ends and another starts", "calls at once"),
    "growCallFiles": ("A call with a file ends and another starts", "calls at once"),
    "growLatency": ("Latency at 100,000 lines a second, flushed", "lines of which one takes longer"),
    "growShortThreads": ("A block replaced on threads that come and go; elapsed time", "blocks of a thread"),
}


def read(directory: pathlib.Path) -> dict[str, dict[str, dict[int, float]]]:
    """Returns nanoseconds by plot, series and argument."""
    result: dict[str, dict[str, dict[int, float]]] = collections.defaultdict(lambda: collections.defaultdict(dict))
    for path in sorted(directory.glob("*.json")):
        variant = path.name.split(".")[1]
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("error_occurred"):
                raise SystemExit(f"{path}: {run['name']}: {run['error_message']}")
            parts = re.sub(r"/(real_time|manual_time|iterations:\d+)", "", run["name"]).split("/")
            if parts[0] not in PLOTS:
                continue
            series = parts[1] if variant == "ours" else variant
            argument = int(parts[-1].removeprefix("threads:"))
            threaded = parts[-1].startswith("threads:") or run["name"].endswith(("/manual_time", "/real_time"))
            time = run["real_time" if threaded else "cpu_time"]
            times = result[parts[0]][series]
            times[argument] = min(times.get(argument, time), time)
    return result


def draw(plot: str, series: dict[str, dict[int, float]], path: pathlib.Path) -> None:
    title, axis = PLOTS[plot]
    figure, axes = pyplot.subplots(figsize=(6, 3.6))
    for name, times in sorted(series.items(), key=lambda item: (not item[0].startswith("ours"), item[0])):
        points = sorted(times.items())
        axes.plot([point[0] for point in points], [point[1] for point in points], marker="o", markersize=3,
                  linewidth=2 if name.startswith("ours") else 1, label=name)
    axes.set(title=title, xlabel=axis, ylabel="ns", xscale="log", ylim=(0, None))
    arguments = sorted({argument for times in series.values() for argument in times})
    axes.set_xticks(arguments, [f"{argument:,}" for argument in arguments])
    axes.minorticks_off()
    axes.grid(alpha=0.3)
    axes.legend()
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def print_table(plot: str, series: dict[str, dict[int, float]]) -> None:
    title, axis = PLOTS[plot]
    arguments = sorted({argument for times in series.values() for argument in times})
    print(f"\n{title}, ns by {axis}")
    print(f"{'':<24}" + "".join(f"{argument:>10,}" for argument in arguments))
    for name, times in sorted(series.items()):
        print(f"{name:<24}" + "".join(f"{times[argument]:>10.1f}" if argument in times else f"{'':>10}"
                                      for argument in arguments))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", type=pathlib.Path, help="the folder with the results")
    parser.add_argument("--write", type=pathlib.Path, metavar="FOLDER", help="writes the plots there")
    arguments = parser.parse_args()
    plots = read(arguments.results)
    for plot, series in sorted(plots.items()):
        print_table(plot, series)
        if arguments.write:
            draw(plot, series, arguments.write / f"{plot}.svg")
    return 0 if plots else 1


if __name__ == "__main__":
    sys.exit(main())
