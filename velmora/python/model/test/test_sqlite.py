# SPDX-License-Identifier: BSD-2-Clause

"""Tests what is read from an SQLite file, and why nothing is."""

import gc
import os
import signal
import sqlite3
import stat
import subprocess
import sys
import time
import unittest
from typing import Any, Callable

from support import ModelTest, read, run
from velmora.infra.model.failure import ChangeError
from velmora.infra.model.reading import DEEPEST
from velmora.infra.model.store import Change, Store


def fill(change: Change) -> None:
    """Makes sets with values on each level."""
    change.create_set("common")
    change.create_set("site-a", "common")
    change.create_set("site-b", "common")
    change.create_set("extra")
    for name in "abcdef":
        change.set("common", name, "common")
    for name in "bcdef":
        change.set("common", name, "common, gw1", host="gw1")
    for name in "cdef":
        change.set("site-a", name, "site-a")
    for name in "def":
        change.set("site-a", name, "site-a, gw1", host="gw1")
    for name in "ef":
        change.set("site-a", name, "site-a, gw1.example", host="gw1.example")
    change.set("extra", "f", "extra")
    change.set("extra", "z", "extra, gw2", host="gw2")
    change.set("site-b", "c", "site-b")


class PrecedenceTest(ModelTest):
    def setUp(self) -> None:
        super().setUp()
        self.store(fill)

    def test_what_comes_later_wins(self) -> None:
        self.assertEqual({"a": "common", "b": "common, gw1", "c": "site-a", "d": "site-a, gw1",
                          "e": "site-a, gw1.example", "f": "extra"},
                         dict(read(self.url("sets=site-a,extra&hostnames=gw1,gw1.example"))))

    def test_each_name_is_returned_once(self) -> None:
        names = [name for name, _ in read(self.url("sets=site-a,site-b,common,extra&hostnames=gw1,gw2"))]
        self.assertEqual(["a", "b", "c", "d", "e", "f", "z"], sorted(names))

    def test_the_last_host_wins(self) -> None:
        self.assertEqual("site-a, gw1", dict(read(self.url("sets=site-a&hostnames=gw1.example,gw1")))["e"])

    def test_values_for_other_hosts_are_not_read(self) -> None:
        self.assertEqual({"f": "extra"}, dict(read(self.url("sets=extra&hostnames=gw1"))))

    def test_a_parent_comes_before_its_child_in_each_order_of_the_sets(self) -> None:
        for sets in ("common,site-a", "site-a,common", "site-a"):
            self.assertEqual("site-a", dict(read(self.url(f"sets={sets}&hostnames=gw9")))["c"])

    def test_a_parent_of_two_sets_does_not_win_over_the_first(self) -> None:
        parameters = dict(read(self.url("sets=site-a,site-b&hostnames=gw9")))
        self.assertEqual(("site-b", "site-a"), (parameters["c"], parameters["d"]))

    def test_an_empty_set_gives_no_parameters(self) -> None:
        with self.store().change() as change:
            change.create_set("empty")
        self.assertEqual([], read(self.url("sets=empty")))

    def test_the_hosts_of_a_url_without_names_are_this_machines_own(self) -> None:
        script = """
            import socket, sys
            socket.gethostname = lambda: sys.argv[2]
            socket.getaddrinfo = lambda *_, **__: [(0, 0, 0, sys.argv[3], ())]
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            print(dict(get(sys.argv[1]))["e"])
        """
        for name, full, value in (("gw1", "gw1", "site-a, gw1"), ("GW1", "gw1.example", "site-a, gw1.example"),
                                  ("gw1.example", "", "site-a, gw1.example"), ("gw1", "localhost", "site-a, gw1")):
            done = run(script, self.url("sets=site-a"), name, full)
            self.assertEqual((value + "\n", ""), (done.stdout, done.stderr))

    def test_another_name_of_the_loopback_is_not_this_machines_own(self) -> None:
        with self.store().change() as change:
            change.set("extra", "y", "localhost", host="localhost")
        done = run("""
            import socket, sys
            socket.gethostname = lambda: "gw1"
            socket.getaddrinfo = lambda *_, **__: [(0, 0, 0, "localhost", ())]
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            print(get(sys.argv[1]))
        """, self.url("sets=extra"))
        self.assertEqual(("[('f', 'extra')]\n", ""), (done.stdout, done.stderr))

    def test_a_name_server_that_does_not_answer_is_a_warning(self) -> None:
        done = run("""
            import socket, sys, time
            socket.gethostname = lambda: "gw1"
            socket.getaddrinfo = lambda *_, **__: time.sleep(60)
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            print(dict(get(sys.argv[1]))["e"])
        """, self.url("sets=site-a&deadline=6"))
        self.assertEqual((f'WARN - only parameters for host "gw1" are read from {self.url("sets=site-a&deadline=6")}: the '
                          "full name of this machine is not found: the name server does not answer; write hostnames= "
                          "into the URL\nsite-a, gw1\n", ""), (done.stdout, done.stderr))

    def test_one_statement_gives_all_values_and_none_needs_sqlalchemy(self) -> None:
        done = run("""
            import sys
            from velmora.infra.model import reading
            statements = []
            from velmora.infra.model.sqlite_reader import SqliteConnection
            rows = SqliteConnection.rows
            SqliteConnection.rows = lambda self, text, *rest: statements.append(text) or rows(self, text, *rest)
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
            print(sum("parameter_value" in text for text in statements), "sqlalchemy" in sys.modules)
        """, self.url("sets=site-a,site-b,extra&hostnames=gw1"))
        self.assertEqual(("1 False\n", ""), (done.stdout, done.stderr))


class SqliteFaultTest(ModelTest):
    def setUp(self) -> None:
        super().setUp()
        self.store(lambda change: change.create_set("a"))

    def change_by_hand(self, *statements: str) -> None:
        """Changes the database as a program that is not ours could."""
        connection = sqlite3.connect(self.file)
        with connection:
            for statement in statements:
                connection.execute(statement)
        connection.close()

    def test_a_missing_set_is_named(self) -> None:
        self.assertEqual('there is no set "b", "c"; correct sets= in the URL, or make the set with velmora-config',
                         self.fault("sets=a,b,c"))

    def test_a_missing_file_is_named_and_not_made(self) -> None:
        self.file.unlink()
        self.assertEqual(f"{self.file}: No such file or directory; correct the path, or make the file with "
                         "velmora-config init", self.fault("sets=a"))
        self.assertFalse(self.file.exists())

    def test_a_folder_is_no_database(self) -> None:
        self.file.unlink()
        self.file.mkdir()
        self.assertEqual(f"{self.file} is no regular file; correct the path", self.fault("sets=a"))

    @unittest.skipIf(os.geteuid() == 0 and not os.path.exists("/usr/bin/setpriv"), "root may read each file")
    def test_a_file_that_may_not_be_read_is_named(self) -> None:
        self.file.chmod(0)
        self.folder.chmod(0o755)
        url = self.url("sets=a")
        program = [sys.executable, "-c", "import sys\nfrom support import read\nread(sys.argv[1])", url]
        if os.geteuid() == 0:
            program = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *program]
        done = subprocess.run(program, capture_output=True, text=True, check=False, cwd=os.path.dirname(__file__))
        self.assertEqual(f"velmora.infra.model.failure.SourceAway: cannot read the configuration from {url}: {self.file}: "
                         "Permission denied; let the user of this process read the file", done.stderr.splitlines()[-1])

    def test_a_file_of_another_kind_is_named(self) -> None:
        self.file.write_text("keswardin.exitTimeoutSec = 10\n" * 100)
        self.assertEqual(f"{self.file} is damaged or no SQLite file: file is not a database; restore it from a copy",
                         self.fault("sets=a"))

    def test_a_database_without_our_tables_is_named(self) -> None:
        self.file.unlink()
        self.change_by_hand("CREATE TABLE other (x)")
        self.assertEqual("the database holds no configuration: there is no table parameter_version; make it with "
                         "velmora-config init, or name another database", self.fault("sets=a"))

    def test_a_database_of_another_version_is_named(self) -> None:
        self.change_by_hand("UPDATE parameter_version SET version_num = '0002'")
        self.assertEqual('its schema has version "0002", and this library reads version "0001"; run velmora-config init on '
                         "it if it is older, or install the library that wrote it", self.fault("sets=a"))

    def test_a_locked_database_is_an_error_at_the_deadline(self) -> None:
        connection = sqlite3.connect(self.file, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN EXCLUSIVE")
        start = time.monotonic()
        self.assertEqual(f"{self.file} is locked by another program, which kept it for the whole 0.5 s; find the program "
                         f"(fuser {self.file}) and end it, or raise deadline= in the URL",
                         self.fault("sets=a&deadline=0.5"))
        self.assertLess(time.monotonic() - start, 20)

    def test_a_database_that_is_locked_for_less_than_the_deadline_is_read(self) -> None:
        locker = subprocess.Popen(
            [sys.executable, "-c", "import sqlite3, sys, time\n"
             "connection = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
             "connection.execute('BEGIN EXCLUSIVE')\nprint(flush=True)\ntime.sleep(0.5)", str(self.file)],
            stdout=subprocess.PIPE)
        assert locker.stdout is not None
        locker.stdout.readline()
        self.assertEqual([], read(self.url("sets=a&deadline=30")))
        locker.communicate()

    def test_a_slow_query_ends_at_the_deadline(self) -> None:
        self.change_by_hand(
            "DROP TABLE parameter_version",
            "CREATE VIEW parameter_version AS WITH RECURSIVE many (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM many) "
            "SELECT n AS version_num FROM many WHERE n < 0")
        self.assertEqual(f"{self.file} could not be read within 0.5 s; check the disk, or raise deadline= in the URL",
                         self.fault("sets=a&deadline=0.5"))

    def test_a_disk_that_does_not_answer_ends_at_the_deadline(self) -> None:
        url = self.url("sets=a&deadline=0.5")
        done = run("""
            import os, sys, time
            stat = os.stat
            os.stat = lambda path, **rest: time.sleep(30) if str(path).endswith("gateways.db") else stat(path, **rest)
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
        """, url)
        self.assertEqual(f"velmora.infra.model.failure.SourceAway: cannot read the configuration from {url}: no answer "
                         "within 0.5 s; check the database, its disk and the name server, or raise deadline= in the URL",
                         done.stderr.splitlines()[-1])

    def test_sets_in_a_circle_are_named(self) -> None:
        self.change_by_hand("UPDATE parameter_set SET parent_id = id")
        self.assertEqual(f'the set "a" is its own parent, or more than {DEEPEST} sets are above each other; '
                         "correct the parents of the sets", self.fault("sets=a"))

    def test_a_value_of_another_program_never_becomes_a_second_line(self) -> None:
        put: Any = "INSERT INTO parameter_value SELECT id, '', {}, {} FROM parameter_set"
        for name, value, fault in (
                ("'x'", "'1' || char(10) || 'y=2'", "the value of x cannot be in a configuration: it holds an end of a "
                                                    "line; correct it in the database"),
                ("'x'", "'1' || char(0)", "the value of x cannot be in a configuration: it holds a NUL; correct it in the "
                                          "database"),
                ("'x'", "x'00'", "the value of x cannot be in a configuration: it holds a NUL; correct it in the database"),
                ("'x'", "'1' || char(10) || 'y' || char(10) || '2'", "the value of x cannot be in a configuration: it holds "
                                                                     "an end of a line; correct it in the database"),
                ("'x'", "CAST(x'ff' AS TEXT)", f"{self.file} holds a text that is no UTF-8; correct it in the database"),
                ("'x'", "'a$b'", 'the value of x cannot be in a configuration: it holds a "$" that begins no tag such as '
                                 "${NAME}; correct it in the database"),
                ("'x' || char(10)", "''", r"the parameter name 'x\n' cannot be in a configuration: it holds an end of a "
                                          "line; remove it from the database")):
            self.change_by_hand("DELETE FROM parameter_value", put.format(name, value))
            self.assertEqual(fault, self.fault("sets=a"))

    def test_a_read_leaves_the_collector_as_it_was(self) -> None:
        acts: list[Callable[[], object]] = [lambda: read(self.url("sets=a")), lambda: self.fault("sets=b")]
        for act in acts:
            act()
            self.assertTrue(gc.isenabled())
            gc.disable()
            try:
                act()
                self.assertFalse(gc.isenabled())
            finally:
                gc.enable()

    def test_a_tag_of_a_value_is_returned_as_it_is(self) -> None:
        with self.store().change() as change:
            change.set("a", "x", "${HOME}/y", tags=True)
        self.assertEqual([("x", "${HOME}/y")], read(self.url("sets=a")))

    def test_the_traceback_has_the_place_and_the_error_alone(self) -> None:
        url = self.url("sets=b")
        done = run("""
            import sys
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
        """, url)
        self.assertEqual(1, done.stderr.count("Traceback"))
        self.assertEqual(2, done.stderr.count('  File "'))
        self.assertEqual(f'velmora.infra.model.failure.SourceError: cannot read the configuration from {url}: there is no '
                         'set "b"; correct sets= in the URL, or make the set with velmora-config',
                         done.stderr.splitlines()[-1])

    def test_what_a_killed_writer_has_left_is_undone_by_the_reader(self) -> None:
        writer = subprocess.Popen(
            [sys.executable, "-c", "import sqlite3, sys, time\n"
             "connection = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
             "connection.execute('PRAGMA cache_size = 1')\nconnection.execute('BEGIN')\n"
             "for number in range(2000): connection.execute("
             "'INSERT INTO parameter_value VALUES (1, ?, ?, ?)', ('', f'x{number}', 'x' * 500))\n"
             "print(flush=True)\ntime.sleep(60)", str(self.file)], stdout=subprocess.PIPE)
        assert writer.stdout is not None
        writer.stdout.readline()
        writer.kill()
        writer.communicate()
        self.assertTrue(os.path.exists(f"{self.file}-journal"))
        self.assertEqual([], read(self.url("sets=a")))

    def test_a_signal_of_the_operator_breaks_off_the_wait(self) -> None:
        connection = sqlite3.connect(self.file, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN EXCLUSIVE")
        reader = subprocess.Popen(
            [sys.executable, "-c", "import signal, sys\nfrom support import read\n"
             "signal.signal(signal.SIGTERM, lambda *_: sys.exit(7))\nprint(flush=True)\nread(sys.argv[1])",
             self.url("sets=a&deadline=60")], stdout=subprocess.PIPE, cwd=os.path.dirname(os.path.abspath(__file__)))
        assert reader.stdout is not None
        reader.stdout.readline()
        time.sleep(0.3)
        reader.send_signal(signal.SIGTERM)
        self.assertEqual(7, reader.wait(timeout=10))
        reader.communicate()


class LockTest(ModelTest):
    def test_a_read_keeps_the_locks_of_this_process(self) -> None:
        store = self.store(lambda change: change.create_set("a"))
        with store.change() as change:
            change.set("a", "x", "1")
            self.assertEqual([], read(self.url("sets=a")))
            with self.assertRaises(ChangeError):
                Store(self.url("deadline=0.1")).initialize()
            done = run("""
                import sys
                from velmora.infra.model.store import Store
                with Store(sys.argv[1]).change():
                    pass
            """, self.url("deadline=0.1"))
            self.assertIn("database is locked", done.stderr)


class NewFileTest(ModelTest):
    def test_a_new_database_is_not_for_all_users(self) -> None:
        self.store()
        self.assertEqual(0, stat.S_IMODE(self.file.stat().st_mode) & 0o007)


if __name__ == "__main__":
    unittest.main()
