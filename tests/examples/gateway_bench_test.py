#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs scripts/gateway_bench.py with few calls, and looks at its figures.

    gateway_bench_test.py <gateway>
"""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Any, Dict

ROOT = Path(__file__).resolve().parent.parent.parent
RATE, CALLS = 100, 50
SERVERS = {"sipp's uas", "gateway", "gateway, file a call"}


def measure(results: Path, program: str) -> "subprocess.CompletedProcess[str]":
    return subprocess.run(
        [sys.executable, str(ROOT / "scripts/gateway_bench.py"), str(results), "--program", program,
         "--rates", str(RATE), "--seconds", str(CALLS / RATE), "--rounds", "1", "--held", "5", "10", "--traced", "10"],
        capture_output=True, text=True, check=False)


class GatewayBench(unittest.TestCase):
    program = ""

    def test_measures_each_server(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            run = measure(Path(folder), self.program)
            self.assertEqual(0, run.returncode, run.stderr)
            figures: Dict[str, Any] = json.loads((Path(folder) / "gateway.json").read_text())
            self.assertEqual({"gateway.json", "gateway.md"}, {path.name for path in Path(folder).iterdir()})
            self.assertEqual(run.stdout, (Path(folder) / "gateway.md").read_text())
        self.assertEqual(SERVERS, {load["server"] for load in figures["loads"]})
        for load in figures["loads"]:
            self.assertEqual((0, 0), (load["refused"], load["failed"]), load)
            self.assertGreater(load["answered"], RATE / 2, load)
        for name in SERVERS:
            self.assertGreater(figures["memory"][name]["10"], figures["memory"][name]["0"])
        calls = figures["systemCalls"]
        self.assertAlmostEqual(1, calls["gateway, file a call"]["bind"])
        self.assertAlmostEqual(1, calls["gateway, file a call"]["openat"], delta=0.5)
        self.assertNotIn("bind", calls["sipp's uas"])
        self.assertNotIn("fcntl", calls["gateway"], "the socket of RTP is made with its flags")

    def test_fails_if_the_gateway_does_not_start(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            run = measure(Path(folder), "/bin/false")
            self.assertEqual(1, run.returncode)
            self.assertIn("the gateway has ended", run.stderr)


if __name__ == "__main__":
    GatewayBench.program = sys.argv.pop()
    unittest.main()
