# SPDX-License-Identifier: BSD-2-Clause

"""Tests the commands of velmora-config that change values, and those that show them."""

import json
import os
import random
import re
import shutil
import string
import subprocess
import time
import unittest
from pathlib import Path
from typing import Any

from support import read
from tool_support import FILES, TOOL, ToolTest
from velmora.infra.model import config_file
from velmora.infra.model.rules import fault_of_name, fault_of_value
from velmora.infra.model.store import Store

EXIT = "keswardin.exitTimeoutSec"


class ValuesTest(ToolTest):
    def setUp(self) -> None:
        super().setUp()
        self.good("create-set", "common")
        self.good("create-set", "site-a", "--parent", "common")

    def test_init_makes_the_tables(self) -> None:
        self.file.unlink()
        self.assertEqual(f"{self.url()} is ready, with 0 rows of programs\n", self.good("init"))
        self.assertEqual({"database": self.url(), "rows": 0}, self.answer("init"))
        self.assertEqual([], self.answer("history"))

    def test_a_set_is_made_with_its_parent_and_note(self) -> None:
        self.assertEqual("made the set site-b\n", self.good("create-set", "site-b", "--parent", "common", "--note", "a b"))
        self.assertEqual({"set": "site-c", "parent": None, "note": ""}, self.answer("create-set", "site-c"))
        self.assertEqual(self.change_refused('there is a set "site-b" already; choose another name'),
                         self.refused("create-set", "site-b"))

    def test_a_set_gets_another_parent_or_none(self) -> None:
        self.assertEqual("site-a has no parent\n", self.good("set-parent", "site-a"))
        self.assertEqual("common is below site-a\n", self.good("set-parent", "common", "site-a"))
        self.assertEqual({"set": "common", "parent": "site-a"}, self.answer("set-parent", "common", "site-a"))
        self.assertEqual(self.change_refused('"common" has the set "site-a" above it, so it cannot be its parent; choose '
                                             "another parent"), self.refused("set-parent", "site-a", "common"))

    def test_the_sets_are_listed(self) -> None:
        self.good("set", EXIT, "10", "--set", "site-a", "--host", "gw2")
        self.good("set", EXIT, "10", "--set", "site-a", "--host", "gw1")
        self.good("set", EXIT, "10", "--set", "site-a")
        self.good("create-set", "site-b", "--note", "not yet in use")
        self.assertEqual("common, 0 values\n"
                         "site-a below common, 3 values, for gw1,gw2\n"
                         "site-b, 0 values: not yet in use\n", self.good("sets"))
        self.assertEqual([{"set": "common", "parent": None, "note": "", "values": 0, "hosts": []},
                          {"set": "site-a", "parent": "common", "note": "", "values": 3, "hosts": ["gw1", "gw2"]},
                          {"set": "site-b", "parent": None, "note": "not yet in use", "values": 0, "hosts": []}],
                         self.answer("sets"))

    def test_a_refusal_is_json_for_programs_too(self) -> None:
        code, output, errors = self.run_tool("--json", "unset", EXIT, "--set", "site-a")
        text = f"{EXIT} has no value in site-a; velmora-config show {EXIT} lists those that it has"
        self.assertEqual((1, f"velmora-config: {text}\n"), (code, errors))
        self.assertEqual({"refused": [text]}, json.loads(output))

    def test_a_value_is_set_and_the_former_one_told(self) -> None:
        self.assertEqual(f"site-a: {EXIT} = 10, was not set\n", self.good("set", EXIT, "10", "--set", "site-a"))
        self.assertEqual(f"site-a: {EXIT} = 11, was 10\n", self.good("set", EXIT, "11", "--set", "site-a"))
        self.assertEqual(f"site-a:gw1: {EXIT} = 12, was not set\n",
                         self.good("set", EXIT, "12", "--set", "site-a", "--host", "GW1"))
        self.assertEqual({"set": "site-a", "host": "gw1", "name": EXIT, "old": "12", "new": "13"},
                         self.answer("set", EXIT, "13", "--set", "site-a", "--host", "gw1"))
        self.assertEqual([(EXIT, "13")], read(self.url("sets=site-a&hostnames=gw1")))

    def test_a_value_is_removed(self) -> None:
        self.good("set", EXIT, "10", "--set", "site-a")
        self.assertEqual(f"site-a: {EXIT} is no longer set, was 10\n", self.good("unset", EXIT, "--set", "site-a"))
        self.assertEqual(f"velmora-config: {EXIT} has no value in site-a; velmora-config show {EXIT} lists those that it "
                         "has\n", self.refused("unset", EXIT, "--set", "site-a"))
        self.good("set", EXIT, "10", "--set", "site-a")
        self.assertEqual({"set": "site-a", "host": "", "name": EXIT, "old": "10", "new": None},
                         self.answer("unset", EXIT, "--set", "site-a"))

    def test_a_value_that_is_no_line_is_refused(self) -> None:
        self.assertEqual(f"velmora-config: {EXIT}: the value cannot be in a configuration: it holds an end of a line\n",
                         self.refused("set", EXIT, "1\n2", "--set", "site-a"))

    def test_a_set_that_does_not_exist_is_refused(self) -> None:
        self.assertEqual(self.change_refused('there is no set "site-b"; correct the name, or make the set'),
                         self.refused("set", EXIT, "1", "--set", "site-b"))

    def test_a_value_that_has_changed_since_is_refused(self) -> None:
        self.good("set", EXIT, "10", "--set", "site-a", "--if-unset")
        for words in (("set", EXIT, "12", "--set", "site-a", "--if-unset"),
                      ("set", EXIT, "12", "--set", "site-a", "--if-value", "9"),
                      ("unset", EXIT, "--set", "site-a", "--if-value", "9")):
            self.assertRegex(self.refused(*words), "^" + re.escape(self.change_refused(
                f'{EXIT} in the set "site-a" has been changed by WHO; look at its value and set it again')
                ).replace("WHO", r"\S+@\S+ at \S+Z") + "$")
        self.good("set", EXIT, "12", "--set", "site-a", "--if-value", "10")
        self.good("unset", EXIT, "--set", "site-a", "--if-value", "12")

    def test_of_two_writers_at_once_one_wins_and_the_other_is_told(self) -> None:
        writers = [subprocess.Popen(self.command("set", EXIT, value, "--set", "site-a", "--if-unset"), text=True,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE) for value in ("10", "11")]
        outputs = [writer.communicate(timeout=60) for writer in writers]
        self.assertEqual([0, 1], sorted(writer.returncode for writer in writers))
        winner = 0 if writers[0].returncode == 0 else 1
        value = ("10", "11")[winner]
        self.assertEqual((f"site-a: {EXIT} = {value}, was not set\n", ""), outputs[winner])
        self.assertRegex(outputs[1 - winner][1], rf'^velmora-config: .*: {EXIT} in the set "site-a" has been changed by ')
        self.assertEqual([(EXIT, value)], read(self.url("sets=site-a")))

    def test_of_two_writers_without_a_condition_the_second_is_told_what_it_replaced_and_the_history_has_both(self) -> None:
        writers = [subprocess.Popen(self.command("set", EXIT, value, "--set", "site-a"), text=True, stdout=subprocess.PIPE)
                   for value in ("10", "11")]
        outputs = {writer.communicate(timeout=60)[0] for writer in writers}
        changes: Any = self.answer("history", EXIT)
        first, second = (change["new"] for change in changes)
        self.assertEqual({"10", "11"}, {first, second})
        self.assertEqual({f"site-a: {EXIT} = {first}, was not set\n", f"site-a: {EXIT} = {second}, was {first}\n"}, outputs)

    def test_each_level_is_shown_and_which_wins(self) -> None:
        for value, place in (("1", ("common",)), ("2", ("site-a",)), ("3", ("site-a", "--host", "gw1")),
                             ("4", ("site-a", "--host", "gw2"))):
            self.good("set", EXIT, value, "--set", *place)
        self.assertEqual("  common: 1\n  site-a: 2\n  site-a:gw1: 3\n  site-a:gw2: 4\n", self.good("show", EXIT))
        self.assertEqual("  common: 1\n* site-a: 2\n", self.good("show", EXIT, "--sets", "site-a"))
        self.assertEqual("  common: 1\n  site-a: 2\n* site-a:gw1: 3\n",
                         self.good("show", EXIT, "--sets", "site-a", "--hosts", "GW1"))
        self.assertEqual({"name": EXIT, "levels": [
            {"set": "common", "host": "", "value": "1", "wins": False},
            {"set": "site-a", "host": "", "value": "2", "wins": True}]}, self.answer("show", EXIT, "--sets", "site-a"))

    def test_sets_and_hosts_of_the_url_are_used(self) -> None:
        self.good("set", EXIT, "2", "--set", "site-a")
        self.good("set", EXIT, "3", "--set", "site-a", "--host", "gw1")
        url = self.url("sets=site-a&hostnames=gw1")
        self.assertEqual("  site-a: 2\n* site-a:gw1: 3\n", self.good("--database", url, "show", EXIT))
        self.assertEqual(f"{EXIT} = 3\n", self.good("--database", url, "export"))

    def test_a_name_without_a_value_is_refused(self) -> None:
        self.assertEqual(f"velmora-config: {EXIT} has no value in any set\n", self.refused("show", EXIT))
        self.assertEqual(f"velmora-config: {EXIT} has no value in what is read\n",
                         self.refused("show", EXIT, "--sets", "site-a"))
        self.assertEqual('velmora-config: there is no set "site-b"; correct sets= in the URL, or make the set with '
                         "velmora-config\n", self.refused("show", EXIT, "--sets", "site-b"))

    def test_the_history_lists_the_changes(self) -> None:
        self.good("set", EXIT, "10", "--set", "site-a", "--host", "gw1")
        self.good("unset", EXIT, "--set", "site-a", "--host", "gw1")
        shown = re.sub(r"(?m)^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \S+@\S+ ", "", self.good("history"))
        self.assertEqual("common: made the set\nsite-a: made the set\nsite-a: parent = common, was not set\n"
                         f"site-a:gw1: {EXIT} = 10, was not set\nsite-a:gw1: {EXIT} is no longer set, was 10\n", shown)
        entries: Any = self.answer("history", EXIT)
        for entry in entries:
            del entry["moment"], entry["who"]
        self.assertEqual([
            {"subject": "value", "set": "site-a", "host": "gw1", "name": EXIT, "old": None, "new": "10"},
            {"subject": "value", "set": "site-a", "host": "gw1", "name": EXIT, "old": "10", "new": None}], entries)


class FilesTest(ToolTest):
    def test_an_import_tells_what_it_changed(self) -> None:
        path = self.written("a.cfg", "# a comment\n log4cplus.a = 1 = 2 # 3\nlog4cplus.b=\n\nlog4cplus.c = ${HOME}\n")
        self.assertEqual(f"a: {path} has 3 parameters: 3 new, 0 changed, 0 as before\n", self.good("import", path, "--set", "a"))
        self.written("a.cfg", "log4cplus.b = 2\nlog4cplus.c = 3\nlog4cplus.d = 4\nlog4cplus.d = 5\n")
        self.good("set", "log4cplus.c", "3", "--set", "a")
        self.assertEqual({"file": path, "set": "a", "host": "", "parameters": 3, "new": 1, "changed": 1},
                         self.answer("import", path, "--set", "a"))
        self.assertEqual("log4cplus.a = 1 = 2 # 3\nlog4cplus.b = 2\nlog4cplus.c = 3\nlog4cplus.d = 5\n",
                         self.good("export", "--sets", "a"))
        self.assertEqual({"log4cplus.a": "1 = 2 # 3", "log4cplus.b": "2", "log4cplus.c": "3", "log4cplus.d": "5"},
                         self.answer("export", "--sets", "a"))

    def test_an_import_for_a_host(self) -> None:
        path = self.written("a.cfg", "log4cplus.a = 1\n")
        self.good("create-set", "common")
        self.assertEqual(f"a:gw1: {path} has 1 parameters: 1 new, 0 changed, 0 as before\n",
                         self.good("import", path, "--set", "a", "--host", "gw1", "--parent", "common"))
        self.assertEqual(([], [("log4cplus.a", "1")]), (read(self.url("sets=a&hostnames=gw2")),
                                                        read(self.url("sets=a&hostnames=gw1"))))

    def test_a_file_that_cannot_be_read_is_refused(self) -> None:
        path = self.written("a.cfg", "log4cplus.a = 1\nlog4cplus.b 2\n")
        self.assertEqual(f"velmora-config: {path}:2: 'log4cplus.b 2' is no parameter; write \"name = value\"\n",
                         self.refused("import", path, "--set", "a"))
        self.assertEqual("velmora-config: nowhere.cfg cannot be read: No such file or directory; correct the path\n",
                         self.refused("import", "nowhere.cfg", "--set", "a"))
        Path(path).write_bytes(b"log4cplus.a = \xff\n")
        self.assertEqual(f"velmora-config: {path} is no UTF-8; convert it with iconv\n",
                         self.refused("import", path, "--set", "a"))
        self.assertEqual([], self.answer("history"))

    def test_a_database_is_copied_with_its_sets_values_and_rows(self) -> None:
        rows = self.written("rows.json", '[{"name": "site.port", "type": "INT", "lowest": 1, "highest": 65535}]')
        self.good("init", "--rows", rows)
        self.good("create-set", "common")
        self.good("create-set", "a-site", "--parent", "common", "--note", "listed before its parent")
        self.good("set", "site.port", "80", "--set", "common")
        self.good("set", "log4cplus.a", "${HOME}/x", "--set", "a-site", "--host", "gw1")
        other = f"sqlite://localhost{self.folder}/other.db"
        self.assertEqual(f"{other} has 2 sets with 2 values\n", self.good("copy", other))
        copied = Store(other)
        original = Store(self.url())
        self.assertEqual((original.state(), original.notes(), original.rows()),
                         (copied.state(), copied.notes(), copied.rows()))
        self.assertEqual(f"velmora-config: {other} has sets already; name an empty database\n", self.refused("copy", other))

    def test_an_export_without_a_set_is_refused(self) -> None:
        self.assertEqual("velmora-config: no set is named; add --sets\n", self.refused("export"))

    def test_the_files_of_the_gateway_come_out_as_they_went_in(self) -> None:
        rows = '[{"name": "gateway.status.socket", "type": "STRING"}, {"name": "gateway.metrics.file", "type": "STRING"}]'
        self.good("init", "--rows", self.written("rows.json", rows))
        expected = {}
        for name in ("gateway.cfg", "site.cfg", "logging.cfg"):
            path = FILES / name
            expected.update({line.name: line.value for line in config_file.read(str(path))})
            self.good("import", str(path), "--set", "a")
        self.assertEqual(34, len(expected))
        self.assertEqual(expected, self.answer("export", "--sets", "a"))
        self.assertEqual(expected, dict(read(self.url("sets=a"))))
        again = config_file.parse(self.good("export", "--sets", "a"), "")
        self.assertEqual(expected, {line.name: line.value for line in again})

    def test_random_parameters_come_out_as_they_went_in(self) -> None:
        choice = random.Random(5)
        characters = string.printable + "ü€\U0001f600\u2028\x85\xa0" + "=#\"'\\{}. " * 5
        expected: dict[str, str] = {}
        while len(expected) < 10000:
            name = "log4cplus." + "".join(choice.choices(characters, k=choice.randint(1, 12)))
            value = "".join(choice.choices(characters, k=choice.randint(0, 12)))
            if fault_of_name(name) is None and fault_of_value(value) is None:
                expected[name] = value
        text = "".join(f"{name} = {value}\n" for name, value in expected.items())
        self.good("import", self.written("a.cfg", text), "--set", "a")
        self.assertEqual(expected, self.answer("export", "--sets", "a"))
        self.good("import", self.written("b.cfg", self.good("export", "--sets", "a")), "--set", "b")
        self.assertEqual(expected, dict(read(self.url("sets=b"))))

    def test_a_killed_import_leaves_all_or_nothing(self) -> None:
        path = self.written("a.cfg", "".join(f"log4cplus.{number} = {'x' * 200}\n" for number in range(20000)))
        journal = Path(f"{self.file}-journal")
        undone = 0
        for number, delay in enumerate((0, 0.05, 0.1, 0.2, 0.4)):
            # One without content stays, and is of no use any more.
            journal.unlink(missing_ok=True)
            importer = subprocess.Popen(self.command("import", path, "--set", f"s{number}"), stdout=subprocess.DEVNULL)
            while not journal.exists() and importer.poll() is None:
                pass
            time.sleep(delay)
            importer.kill()
            importer.wait()
            changes: Any = self.answer("history")
            made = sum(change["set"] == f"s{number}" for change in changes)
            values = sum(set_name == f"s{number}" for set_name, _, _ in Store(self.url()).state().values)
            self.assertIn((made, values), ((0, 0), (20001, 20000)))
            undone += made == 0
        self.assertGreater(undone, 0)


class CommandLineTest(ToolTest):
    def test_a_wrong_command_line_ends_with_2(self) -> None:
        required = "error: the following arguments are required:"
        for words, text in (("set x", f"velmora-config set: {required} VALUE, --set"),
                            ("show", f"velmora-config show: {required} NAME"),
                            ("", f"velmora-config: {required} COMMAND")):
            code, output, errors = self.run_tool(*words.split())
            self.assertEqual((2, "", text), (code, output, errors.splitlines()[-1]))

    def test_a_database_must_be_named(self) -> None:
        done = subprocess.run([TOOL, "history"], capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(2, done.returncode)
        self.assertTrue(done.stderr.endswith("velmora-config: error: no database is named; add --database, or set "
                                             "VELMORA_CONFIG_DATABASE\n"), done.stderr)

    def test_an_answer_that_cannot_be_written_is_an_error(self) -> None:
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run(self.command("create-set", "a"), stdout=full, stderr=subprocess.PIPE, text=True, timeout=60,
                                  check=False)
        self.assertEqual((1, "velmora-config: cannot write the answer: No space left on device; what was asked has been done\n"),
                         (done.returncode, done.stderr))
        self.assertEqual("a, 0 values\n", self.good("sets"))

    def test_an_answer_is_utf_8_in_each_locale(self) -> None:
        self.good("create-set", "a", "--note", "Größe")
        self.assertEqual((0, "a, 0 values: Größe\n", ""),
                         self.run_tool("sets", LC_ALL="C", PYTHONUTF8="0", PYTHONIOENCODING="ascii"))

    @unittest.skipIf(os.geteuid() != 0 or not os.path.exists("/usr/bin/setpriv"), "only root may be another user")
    def test_a_user_without_a_name_is_in_the_history_by_number(self) -> None:
        self.folder.chmod(0o777)
        self.file.chmod(0o666)
        nameless = {name: value for name, value in os.environ.items() if name not in ("LOGNAME", "USER", "LNAME", "USERNAME")}
        subprocess.run(["setpriv", "--reuid=54321", "--regid=54321", "--clear-groups", *self.command("create-set", "a")],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60, env=nameless)
        self.assertRegex(self.good("history"), r"(?m) 54321@\S+ a: made the set$")

    def test_the_environment_may_name_the_database(self) -> None:
        code, output, errors = self.run_tool("--database", "", "history", VELMORA_CONFIG_DATABASE=str(self.file))
        self.assertEqual(2, code)
        done = subprocess.run([TOOL, "--json", "history"], capture_output=True, text=True, timeout=60, check=False,
                              env={"VELMORA_CONFIG_DATABASE": str(self.file)})
        self.assertEqual((0, "[]\n", ""), (done.returncode, done.stdout, done.stderr))

    def test_a_password_in_the_url_is_refused_and_not_repeated(self) -> None:
        errors = self.refused("--database", "postgresql://gw:hunter2@db/x", "history")
        self.assertEqual("velmora-config: cannot read the configuration from postgresql://gw:***@db/x: the URL holds a password "
                         "or a user in front of the host; write user= into the query, and the password into the file that "
                         "PGPASSFILE names (~/.pgpass) or into the service of PGSERVICEFILE that service= names\n", errors)

    def test_a_database_that_does_not_exist_is_refused(self) -> None:
        self.file.unlink()
        self.assertEqual(self.change_refused("unable to open database file; check that the database can be reached and changed "
                                             "by this user"), self.refused("history"))

    def test_help_names_the_commands(self) -> None:
        text = self.good("--help")
        for name in ("init", "sets", "import", "export", "show", "set", "unset", "history"):
            self.assertRegex(text, rf"(?m)^    {name} ")

    def test_a_missing_package_is_named(self) -> None:
        for package, command in (("sqlalchemy", "history"), ("alembic", "init")):
            shadow = self.folder / package
            shadow.mkdir()
            shadow.joinpath("__init__.py").write_text(f"raise ModuleNotFoundError('No module named {package}', name='{package}')")
            code, output, errors = self.run_tool(command, PYTHONPATH=str(self.folder))
            self.assertEqual((1, "", f"velmora-config: No module named {package}; install the package python3-{package}\n"),
                             (code, output, errors))
            shutil.rmtree(shadow)

    def offered(self, line: str) -> set[str]:
        """Returns what a shell may offer at the end of a line."""
        done = subprocess.run(["bash", "-c", '"$0" 8>&1 9>/dev/null >/dev/null', TOOL], stdout=subprocess.PIPE, text=True,
                              timeout=60, check=True, env={
                                  "_ARGCOMPLETE": "1", "IFS": "\v", "COMP_TYPE": "9", "COMP_LINE": line,
                                  "COMP_POINT": str(len(line))})
        return set(done.stdout.split("\v"))

    def test_a_shell_may_offer_commands_and_options(self) -> None:
        self.assertEqual({"rollback "}, self.offered("velmora-config --database x rol"))
        self.assertEqual({"--sets "}, self.offered("velmora-config show --s"))
        self.assertEqual({"--set", "--host", "--parent", "--help"}, self.offered("velmora-config import x --"))

    def test_a_shell_may_offer_what_is_in_the_database(self) -> None:
        self.good("create-set", "common")
        self.good("create-set", "site-a", "--parent", "common")
        self.good("set", EXIT, "10", "--set", "site-a", "--host", "gw1")
        self.good("set", "log4cplus.rootLogger", "INFO", "--set", "common")
        command = f"velmora-config -d {self.file} "
        self.assertEqual({"common", "site-a"}, self.offered(command + "set x 1 --set "))
        self.assertEqual({"common,site-a "}, self.offered(command + "export --sets common,s"))
        self.assertEqual({"gw1 "}, self.offered(command + "export --hosts g"))
        self.assertLessEqual({EXIT, "log4cplus.rootLogger"}, self.offered(command + "show "))
        self.assertEqual({EXIT + " "}, self.offered(command + "set keswardin.exitT"))
        self.assertEqual({"log4cplus.rootLogger "}, self.offered(command + "set log4"))

    def test_a_shell_may_offer_nothing_without_a_database(self) -> None:
        self.assertEqual({""}, self.offered(f"velmora-config -d {self.folder}/missing.db show kes"))
        self.assertEqual({""}, self.offered("velmora-config show kes"))


if __name__ == "__main__":
    unittest.main()
