# SPDX-License-Identifier: BSD-2-Clause

"""Tests velmora-config on a real PostgreSQL."""

import subprocess
import unittest
from typing import Any

from postgresql_server import PostgresqlServer
from support import read
from tool_support import FILES, TOOL, ToolTest
from velmora.infra.model import config_file
from velmora.infra.model.store import Store

EXIT = "keswardin.exitTimeoutSec"
SERVER: PostgresqlServer


def setUpModule() -> None:
    global SERVER
    SERVER = PostgresqlServer()
    unittest.addModuleCleanup(SERVER.remove)


class PostgresqlToolTest(ToolTest):
    def setUp(self) -> None:
        super().setUp()
        SERVER.administer("DROP SCHEMA public CASCADE", "CREATE SCHEMA public AUTHORIZATION gw", database="gateways")
        Store(SERVER.socket_url("deadline=5")).initialize()

    def command(self, *words: str) -> list[str]:
        return [TOOL, "--database", SERVER.socket_url(), *words]

    def last_moment(self) -> str:
        """Returns the moment of the last change."""
        changes: Any = self.answer("history")
        return str(changes[-1]["moment"])

    def test_files_come_out_as_they_went_in_and_an_import_is_undone(self) -> None:
        self.good("create-set", "a")
        moment = self.last_moment()
        path = str(FILES / "logging.cfg")
        self.good("import", path, "--set", "a")
        expected = {line.name: line.value for line in config_file.read(path)}
        self.assertEqual(expected, self.answer("export"))
        self.assertEqual(expected, dict(read(SERVER.socket_url())))
        self.assertEqual("", self.good("diff", path, "a"))
        self.assertEqual(f"back to {moment} by {len(expected)} changes\n", self.good("rollback", moment))
        self.assertEqual({}, self.answer("export"))
        self.assertEqual("0 values in 1 sets, 0 problems\n", self.good("check"))

    def test_a_file_of_sqlite_is_copied_to_a_server(self) -> None:
        source = Store(self.url())
        with source.change() as change:
            change.create_set("common")
            change.create_set("site", "common", "a note")
            change.set("site", EXIT, "12", host="gw1")
        done = subprocess.run([TOOL, "--database", self.url(), "copy", SERVER.socket_url()], capture_output=True, text=True,
                              timeout=60, check=False)
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        target = Store(SERVER.socket_url())
        self.assertEqual((source.state(), source.notes()), (target.state(), target.notes()))

    def test_of_two_writers_at_once_one_wins_and_the_other_is_told(self) -> None:
        self.good("create-set", "a")
        writers = [subprocess.Popen(self.command("set", EXIT, value, "--set", "a", "--if-unset"), text=True,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE) for value in ("10", "11")]
        outputs = [writer.communicate(timeout=60) for writer in writers]
        self.assertEqual([0, 1], sorted(writer.returncode for writer in writers))
        loser = 0 if writers[0].returncode else 1
        self.assertRegex(outputs[loser][1], rf'^velmora-config: .*: {EXIT} in the set "a" has been changed by \S+@\S+ at \S+Z; '
                                            "look at its value and set it again\n$")
        self.assertEqual([(EXIT, ("11", "10")[loser])], read(SERVER.socket_url()))

    def test_a_killed_import_leaves_nothing(self) -> None:
        path = self.written("a.cfg", "".join(f"log4cplus.{number} = {'x' * 200}\n" for number in range(20000)))
        importer = subprocess.Popen(self.command("import", path, "--set", "a"), stdout=subprocess.DEVNULL)
        connection = SERVER.connect("gateways")
        self.addCleanup(connection.close)
        connection.autocommit = True
        with connection.cursor() as cursor:
            written = False
            while not written and importer.poll() is None:
                cursor.execute("SELECT 1 FROM pg_locks WHERE relation = 'parameter_value'::regclass "
                               "AND mode = 'RowExclusiveLock'")
                written = cursor.fetchone() is not None
        importer.kill()
        importer.wait()
        self.assertTrue(written)
        self.assertEqual([], self.answer("history"))


if __name__ == "__main__":
    unittest.main()
