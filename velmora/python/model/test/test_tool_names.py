# SPDX-License-Identifier: BSD-2-Clause

"""Tests how velmora-config checks names and values."""

import json
import random
import unittest
from typing import Callable

from support import read
from tool_support import ToolTest
from velmora.infra.model.store import Store

EXIT = "keswardin.exitTimeoutSec"
ROWS = [
    {"name": "monitor.port", "type": "INT", "default": 80, "lowest": 1, "highest": 65535},
    {"name": "monitor.gain", "type": "FLOAT", "default": None, "lowest": 0, "description": "A factor."},
    {"name": "monitor.realm", "type": "STRING", "default": None},
    # Of the library.
    {"name": EXIT, "type": "INT", "default": 60}]
NO_ROWS = "correct it, or give the rows of its program to velmora-config init --rows"
CURE = "write into it what the program prints for --get-param-info --json"


class NamesTest(ToolTest):
    def setUp(self) -> None:
        super().setUp()
        with Store(self.url()).change() as change:
            change.create_set("a")

    def set_refused(self, name: str, value: str) -> str:
        """Returns why a value is refused, without the beginning that each text has."""
        text = self.refused("set", name, value, "--set", "a")
        beginning = f"velmora-config: {name}: "
        self.assertEqual(beginning, text[:len(beginning)])
        self.assertEqual([], read(self.url("sets=a")))
        return text[len(beginning):]

    def give_rows(self, rows: object) -> str:
        """Gives rows of a program to the database."""
        return self.good("init", "--rows", self.written("rows.json", json.dumps(rows)))

    def test_an_unknown_name_is_refused_with_the_closest_one(self) -> None:
        self.assertEqual(f"no parameter has this name; write {EXIT}\n", self.set_refused("keswardin.exitTimeoutSek", "1"))
        self.assertEqual(f"no parameter has this name; {NO_ROWS}\n", self.set_refused("monitor.port", "1"))

    def test_an_unknown_name_that_is_shown_has_the_closest_one(self) -> None:
        self.assertEqual("velmora-config: keswardin.exitTimeoutSek has no value in any set, and no parameter has this name; "
                         f"write {EXIT}\n", self.refused("show", "keswardin.exitTimeoutSek"))

    def test_a_value_of_a_wrong_type_is_refused(self) -> None:
        self.assertEqual("the value does not fit; write an INT\n", self.set_refused(EXIT, "10s"))
        self.assertEqual("the value does not fit; write a BOOL\n", self.set_refused("keswardin.gw.recordCalls.enabled", "1"))

    def test_a_deprecated_name_is_refused(self) -> None:
        self.assertEqual("the parameter is deprecated; use keswardin.sip.userAgent.IPAddress\n",
                         self.set_refused("keswardin.sip.userAgentPort", "1"))

    def test_a_value_with_a_tag_is_not_checked(self) -> None:
        self.good("set", EXIT, "${SECONDS}", "--set", "a")

    def test_names_below_log4cplus_pass(self) -> None:
        self.good("set", "log4cplus.rootLogger", "INFO, main", "--set", "a")
        self.assertEqual(f"no parameter has this name; {NO_ROWS}\n", self.refused(
            "set", "log4cplus2.x", "1", "--set", "a").removeprefix("velmora-config: log4cplus2.x: "))

    def test_each_wrong_line_of_an_import_is_told(self) -> None:
        path = self.written("a.cfg", f"keswardin.exitTimeoutSek = 1\n{EXIT} = 1\n{EXIT} = x\na..b = 1\n")
        self.assertEqual(f"velmora-config: {path}:1: keswardin.exitTimeoutSek: no parameter has this name; write {EXIT}\n"
                         f"velmora-config: {path}:3: {EXIT}: the value does not fit; write an INT\n"
                         f"velmora-config: {path}:4: a..b: the name cannot be in a configuration: a part of it between \".\" "
                         "is empty\n", self.refused("import", path, "--set", "a"))
        self.assertEqual([], read(self.url("sets=a")))

    def test_rows_of_a_program_are_known(self) -> None:
        self.assertEqual(f"{self.url()} is ready, with 3 rows of programs\n", self.give_rows(ROWS))
        self.assertEqual("the value does not fit; write an INT from 1 to 65535\n", self.set_refused("monitor.port", "0"))
        self.assertEqual("the value does not fit; write a FLOAT at least 0\n", self.set_refused("monitor.gain", "-1.5"))
        self.assertEqual("no parameter has this name; write monitor.realm\n", self.set_refused("monitor.relm", "x"))
        self.good("set", "monitor.port", "80", "--set", "a")

    def test_rows_stay_until_others_are_given(self) -> None:
        self.give_rows(ROWS)
        self.assertEqual({"database": self.url(), "rows": 3}, self.answer("init"))
        self.assertEqual(f"{self.url()} is ready, with 1 rows of programs\n",
                         self.give_rows([{"name": "monitor.x", "type": "BOOL"}]))
        path = self.written("other.json", json.dumps(ROWS))
        self.assertEqual({"database": self.url(), "rows": 4},
                         self.answer("init", "--rows", path, "--rows", str(self.folder / "rows.json")))

    def test_what_is_no_list_of_rows_is_refused(self) -> None:
        path = str(self.folder / "rows.json")
        for text, reason in (
                ("{", f"{path} is no JSON: Expecting property name enclosed in double quotes: line 1 column 2 (char 1)"),
                ("{}", f"{path} holds no list of parameters"),
                ('[{"name": "x"}]',
                 f'{path}: row 0 is no parameter: it has no "name" and "type" (STRING, INT, BOOL, FLOAT)'),
                ('[{"name": "x", "type": "INT", "lowest": "1"}]',
                 f'{path}: row 0 is no parameter: its "lowest" is no number')):
            self.written("rows.json", text)
            self.assertEqual(f"velmora-config: {reason}; {CURE}\n", self.refused("init", "--rows", path))
        self.assertEqual("velmora-config: nowhere cannot be read: No such file or directory; correct the path\n",
                         self.refused("init", "--rows", "nowhere"))

    def test_rows_that_the_library_refuses_change_nothing(self) -> None:
        path = self.written("rows.json", '[{"name": "a b", "type": "INT"}]')
        self.assertEqual('ERROR - cannot register parameter a b: its name has a blank or one of "=#${}", which no name in a '
                         "configuration has; leave that out\n"
                         "velmora-config: rows of a program are refused, as logged above; correct the program, and give its "
                         "rows to init\n", self.refused("init", "--rows", path))
        self.assertEqual({"database": self.url(), "rows": 0}, self.answer("init"))

    def test_a_check_finds_unknown_names_and_wrong_values(self) -> None:
        with Store(self.url()).change() as change:
            change.set("a", "keswardin.exitTimeoutSek", "1")
            change.set("a", EXIT, "x", host="gw1")
            change.set("a", "log4cplus.x", "x")
        code, output, errors = self.run_tool("check")
        self.assertEqual((1, ""), (code, errors))
        self.assertEqual(f"a: keswardin.exitTimeoutSek: no parameter has this name; write {EXIT}\n"
                         f"a:gw1: {EXIT}: the value does not fit; write an INT\n3 values in 1 sets, 2 problems\n", output)
        code, output, errors = self.run_tool("--json", "check")
        self.assertEqual(1, code)
        self.assertEqual({"sets": 1, "values": 3, "problems": [
            {"set": "a", "host": "", "name": "keswardin.exitTimeoutSek",
             "text": f"no parameter has this name; write {EXIT}"},
            {"set": "a", "host": "gw1", "name": EXIT, "text": "the value does not fit; write an INT"}]}, json.loads(output))

    def test_random_parameters_of_a_program_come_out_as_they_went_in(self) -> None:
        choice = random.Random(6)
        kinds: dict[str, Callable[[], str]] = {
            "INT": lambda: str(choice.randint(-2**31, 2**31 - 1)), "BOOL": lambda: choice.choice(("true", "false")),
            "FLOAT": lambda: f"{choice.uniform(-1000, 1000):.3f}", "STRING": lambda: f"x {choice.random()} = # y"}
        rows = [{"name": f"p{number % 97}.q{choice.randint(0, 50)}.r{number}", "type": choice.choice(list(kinds))}
                for number in range(10000)]
        self.give_rows(rows)
        expected = {row["name"]: kinds[row["type"]]() for row in rows}
        path = self.written("a.cfg", "".join(f"{name} = {value}\n" for name, value in expected.items()))
        self.assertEqual(f"a: {path} has 10000 parameters: 10000 new, 0 changed, 0 as before\n",
                         self.good("import", path, "--set", "a"))
        self.assertEqual(expected, self.answer("export", "--sets", "a"))
        self.assertEqual("10000 values in 1 sets, 0 problems\n", self.good("check"))


if __name__ == "__main__":
    unittest.main()
