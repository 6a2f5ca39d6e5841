#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Makes one table of the results of the benchmark programs.

The results are Google Benchmark's JSON, a file for each process: <program>.<variant>.<round>.json.
The document gets the table between its two marker lines. The file headers.json has the seconds that the
compiler takes for each public header, by scripts/header_cost.py.

The time of a work is the smallest of all rounds: other activity of the machine can only add to it. Where threads meet
at a lock it is the median: in the fastest round, they may have missed each other.
"""

import argparse
import collections
import json
import math
import pathlib
import re
import statistics
import sys

MALLOCS = ["glibc", "jemalloc", "tcmalloc", "mimalloc"]
MARKERS = ("<!-- table of scripts/bench: begin -->", "<!-- table of scripts/bench: end -->")

MAP_ENTRIES = [1, 4, 8, 100]
CALLS_AT_ONCE = [100, 10000]


def entries_text(entries):
    return "1 entry" if entries == 1 else f"{entries} entries"


# Works whose names contain the library that does them, as in "enabledNull/spdlog": the name, the
# text in the table, the peer whose time the target is a multiple of, the target. The target is
# absolute if the peer is None; there is no target if both are None.
NAMED_WORKS = [
    ("disabledCached", "line that is off, level cached", "comparison", 1.5),
    ("disabledPlain", "line that is off, plain `Logger`", "log4cplus", 1.1),
    ("enabledNull", "line that is on, null appender", "spdlog", 1.0),
    ("enabledIdentifiers", "line with two logging identifiers, null appender", "plain", 1.1),
    ("fileFlushed", "line that is on, file, flushed each time", "spdlog", 0.95),
    ("fileFlushedIdentifiers", "the same with two logging identifiers", "plain", 1.1),
    ("fileFlushedBoth", "the same by two threads", "spdlog", 1.0),
    ("fileBuffered", "line that is on, file, buffered", "spdlog", 1.0),
    ("fileBufferedIdentifiers", "the same with two logging identifiers", "plain", 1.1),
    ("fileBufferedBoth", "the same by two threads", "spdlog", 1.0),
    ("fileRolling", "line that is on, rolling file, buffered", "spdlog", 1.0),
    *((f"latency{rank}", f"latency of a flushed line at 100,000 lines a second: {text}", "spdlog", 1.0)
      for rank, text in ((50, "median"), (99, "99 %"), (999, "99.9 %"))),
    ("latencyHighest", "the highest of 500,000 lines", None, None),
    ("fileJson", "line as an object of JSON, file, buffered", "pattern", 1.3),
    ("layout", "text of a line by the layout alone", "spdlog", 1.0),
    ("layoutJson", "the same as an object of JSON", "pattern", 1.3),
    ("traceScopeOff", "trace scope that is off, own level set", "comparison", 2.0),
    ("initFromText", "`initFromText`, a mix of values", "stream", 1 / 3),
    ("handleCopy", "copy and release of a `TSHandle`", "lockAndCount", 1.1),
    ("gatePass", "pass of the gate of the process, one thread", "shared_mutex", 0.5),
    ("gatePassBoth", "pass of the gate of the process, two threads", "shared_mutex", 0.2),
    *((f"mapLookUp{entries}", f"look-up in a map of names with {entries_text(entries)}", None, None)
      for entries in MAP_ENTRIES),
    ("dottedName", "`dottedStringToVectorNoResize`, 6 parts, warm", "memchr", 2.0),
    ("executeCommand", "`executeCommand` of `true`", "posix_spawn", 1.1),
    ("directoryMake", "`Directory::make` of an existing directory", "stat", 1.1),
    ("vfsSmallFile", "file opened, 1 KiB read, closed through `VirtualFileSystem`", "calls", 1.3),
    ("vfsWalk", "walk of 10,000 entries through `VirtualFileSystem`", "calls", 1.3),
    ("lookUp", "look-up of each known parameter by name", "Poco", 1.0),
    ("readLines", "10,000 lines of a configuration read, typed and checked", "log4cplus", 1 / 1.2),
    ("readTagged", "the same with a tag in every tenth line", "untagged", 2.0),
    ("readDifferent", "10,000 lines with different names, all in the table, read", None, None),
    ("getInt", "integer of the global configuration, one thread", "abseil", 1.0),
    ("getIntBoth", "integer of the global configuration, two threads", "abseil", 1.0),
    ("getIntWhileSet", "the same, four threads while a fifth sets a parameter", "abseil", 1.0),
    ("sibling300", "integer of the global configuration, 300 names with the same parent", "abseil", 1.3),
    ("sibling300000", "the same with 300,000 names", "abseil", 1.3),
    ("cachedInt", "integer that a `ConfigCache` remembers", "lockedTrie", 0.9),
    ("remoteSyslog", "line of 100 bytes to a remote syslog on the loopback", "sendto", 1.1),
    ("vfsWriteSmall", "64 MiB written in pieces of 100 bytes through a stream", "filebuf", 1.05),
    ("vfsReadSmall", "the same read", "filebuf", 1.05),
    ("vfsWriteLarge", "64 MiB written in pieces of 64 KiB through a stream", "filebuf", 1.05),
    ("vfsReadLarge", "the same read", "filebuf", 1.05),
    ("callFile", "call of 20 lines with a file of its own, one thread", "spdlog", 1.0),
    ("callFileBoth", "call of 20 lines with a file of its own, two threads", "spdlog", 1.0),
    ("callSampledOut", "line of a call that has no file, main log flushed each time", "noCall", 1.1),
    ("callStartEnd", "`callStart` and `callEnd` with no line, one thread", None, 1000),
    ("callStartEndBoth", "`callStart` and `callEnd` with no line, two threads", None, 500),
    *((f"callsAtOnce{calls}", f"`callEnd` and `callStart` with no line, {calls:,} calls at once",
       None, None) for calls in CALLS_AT_ONCE),
    ("callsAtOnceMore", "additional cost of the second of these", "map", 1.3),
    ("callFilesAtOnce", "`callEnd` and `callStart` with a file, 10,000 files open", "100 open", 1.3),
    ("callBesideEnds", "99th percentile of a call without a file, beside 600 ends with files a second",
     "idle", 2.0),
    ("alarmSameState", "`setState` to the state that an `AlarmImpl` has", "comparison", 1.5),
    ("alarmOnOff", "alarm on and off through its handle, null appender", "linesAndLocks", 1.3),
    ("alarmJournaled", "the same with an `AlarmJournal`", "alone", 2.0),
    ("alarmLookUp", "`getAlarm` among 10,000 alarms", "std", 1.5),
    ("perThread", "24 bytes of `StaticPerThreadMemAllocator` taken and released, two threads",
     "default", 1.5),
    ("idleTime", "idle time of the system", "read", 1.1),
    ("observation", "observation pushed to a monitor with a window of 10", None, None),
    ("initialize", "start and end of `examples/minimal` with 300 lines of configuration",
     None, 30e6),
    ("startMinimal", "the same without a configuration", None, None),
    ("loadPython", "start and end of a program that links only libpython and Boost.Python",
     None, None),
    ("startPython", "first `initialize()` of the interpreter", "bare", 1.1),
    ("pythonHandle", "copy and drop of a `TSPyObjPtr`, one thread", "pybind11", 1.05),
    ("pythonHandleBoth", "copy and drop of a `TSPyObjPtr`, two threads", "pybind11", 1.05),
    ("closestName", "closest known name to one with a wrong letter", "two rows", 0.2),
]

# Works on threads that meet at a lock of ours or of a peer.
MEETINGS = {"fileFlushedBoth", "fileBufferedBoth", "gatePassBoth", "getIntBoth", "getIntWhileSet", "callFileBoth",
            "callStartEndBoth", "pythonHandleBoth"}

# Works that are not measured: the time of the first of two others minus the time of the second.
DIFFERENCES = {"callsAtOnceMore": ("callsAtOnce10000", "callsAtOnce100")}

# The same for works whose memory is measured, with the counter "bytes".
NAMED_BYTES = [
    (f"mapBytes{entries}", f"map of names with {entries_text(entries)}", "std", 0.6)
    for entries in MAP_ENTRIES
]


# Works on chunks on threads that come and go: the name, the text, the largest acceptable multiple of
# the fastest malloc.
CHURN_WORKS = [
    ("larson/200", "block replaced on threads that replace 200 blocks each", 1.2),
    ("larson/5000", "the same on threads that replace 5,000 blocks each", 1.2),
    ("stress", "block of a thread that exchanges blocks with others and ends", 1.0),
]


def names(works):
    return [named[0] for named in works]


class Results:
    """All figures, by work and by the library that did it."""

    def __init__(self, directory):
        rounds = collections.defaultdict(lambda: collections.defaultdict(list))
        self.allocations = collections.defaultdict(dict)
        self.bytes = {}
        self.named_bytes = collections.defaultdict(dict)
        for path in sorted(directory.glob("*.*.*.json")):
            self._read(path, rounds)
        if not rounds:
            sys.exit(f"bench_table.py: no results in {directory}")
        self.times = {work: {doer: (statistics.median if work in MEETINGS else min)(times)
                             for doer, times in doers.items()}
                      for work, doers in rounds.items()}
        for work, (more, less) in DIFFERENCES.items():
            self.times[work] = {doer: time - self.times[less][doer]
                                for doer, time in self.times[more].items()}

    def _read(self, path, rounds):
        _, variant, _ = path.stem.split(".")
        content = json.loads(path.read_text())
        self.context = content["context"]
        if variant in MALLOCS[1:] and variant not in self.context["malloc"]:
            sys.exit(f"bench_table.py: {path.name} is not about {variant}")
        for run in content["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"bench_table.py: {path.name}: {run['name']}: {run['error_message']}")
            work, doer = self._split(run["name"], variant)
            if "bytes" in run:
                held = self.named_bytes[work] if work in names(NAMED_BYTES) else self.bytes
                held[doer] = run["bytes"]
                continue
            assert run["time_unit"] == "ns"
            # Processor time excludes the time of other processes, but also the time spent waiting
            # for another thread or process. Manually measured times are reported as real time too.
            waits = run["threads"] > 1 or run["name"].endswith(("/real_time", "/manual_time"))
            time = run["real_time" if waits else "cpu_time"]
            rounds[work][doer].append(time)
            if "allocations" in run:
                self.allocations[work][doer] = run["allocations"]

    @staticmethod
    def _split(name, variant):
        name = re.sub(r"/(iterations:\d+|real_time|manual_time)(?=/|$)", "", name)
        work, _, doer = name.partition("/")
        if work in names(NAMED_WORKS + NAMED_BYTES):
            return work, doer.partition("/threads:")[0]
        return name, variant


def figure(value):
    """Returns the value with three significant digits."""
    return f"{value:.{max(0, 2 - math.floor(math.log10(value)))}f}" if value > 0 else "0"


def verdict(met):
    return "met" if met else "NOT MET"


def row(text, ours, peers, against, target):
    """Returns a row. `target` is a multiple of the peer `against`, or absolute without a peer."""
    others = ", ".join(
        f"**{name} {figure(value)}**" if name == against else f"{name} {figure(value)}"
        for name, value in peers.items())
    if target is None:
        return [text, figure(ours), others, "", "", "reported"]
    if against is None:
        return [text, figure(ours), others, "", figure(target), verdict(ours <= target)]
    ratio = ours / peers[against]
    return [text, figure(ours), others, f"{ratio:.2f}", f"{target:.2f}", verdict(ratio <= target)]


def named_rows(results):
    for works, figures, unit in ((NAMED_WORKS, results.times, "ns"),
                                 (NAMED_BYTES, results.named_bytes, "bytes")):
        for work, text, against, target in works:
            found = figures[work]
            peers = {doer: found[doer] for doer in sorted(found) if doer != "ours"}
            yield row(f"{text}, {unit}", found["ours"], peers, against, target)


def allocator_works(results):
    """Yields the works on chunks in the order of the table: the name and the text."""
    patterns = (("pairs", "chunk taken and released"), ("batches", "the same in batches of 1000"))
    for pattern, text in patterns:
        for threads, on in (("1", "one thread"), ("2", "two threads")):
            for size in (8, 24, 64, 256, 0):
                what = f"{size} bytes" if size else "1 to 256 bytes"
                yield f"{pattern}/{size}/threads:{threads}", f"{text}, {what}, {on}, ns"


def allocator_rows(results):
    works = list(allocator_works(results))
    for work, text in works:
        times = results.times[work]
        peers = {name: times[name] for name in MALLOCS}
        yield row(text, times["ours"], peers, min(peers, key=peers.get), 1.0)
    for work, text in works:
        times = results.times[work]
        if "accounted" in times:
            without = {"without": times["ours"]}
            yield row(f"accounted: {text}", times["accounted"], without, None, None)


def churn_rows(results):
    for work, text, target in CHURN_WORKS:
        times = results.times[work]
        peers = {name: times[name] for name in MALLOCS}
        yield row(f"{text}, ns", times["ours"], peers, min(peers, key=peers.get), target)
    times = results.times["firstBlocks"]
    yield row("first block of each size class on a new thread, together, ns", times["ours"],
              {name: times[name] for name in MALLOCS}, None, 10_000)


def footprint_rows(results):
    def speed(name):
        works = [work for work, _ in allocator_works(results) if "/24/" in work]
        return math.prod(results.times[work][name] for work in works)

    peers = {name: results.bytes[name] for name in MALLOCS}
    text = "memory for a live object of 24 bytes, bytes"
    yield row(text, results.bytes["ours"], peers, min(MALLOCS, key=speed), 0.8)
    without = {"without": results.bytes["ours"]}
    yield row(f"accounted: {text}", results.bytes["accounted"], without, None, None)


def allocation_rows(results):
    for work, text, _, _ in NAMED_WORKS:
        counts = results.allocations[work]
        if counts:
            yield [text, *(f"{counts[doer]:.1f}" if doer in counts else ""
                           for doer in ("ours", "log4cplus", "spdlog"))]


# What a program compiles for a public header, as a multiple of log4cplus's logger.h.
HEADER_PEER = "log4cplus/logger.h"
HEADER_TARGETS = {"velmora/application/ApplicationImpl.h": 1.3}
CHEAP_HEADER = 0.5


def header_rows(seconds):
    peer = seconds.pop(HEADER_PEER)
    dearest = sorted(seconds, key=seconds.get, reverse=True)
    for header in dearest:
        ratio = seconds[header] / peer
        target = HEADER_TARGETS.get(header)
        if target is not None or ratio > CHEAP_HEADER:
            yield [f"`{header}`", f"{1000 * seconds[header]:.0f}", f"{ratio:.2f}",
                   "" if target is None else f"{target:.2f}",
                   "reported" if target is None else verdict(ratio <= target)]
    cheap = [header for header in dearest if seconds[header] / peer <= CHEAP_HEADER]
    yield [f"{len(cheap)} others", "", f"at most {seconds[cheap[0]] / peer:.2f}", "", "reported"]
    yield [f"`{HEADER_PEER}`", f"{1000 * peer:.0f}", "1.00", "", ""]


def markdown(head, rows):
    lines = [head, *rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(head))]
    rule = ["-" * width for width in widths]
    return "\n".join(
        "| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |"
        for line in [head, rule, *rows])


def machine(context):
    info = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"model name\s*: (.*)", info)
    return f"{context['num_cpus']} processors, {model[1] if model else 'unknown'}"


def write(document, text, markers=MARKERS):
    begin, end = markers
    content = document.read_text()
    before, found_begin, rest = content.partition(begin)
    _, found_end, after = rest.partition(end)
    if not found_begin or not found_end:
        sys.exit(f"bench_table.py: {document} has no marker lines")
    document.write_text(f"{before}{begin}\n\n{text}\n\n{end}{after}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--write", type=pathlib.Path, metavar="document")
    arguments = parser.parse_args()

    results = Results(arguments.results)
    table = markdown(["Work", "Ours", "Peers", "Ratio", "Target", ""],
                     [*named_rows(results), *allocator_rows(results), *churn_rows(results),
                      *footprint_rows(results)])
    allocations = markdown(["Allocations", "Ours", "log4cplus", "spdlog"],
                           list(allocation_rows(results)))
    headers = markdown(["Header compiled by itself", "ms", "Ratio", "Target", ""],
                       list(header_rows(json.loads((arguments.results / "headers.json").read_text()))))
    text = f"Measured on {machine(results.context)}.\n\n{table}\n\n{allocations}\n\n{headers}"
    print(text)
    if arguments.write:
        write(arguments.write, text)


if __name__ == "__main__":
    main()
