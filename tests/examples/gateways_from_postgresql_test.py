#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Starts twenty gateways at the same time from one PostgreSQL: one that runs, is killed, is stopped, and runs again.

    gateways_from_postgresql_test.py <gateway>

The package velmora.infra is on PYTHONPATH.
"""

import signal
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Callable, List

from database_gateway import DatabaseGateway, fill, make_tree, own_address
from postgresql_server import PostgresqlServer
from velmora.infra.model.store import Store

NUMBER = 20
RETRY_AFTER = "gateway.calls.retryAfterSec"
SERVER: PostgresqlServer


def setUpModule() -> None:
    global SERVER
    SERVER = PostgresqlServer()
    unittest.addModuleCleanup(SERVER.remove)


class Gateways(unittest.TestCase):
    program = ""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        make_tree(self.folder / "tree")
        SERVER.administer("DROP SCHEMA public CASCADE", "CREATE SCHEMA public AUTHORIZATION gw", database="gateways")
        fill(SERVER.socket_url("deadline=60"), {f"gw{number}": own_address(number) for number in range(NUMBER)})
        self.gateways: List[DatabaseGateway] = []
        for number in range(NUMBER):
            self.gateways.append(DatabaseGateway(self.program, self.folder / "tree", self.folder / f"gw{number}"))
            self.addCleanup(self.gateways[-1].kill)

    def start(self, query: Callable[[int], str] = lambda number: "") -> None:
        """Starts all gateways: each second one over TLS. The query may have more for each."""
        for number, gateway in enumerate(self.gateways):
            url = (SERVER.tls_url, SERVER.socket_url)[number % 2]
            gateway.start(url(f"sets=site&hostnames=gw{number}&deadline=60{query(number)}"))

    def snapshot(self, number: int) -> str:
        """Returns the part of a query that names a snapshot, for the first half of the gateways."""
        return f"&snapshot={self.folder}/gw{number}.cfg" if number < NUMBER // 2 else ""

    def stop(self) -> None:
        for gateway in self.gateways:
            gateway.process.send_signal(signal.SIGTERM)  # type: ignore[union-attr]
        self.assertEqual([0] * NUMBER, [gateway.end() for gateway in self.gateways])

    def run_all(self, query: Callable[[int], str] = lambda number: "") -> None:
        """Starts all gateways, each of which must run with its own address and whose sources draw no warning, and stops them."""
        self.start(query)
        for number, gateway in enumerate(self.gateways):
            gateway.wait_until_it_runs()
            self.assertIn(f"running at sip:{own_address(number)}:5060", gateway.lines)
            self.assertNotRegex(gateway.lines, r"(WARN|ERROR) .* keswardin\.infra\.GlobalConfig")
        self.stop()

    def expect_halves(self, reason: str) -> None:
        """Expects that those with a snapshot run with a warning, and that the others end with an error; each names the
        reason.
        """
        for number, gateway in enumerate(self.gateways):
            if self.snapshot(number):
                gateway.wait_until_it_runs()
                self.assertIn(f"running at sip:{own_address(number)}:5060", gateway.lines)
                self.assertRegex(gateway.lines, rf"WARN .* - cannot read the configuration from postgresql://.*: {reason}.*; the "
                                                rf"snapshot {self.folder}/gw{number}\.cfg of .* takes its place\n")
            else:
                self.assertEqual(1, gateway.end())
                self.assertRegex(gateway.output, f"SourceAway: cannot read the configuration from postgresql://.*: {reason}")
                self.assertEqual(1, gateway.output.count("Embedded Python Interpreter Exception"))
                self.assertNotIn("running at", gateway.lines)
        for gateway in self.gateways[:NUMBER // 2]:
            self.assertEqual(0, gateway.stop())

    def test_start_at_the_same_time_each_with_its_own_parameters(self) -> None:
        self.run_all()

    def test_survive_a_server_that_is_killed_while_they_read_if_they_have_a_snapshot(self) -> None:
        self.run_all(self.snapshot)
        holder = SERVER.connect("gateways")
        holder.autocommit = False
        holder.cursor().execute("LOCK TABLE parameter_value")
        self.start(self.snapshot)
        watcher = SERVER.connect("gateways")
        with watcher.cursor() as cursor:
            for _ in range(1200):
                cursor.execute("SELECT count(*) FROM pg_stat_activity WHERE wait_event_type = 'Lock'")
                (waiting,) = cursor.fetchone()
                if waiting == NUMBER:
                    break
                time.sleep(0.05)
        self.assertEqual(NUMBER, waiting)
        SERVER.stop(signal.SIGKILL)
        self.addCleanup(SERVER.start)
        self.expect_halves("the connection was lost: ")

    def test_survive_a_server_that_is_stopped_if_they_have_a_snapshot_and_return_to_it(self) -> None:
        self.run_all(self.snapshot)
        SERVER.stop()
        try:
            self.start(self.snapshot)
            self.expect_halves("no connection to ")
        finally:
            SERVER.start()
        with Store(SERVER.socket_url("deadline=60")).change() as change:
            change.set("site", RETRY_AFTER, "23")
        self.run_all(self.snapshot)
        for number in range(NUMBER // 2):
            self.assertIn(f"{RETRY_AFTER}=23\n", (self.folder / f"gw{number}.cfg").read_text())


if __name__ == "__main__":
    Gateways.program = sys.argv.pop(1)
    unittest.main()
