# SPDX-License-Identifier: BSD-2-Clause

"""Tests the commands of velmora-config that compare, go back and check."""

import sqlite3
import unittest
from typing import Any

from support import read
from tool_support import ToolTest
from velmora.infra.model.store import Store

EXIT = "keswardin.exitTimeoutSec"
KILL = "keswardin.killTimeoutSec"
MODE = "keswardin.run.mode"


class MomentsTest(ToolTest):
    def setUp(self) -> None:
        super().setUp()
        with Store(self.url()).change() as change:
            change.create_set("common")
            change.create_set("site-a", "common")
            change.set("common", EXIT, "10")
            change.set("common", KILL, "20")
            change.set("site-a", MODE, "production")
            change.set("site-a", EXIT, "12", host="gw1")

    def last_moment(self) -> str:
        """Returns the moment of the last change."""
        changes: Any = self.answer("history")
        return str(changes[-1]["moment"])

    def spoil(self, set_name: str, host: str, name: str, value: str) -> None:
        """Writes a value past all checks."""
        with sqlite3.connect(self.file) as connection:
            connection.execute("INSERT INTO parameter_value SELECT id, ?, ?, ? FROM parameter_set WHERE name = ?",
                               (host, name, value, set_name))

    def test_sets_are_compared(self) -> None:
        self.assertEqual(f"+ {MODE} = production\n", self.good("diff", "common", "site-a"))
        self.assertEqual([{"name": MODE, "a": None, "b": "production"}], self.answer("diff", "common", "site-a"))
        self.assertEqual("", self.good("diff", "common", "common"))

    def test_hosts_are_compared(self) -> None:
        self.assertEqual(f"- {EXIT} = 10\n+ {EXIT} = 12\n", self.good("diff", "site-a", "site-a:GW1"))
        url = self.url("sets=site-a")
        self.assertEqual(f"- {EXIT} = 12\n+ {EXIT} = 10\n", self.good("--database", url, "diff", ":gw1", ":gw2"))

    def test_a_set_is_compared_with_a_file(self) -> None:
        path = self.written("a.cfg", f"{EXIT} = 10\n{MODE} = development\n")
        expected = f"- {MODE} = development\n+ {KILL} = 20\n"
        self.assertEqual("".join(sorted(expected.splitlines(True), key=lambda line: line[2:])),
                         self.good("diff", path, "common"))
        self.assertEqual("", self.good("diff", "a.cfg", path))

    def test_moments_are_compared(self) -> None:
        moment = self.last_moment()
        self.good("set", EXIT, "11", "--set", "common")
        self.good("unset", KILL, "--set", "common")
        self.assertEqual(f"- {EXIT} = 10\n+ {EXIT} = 11\n- {KILL} = 20\n",
                         self.good("diff", f"site-a@{moment}", "site-a"))
        self.assertEqual(f"- {KILL} = 20\n", self.good("diff", f"site-a:gw1@{moment}", "site-a:gw1"))

    def test_a_comparison_without_a_set_is_refused(self) -> None:
        self.assertEqual("velmora-config: :gw1 names no set; write SETS:HOSTS@MOMENT, or name the sets in the URL\n",
                         self.refused("diff", ":gw1", "common"))

    def test_values_and_parents_come_back(self) -> None:
        moment = self.last_moment()
        url = self.url("sets=site-a&hostnames=gw1")
        before = sorted(read(url))
        self.good("set", EXIT, "11", "--set", "common")
        self.good("set", EXIT, "13", "--set", "site-a", "--host", "gw1")
        self.good("unset", KILL, "--set", "common")
        self.good("set", MODE, "development", "--set", "site-a", "--host", "gw1")
        self.good("set-parent", "site-a")
        self.good("set-parent", "common", "site-a")
        after = self.last_moment()
        changed = sorted(read(url))
        self.assertEqual(f"back to {moment} by 6 changes\n", self.good("rollback", moment))
        self.assertEqual(before, sorted(read(url)))
        self.assertEqual({"moment": moment, "changes": 0}, self.answer("rollback", moment))
        self.good("rollback", after)
        self.assertEqual(changed, sorted(read(url)))

    def test_a_set_that_was_made_later_stays_without_values(self) -> None:
        moment = self.last_moment()
        self.good("create-set", "site-b")
        self.good("set", EXIT, "1", "--set", "site-b")
        self.good("rollback", moment)
        self.assertEqual([], read(self.url("sets=site-b")))

    def test_a_rollback_is_in_the_history_and_can_be_undone(self) -> None:
        moment = self.last_moment()
        self.good("set", EXIT, "11", "--set", "common")
        later = self.last_moment()
        self.good("rollback", moment)
        changes: Any = self.answer("history", EXIT)
        self.assertEqual(("11", "10"), (changes[-1]["old"], changes[-1]["new"]))
        self.good("rollback", later)
        self.assertEqual("11", dict(read(self.url("sets=common")))[EXIT])

    def test_an_import_is_undone_as_a_whole(self) -> None:
        moment = self.last_moment()
        self.good("import", self.written("a.cfg", "".join(f"log4cplus.{i} = 1\n" for i in range(1000))), "--set", "common")
        changes: Any = self.answer("history")
        self.assertEqual(1, len({change["moment"] for change in changes[-1000:]}))
        self.assertEqual(f"back to {moment} by 1000 changes\n", self.good("rollback", moment))

    def test_a_moment_may_be_written_in_another_zone(self) -> None:
        self.assertEqual("back to 2999-01-01T10:00:00.000000Z by 0 changes\n",
                         self.good("rollback", "2999-01-01T12:00+02:00"))

    def test_a_moment_before_all_changes_is_refused(self) -> None:
        reason = "there is no change up to 2001-01-01T00:00:00.000000Z; velmora-config history lists the moments of the changes"
        self.assertEqual(self.change_refused(reason), self.refused("rollback", "2001-01-01"))
        self.assertEqual(self.change_refused(reason), self.refused("diff", "common@2001-01-01", "common"))

    def test_what_is_no_moment_is_a_wrong_command_line(self) -> None:
        for words in (("rollback", "yesterday"), ("diff", "common@yesterday", "common")):
            code, output, errors = self.run_tool(*words)
            self.assertEqual((2, ""), (code, output))
            self.assertRegex(errors, rf"(?m)^velmora-config {words[0]}: error: argument (MOMENT|A): 'yesterday' is no moment; "
                                     "write it as 2026-11-23T14:30:00Z$")

    def test_a_good_configuration_has_no_problems(self) -> None:
        self.assertEqual("4 values in 2 sets, 0 problems\n", self.good("check"))
        self.assertEqual({"sets": 2, "values": 4, "problems": []}, self.answer("check"))

    def test_what_programs_would_refuse_is_found(self) -> None:
        self.spoil("site-a", "gw1", "log4cplus.x", "1\n2")
        self.spoil("site-a", "", "log4cplus.y\n", "1")
        code, output, errors = self.run_tool("check")
        self.assertEqual((1, ""), (code, errors))
        self.assertEqual(r"site-a: 'log4cplus.y\n': the name cannot be in a configuration: it holds an end of a line" "\n"
                         "site-a:gw1: log4cplus.x: the value cannot be in a configuration: it holds an end of a line\n"
                         "6 values in 2 sets, 2 problems\n", output)

    def test_a_circle_of_parents_is_found(self) -> None:
        with sqlite3.connect(self.file) as connection:
            connection.execute("UPDATE parameter_set SET parent_id = id WHERE name = 'common'")
        self.assertEqual('velmora-config: the set "common" is its own parent, or more than 100 sets are above each other; '
                         "correct the parents of the sets\n", self.refused("check"))


if __name__ == "__main__":
    unittest.main()
