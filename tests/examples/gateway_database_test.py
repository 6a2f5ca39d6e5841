#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Starts the gateway from a database, and stops it while the database does not answer.

    gateway_database_test.py <gateway>

The package velmora.infra is on PYTHONPATH.
"""

import os
import socket
import sqlite3
import sys
import tempfile
import unittest
from pathlib import Path

from database_gateway import DatabaseGateway, fill, make_tree, own_address

STOPPED = "WARN - stopping : the gateway is stopped before it has started\n"


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
        opened = Path(f"/proc/{self.gateway.pid}/fd")
        # A descriptor may be closed while they are listed.
        self.gateway.wait_for(lambda: str(self.file) in [os.path.realpath(entry) for entry in opened.iterdir()],
                              "it does not open the database")
        self.assertEqual(STOPPED, self.stop())


if __name__ == "__main__":
    GatewayDatabase.program = sys.argv.pop(1)
    unittest.main()
