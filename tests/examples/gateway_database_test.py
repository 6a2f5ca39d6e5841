#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Starts the gateway from a database, and stops it while the database does not answer.

    gateway_database_test.py <gateway>

The package velmora.infra is on PYTHONPATH.
"""

import json
import os
import socket
import sqlite3
import subprocess
import sys
import tempfile
import unittest
from contextlib import suppress
from pathlib import Path

from database_gateway import DatabaseGateway, fill, make_tree, own_address
from velmora.infra.model.store import Store

STOPPED = "WARN - stopping : the gateway is stopped before it has started\n"


def has_open(pid: int, file: Path) -> bool:
    """Returns whether a process has a file open."""
    for descriptor in Path(f"/proc/{pid}/fd").iterdir():
        # It may be closed while they are listed.
        with suppress(FileNotFoundError):
            if os.readlink(descriptor) == str(file):
                return True
    return False


class GatewayDatabase(unittest.TestCase):
    program = ""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        make_tree(self.home / "tree")
        self.file = self.home / "gateways.db"
        self.url = f"sqlite://localhost{self.file}?sets=site"
        self.gateway = DatabaseGateway(self.program, self.home / "tree", self.home / "gateway")
        self.addCleanup(self.gateway.kill)

    def fill(self) -> None:
        """Makes a database that holds the files of the gateway."""
        fill(self.url, {"": own_address()})

    def stop(self) -> str:
        """Stops the gateway, which must end in order, and returns its output."""
        self.assertEqual(0, self.gateway.stop(), self.gateway.output)
        return self.gateway.output

    def run_once(self) -> str:
        """Starts the gateway, stops it, and returns its log."""
        self.gateway.start(self.url)
        self.gateway.wait_until_it_runs()
        self.stop()
        return self.gateway.lines

    def test_starts_from_what_its_files_hold(self) -> None:
        self.fill()
        self.run_once()

    def test_starts_from_a_snapshot_with_a_warning_in_its_own_log(self) -> None:
        self.fill()
        self.url += f"&snapshot={self.home}/last.cfg"
        self.run_once()
        self.file.unlink()
        self.assertRegex(self.run_once(), r"WARN .* keswardin\.infra\.GlobalConfig - cannot read the configuration from .*"
                                          r"; the snapshot .*/last\.cfg of .*, which is \d+ s old, takes its place\n")

    def ask(self, *words: str) -> "subprocess.CompletedProcess[str]":
        """Runs the gateway with a command, which ends by itself."""
        return subprocess.run([self.program, "--global-config", self.url, *words], capture_output=True, text=True, timeout=60,
                              check=False, env=self.gateway.environment)

    def test_checks_what_is_in_the_database_and_writes_nothing(self) -> None:
        self.fill()
        self.url += f"&snapshot={self.home}/last.cfg"
        before = sorted(self.home.rglob("*"))
        self.assertEqual((0, "The gateway starts with this configuration: 0 errors, 0 warnings, 0 notes.\n", ""),
                         (lambda done: (done.returncode, done.stdout, done.stderr))(self.ask("--check")))
        self.assertEqual(before, sorted(self.home.rglob("*")))
        with Store(self.url).change() as change:
            change.set("site", "gateway.calls.most", "many")
        done = self.ask("--check")
        self.assertRegex(done.stdout, r"(?m)^sqlite://\S*: warning: gateway\.calls\.most = many is STRING and has no effect; ")
        self.assertNotIn("0 warnings", done.stdout)

    def test_the_check_of_a_database_that_is_away_fails_with_the_reason(self) -> None:
        done = self.ask("--check")
        self.assertEqual(1, done.returncode)
        self.assertRegex(done.stdout, r"SourceAway: cannot read the configuration from .*: No such file or directory; correct")
        self.assertRegex(done.stdout, r"(?m)^sqlite://\S*: error: the database cannot be read, for the reason that is logged "
                                      r"\[unreadable-database\]$")

    def test_a_status_is_asked_by_the_socket_of_the_database(self) -> None:
        self.fill()
        self.gateway.start(self.url)
        self.gateway.wait_until_it_runs()
        done = self.ask("--status", "--json")
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        self.assertEqual(0, json.loads(done.stdout)["calls"]["now"], done.stdout)
        self.stop()

    def test_ends_while_a_server_does_not_answer(self) -> None:
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            self.gateway.start(f"postgresql://127.0.0.1/x?sets=site&deadline=600&port={silent.getsockname()[1]}")
            with silent.accept()[0]:
                self.assertEqual(STOPPED, self.stop())

    def test_ends_while_a_file_is_locked(self) -> None:
        self.fill()
        connection = sqlite3.connect(self.file, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN EXCLUSIVE")
        self.gateway.start(self.url + "&deadline=600")
        self.gateway.wait_for(lambda: has_open(self.gateway.pid, self.file), "it does not open the database")
        self.assertEqual(STOPPED, self.stop())


if __name__ == "__main__":
    GatewayDatabase.program = sys.argv.pop(1)
    unittest.main()
