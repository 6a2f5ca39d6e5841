# SPDX-License-Identifier: BSD-2-Clause

"""Tests the changes of a database and their history."""

import os
import re
import sqlite3
import subprocess
import sys
import threading
import time
import unittest
from typing import Sequence

from support import ModelTest, read
from velmora.infra.model import reading, schema
from velmora.infra.model.address import parse
from velmora.infra.model.deadline import Deadline
from velmora.infra.model.failure import ChangeError, Conflict
from velmora.infra.model.sqlite_reader import SqliteConnection
from velmora.infra.model.store import Change, Store


class StoreTest(ModelTest):
    def setUp(self) -> None:
        super().setUp()
        self.shop = self.store(lambda change: change.create_set("a"))

    def refused(self, url: str = "") -> str:
        """Returns the beginning of the text of a refused change."""
        return f"cannot change the configuration in {url or self.url()}: "

    def change(self, *arguments: str, **named: object) -> str:
        """Sets a value, and returns why it is refused."""
        def act() -> None:
            with self.shop.change() as change:
                change.set(*arguments, **named)  # type: ignore[arg-type]
        text = self.refusal(act)
        self.assertEqual(self.refused(), text[:len(self.refused())])
        return text[len(self.refused()):]

    def entries(self) -> Sequence[tuple[object, ...]]:
        """Returns the history, without the moments and the set that each test has."""
        return [(entry.who, entry.subject, entry.set_name, entry.host, entry.name, entry.old_text, entry.new_text)
                for entry in self.shop.history()][1:]

    def test_values_come_out_as_they_went_in(self) -> None:
        values = ["", "5", "a=b", "#", "a # b", '"quoted"', "'; DROP TABLE parameter_value; --", "a\\b", "%s ?", "ü\u2028"]
        with self.shop.change() as change:
            for number, value in enumerate(values):
                change.set("a", f"x.{number}", value)
        self.assertEqual(values, [dict(read(self.url("sets=a")))[f"x.{number}"] for number in range(len(values))])

    def test_the_former_value_is_returned(self) -> None:
        with self.shop.change() as change:
            self.assertIsNone(change.set("a", "x", "1"))
            self.assertEqual("1", change.set("a", "x", "2"))
            self.assertEqual("2", change.unset("a", "x"))
            self.assertIsNone(change.unset("a", "x"))

    def test_the_history_has_each_change(self) -> None:
        with self.shop.change() as change:
            change.create_set("b", "a", "a note")
            change.set("b", "x", "1", host="GW1")
            change.set("b", "x", "2", host="gw1")
            change.set("b", "x", "2", host="gw1")
            change.unset("b", "x", host="gw1")
            change.set_parent("b", None)
        self.assertEqual([
            ("operator@desk", "set", "b", "", "", None, "b"),
            ("operator@desk", "parent", "b", "", "", None, "a"),
            ("operator@desk", "note", "b", "", "", None, "a note"),
            ("operator@desk", "value", "b", "gw1", "x", None, "1"),
            ("operator@desk", "value", "b", "gw1", "x", "1", "2"),
            ("operator@desk", "value", "b", "gw1", "x", "2", None),
            ("operator@desk", "parent", "b", "", "", "a", None)], self.entries())
        self.assertEqual(3, len(self.shop.history("x")))

    def test_an_entry_of_the_history_has_its_moment_in_utc(self) -> None:
        self.assertRegex(self.shop.history()[0].moment, r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z$")

    def test_many_values_are_set_at_once(self) -> None:
        with self.shop.change() as change:
            change.set("a", "x", "1")
            change.set("a", "y", "1")
        with self.shop.change() as change:
            self.assertEqual({"x": "1", "z": None}, change.set_all("a", {"x": "2", "y": "1", "z": "${x}"}, tags=True))
        self.assertEqual([("x", "2"), ("y", "1"), ("z", "${x}")], sorted(read(self.url("sets=a"))))
        self.assertEqual([("operator@desk", "value", "a", "", "x", "1", "2"),
                          ("operator@desk", "value", "a", "", "z", None, "${x}")], self.entries()[2:])

    def test_the_moments_rise_though_the_clock_goes_back(self) -> None:
        with sqlite3.connect(self.file) as connection:
            connection.execute("UPDATE parameter_history SET moment = '2999-12-31T23:59:59.999999Z'")
        for value in ("1", "2"):
            with self.shop.change() as change:
                change.set("a", "x", value)
        moments = [entry.moment for entry in self.shop.history()]
        self.assertEqual(["2999-12-31T23:59:59.999999Z", "3000-01-01T00:00:00.000000Z", "3000-01-01T00:00:00.000001Z"], moments)
        with self.shop.change() as change:
            self.assertEqual(1, change.roll_back(moments[1]))
        self.assertEqual([("x", "1")], read(self.url("sets=a")))

    def test_all_changes_of_a_transaction_have_one_moment(self) -> None:
        with self.shop.change() as change:
            change.set("a", "x", "1")
            time.sleep(0.01)
            change.set("a", "y", "1")
        self.assertEqual(1, len({entry.moment for entry in self.shop.history()[1:]}))

    def test_the_history_names_the_user_and_the_host(self) -> None:
        with Store(self.url()).change() as change:
            change.set("a", "x", "1")
        self.assertRegex(self.shop.history("x")[0].who, r"^[^@]+@.+$")

    def test_changes_with_their_history_are_made_all_or_none(self) -> None:
        with self.assertRaises(ZeroDivisionError):
            with self.shop.change() as change:
                change.set("a", "x", "1")
                raise ZeroDivisionError
        self.assertEqual(([], []), (read(self.url("sets=a")), self.entries()))

    def test_a_killed_writer_changes_nothing(self) -> None:
        writer = subprocess.Popen(
            [sys.executable, "-c", "import sys, time\nfrom velmora.infra.model.store import Store\n"
             "with Store(sys.argv[1]).change() as change:\n"
             "    for number in range(100): change.set('a', f'x{number}', '1')\n"
             "    print(flush=True)\n    time.sleep(60)", self.url()], stdout=subprocess.PIPE)
        assert writer.stdout is not None
        writer.stdout.readline()
        writer.kill()
        writer.communicate()
        self.assertEqual(([], []), (read(self.url("sets=a")), self.entries()))

    def test_what_cannot_be_in_a_configuration_is_refused_without_its_value(self) -> None:
        self.assertEqual("the value of x cannot be in a configuration: it holds an end of a line; correct the value",
                         self.change("a", "x", "hunter2\ny=2"))
        self.assertEqual("the value of x cannot be in a configuration: it holds a tag, which would be replaced; "
                         "correct the value", self.change("a", "x", "${HOME}"))
        self.assertEqual(r"the name 'x\n' cannot be in a configuration: it holds an end of a line; correct the name",
                         self.change("a", "x\n", "1"))
        self.assertEqual([], self.entries())

    def test_names_of_sets_and_hosts_are_checked(self) -> None:
        self.assertEqual('there is no set "b"; correct the name, or make the set', self.change("b", "x", "1"))
        self.assertEqual('"gw 1" is no name of a host; use letters, digits, "_", "." and "-"',
                         self.change("a", "x", "1", host="gw 1"))
        for name, reason in (("a,b", '"a,b" is no name of a set; use letters, digits, "_", "." and "-"'),
                             ("a", 'there is a set "a" already; choose another name')):
            with self.assertRaises(ChangeError) as raised:
                with self.shop.change() as change:
                    change.create_set(name)
            self.assertEqual(self.refused() + reason, str(raised.exception))

    def test_a_set_never_has_itself_above_it(self) -> None:
        with self.shop.change() as change:
            change.create_set("b", "a")
            change.create_set("c", "b")
        for parent in ("a", "b", "c"):
            with self.assertRaises(ChangeError) as raised:
                with self.shop.change() as change:
                    change.set_parent("a", parent)
            self.assertEqual(f'{self.refused()}"{parent}" has the set "a" above it, so it cannot be its parent; choose '
                             "another parent", str(raised.exception))

    def test_a_writer_that_has_seen_another_value_is_refused(self) -> None:
        with self.shop.change() as change:
            change.set("a", "x", "1", expected=None)
        with self.shop.change() as change:
            change.set("a", "x", "2", expected="1")
        moment = self.shop.history("x")[-1].moment
        with self.assertRaises(Conflict) as raised:
            with self.shop.change() as change:
                change.set("a", "x", "3", expected="1")
        self.assertEqual(f'{self.refused()}x in the set "a" has been changed by operator@desk at {moment}; look at its '
                         "value and set it again", str(raised.exception))
        self.assertEqual([("x", "2")], read(self.url("sets=a")))

    def test_of_two_writers_at_once_one_wins_and_the_other_is_refused(self) -> None:
        refusals: list[BaseException] = []

        def second() -> None:
            try:
                with Store(self.url(), who="second@desk").change() as change:
                    change.set("a", "x", "2", expected=None)
            except ChangeError as error:
                refusals.append(error)
        with self.shop.change() as change:
            change.set("a", "x", "1", expected=None)
            thread = threading.Thread(target=second)
            thread.start()
            time.sleep(0.3)
        thread.join()
        self.assertEqual([Conflict], [type(error) for error in refusals])
        self.assertEqual([("x", "1")], read(self.url("sets=a")))

    def test_a_locked_database_is_refused(self) -> None:
        connection = sqlite3.connect(self.file, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN EXCLUSIVE")
        store = Store(self.url("deadline=0.2"))
        self.assertEqual(self.refused(self.url("deadline=0.2"))
                         + "database is locked; check that the database can be reached and changed by this user",
                         self.refusal(store.initialize))

    def test_a_missing_database_is_made_by_initialize_alone(self) -> None:
        self.file.unlink()
        with self.assertRaises(ChangeError):
            with self.shop.change():
                pass
        self.assertFalse(self.file.exists())
        self.shop.initialize()
        self.assertEqual([], self.shop.history())

    def test_a_database_of_another_version_takes_no_change(self) -> None:
        with sqlite3.connect(self.file) as connection:
            connection.execute("UPDATE parameter_version SET version_num = '0002'")
        self.assertEqual('its schema has version "0002", and this library reads version "0001"; run velmora-config init on '
                         "it if it is older, or install the library that wrote it", self.change("a", "x", "1"))

    def test_a_database_that_is_not_ours_takes_no_change(self) -> None:
        self.file.unlink()
        sqlite3.connect(self.file).execute("CREATE TABLE other (x)")
        self.assertEqual("the database holds no configuration: there is no table parameter_version; make it with "
                         "velmora-config init, or name another database", self.change("a", "x", "1"))

    def test_a_folder_that_does_not_exist_is_named(self) -> None:
        url = f"sqlite://localhost{self.folder}/nowhere/x.db"
        self.assertEqual(f"{self.refused(url)}{self.folder}/nowhere/x.db: No such file or directory; make its directory, and "
                         "let this user write to it", self.refusal(Store(url).initialize))


class SchemaTest(ModelTest):
    def test_the_version_that_is_read_is_the_last_that_is_made(self) -> None:
        from alembic.config import Config
        from alembic.script import ScriptDirectory

        config = Config()
        config.set_main_option("script_location", os.path.join(os.path.dirname(schema.__file__), "migrations"))
        self.assertEqual(reading.SCHEMA_VERSION, ScriptDirectory.from_config(config).get_current_head())

    def test_the_migrations_make_the_tables_that_are_written(self) -> None:
        from alembic.autogenerate.api import compare_metadata
        from alembic.migration import MigrationContext
        from sqlalchemy import create_engine  # type: ignore[import]

        self.store()
        with create_engine(f"sqlite:///{self.file}").connect() as connection:
            context = MigrationContext.configure(connection, opts={"version_table": schema.VERSION_TABLE})
            self.assertEqual([], compare_metadata(context, schema.metadata))

    def test_an_initialized_database_keeps_what_it_holds(self) -> None:
        def fill(change: Change) -> None:
            change.create_set("a")
            change.set("a", "x", "1")
        self.store(fill).initialize()
        self.assertEqual([("x", "1")], read(self.url("sets=a")))

    def test_the_statements_name_the_tables_that_are_made(self) -> None:
        self.store()
        connection = SqliteConnection(parse(self.url(), needs_sets=False), Deadline(5))
        self.addCleanup(connection.close)
        statement = reading.places_statement(connection, reading.Selection(("a",), ("gw1",)))
        named = set(re.findall(r"\bparameter_\w+", statement + reading.VERSION_STATEMENT))
        self.assertEqual({schema.sets.name, schema.values.name, schema.VERSION_TABLE}, named)


if __name__ == "__main__":
    unittest.main()
