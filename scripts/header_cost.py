#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures how long a program compiles for each public header of the library.

The headers are those of the file sets of a build folder, which CMake lists when it is configured. Each is
compiled by itself (`g++ -fsyntax-only`), several times in turn with the others; the smallest processor time
counts. The result is a JSON object with the seconds of each header, and those of log4cplus's logger.h.
"""

import argparse
import json
import pathlib
import resource
import subprocess
import sys

PEER = "log4cplus/logger.h"
PYTHON = subprocess.run(["pkg-config", "--cflags", "python-3.11-embed"], check=True, capture_output=True,
                        text=True).stdout.split()


def public_headers(build):
    for target in ("keswardin-infra", "keswardin-infra-python"):
        folder = build / "velmora" / f"{target}_verify_interface_header_sets"
        found = sorted(folder.rglob("*.h.cxx"))
        if not found:
            sys.exit(f"header_cost.py: {folder} has no headers; configure the build first")
        for source in found:
            header = str(source.relative_to(folder))[:-len(".cxx")]
            # A folder that was configured before may still list a header that has gone.
            if pathlib.Path(header).exists():
                yield header


def processor_time(header):
    """Returns the seconds that the compiler takes for a source that includes a header."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(["g++", "-std=c++20", "-fsyntax-only", "-I.", *PYTHON, "-x", "c++", "-"],
                   input=f"#include <{header}>\n", text=True, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    arguments = parser.parse_args()

    headers = [PEER, *public_headers(arguments.build)]
    seconds = {header: min(times) for header, times in zip(headers, zip(*(
        [processor_time(header) for header in headers] for _ in range(arguments.rounds))))}
    arguments.results.write_text(json.dumps(seconds, indent=1))


if __name__ == "__main__":
    main()
