# SPDX-License-Identifier: BSD-2-Clause

"""Tests what is read from PostgreSQL, and why nothing is, on a real server."""

import os
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest
from typing import Any, Callable

import psycopg2  # type: ignore[import]
from postgresql_server import PASSWORD, PostgresqlServer
from psycopg2 import extensions, extras
from support import ModelTest, read, run
from test_sqlite import fill

from velmora.infra.model.failure import Conflict
from velmora.infra.model.store import Store

SERVER: PostgresqlServer


def setUpModule() -> None:
    global SERVER
    SERVER = PostgresqlServer()
    unittest.addModuleCleanup(SERVER.remove)


class PostgresqlTest(ModelTest):
    """Has tables with the set "a" in the database of the server."""

    def setUp(self) -> None:
        super().setUp()
        SERVER.administer("DROP SCHEMA public CASCADE", "CREATE SCHEMA public AUTHORIZATION gw", database="gateways")
        self.shop = Store(SERVER.socket_url("deadline=5"), who="operator@desk")
        self.shop.initialize()
        with self.shop.change() as change:
            change.create_set("a")

    def fault_of(self, url: str) -> str:
        """Returns why the server gives nothing, without the beginning that each text has."""
        text = self.refusal(lambda: read(url))
        self.assertNotIn(PASSWORD, text)
        beginning = f"cannot read the configuration from {url}: "
        self.assertEqual(beginning, text[:len(beginning)])
        return text[len(beginning):]

    def within(self, seconds: float, act: Callable[[], str]) -> str:
        """Returns the result of an action, which must not take long."""
        start = time.monotonic()
        result = act()
        self.assertLess(time.monotonic() - start, seconds)
        return result


class ReadTest(PostgresqlTest):
    def test_sets_are_read_over_a_unix_socket_and_over_tls(self) -> None:
        with self.shop.change() as change:
            change.set("a", "x", "1")
        for url in (SERVER.socket_url(), SERVER.tls_url()):
            self.assertEqual([("x", "1")], read(url))

    def test_a_reader_needs_three_tables_alone(self) -> None:
        SERVER.administer(*(f"GRANT SELECT ON {table} TO stranger"
                            for table in ("parameter_version", "parameter_set", "parameter_value")),
                          "GRANT USAGE ON SCHEMA public TO stranger", database="gateways")
        passwords = SERVER.password_file("stranger", "x", user="stranger")
        self.assertEqual([], read(SERVER.socket_url(passwords=passwords).replace("user=gw", "user=stranger")))

    def test_the_files_of_libpq_have_the_user_and_the_password(self) -> None:
        service = self.folder / "services"
        service.write_text(f"[gw]\nuser=gw\nport={SERVER.port}\nsslmode=verify-full\nsslrootcert={SERVER.certificate}\n")
        done = run("import sys\nfrom velmora.infra.ConfigPropertiesModel import "
                   "getPropertyNameValuesForGivenSetsAndHostnames as get\nprint(get(sys.argv[1]))",
                   "postgresql://127.0.0.1/gateways?sets=a&service=gw", PGSERVICEFILE=str(service),
                   PGPASSFILE=str(SERVER.passwords))
        self.assertEqual(("[]\n", ""), (done.stdout, done.stderr))

    def test_the_same_wins_as_in_sqlite(self) -> None:
        with self.shop.change() as change:
            fill(change)
        self.store(fill)
        for sets in ("site-a", "site-a,extra", "common,site-b,site-a", "site-b,site-a,common,extra", "extra"):
            for hosts in ("gw1", "gw1,gw1.example", "gw1.example,gw1", "gw2,gw1", "gw9"):
                query = f"sets={sets}&hostnames={hosts}"
                self.assertEqual(dict(read(self.url(query))), dict(read(SERVER.socket_url(query))), query)

    def test_values_come_out_as_they_went_in_whatever_the_encoding_of_the_client(self) -> None:
        values = ["", "a=b", "%s %(x)s 100%", "'; --", "a\\b", "ü€\U0001f600\u2028", '"']
        with self.shop.change() as change:
            for number, value in enumerate(values):
                change.set("a", f"x{number}", value)
        done = run("import sys\nfrom velmora.infra.ConfigPropertiesModel import "
                   "getPropertyNameValuesForGivenSetsAndHostnames as get\nprint(ascii(sorted(get(sys.argv[1]))))",
                   SERVER.socket_url(), PGCLIENTENCODING="LATIN1")
        self.assertEqual((ascii([(f"x{number}", value) for number, value in enumerate(values)]) + "\n", ""),
                         (done.stdout, done.stderr))

    def test_one_statement_gives_all_values_and_none_needs_sqlalchemy(self) -> None:
        done = run("""
            import sys
            from velmora.infra.model.postgresql_reader import PostgresqlConnection
            statements = []
            rows = PostgresqlConnection.rows
            PostgresqlConnection.rows = lambda self, text, *rest: statements.append(text) or rows(self, text, *rest)
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
            print(sum("parameter_value" in text for text in statements), "sqlalchemy" in sys.modules)
        """, SERVER.socket_url("sets=a&hostnames=gw1,gw2"))
        self.assertEqual(("1 False\n", ""), (done.stdout, done.stderr))

    def test_other_connections_of_the_process_are_left_alone(self) -> None:
        self.addCleanup(extensions.set_wait_callback, None)
        extensions.set_wait_callback(extras.wait_select)
        other = SERVER.connect("gateways")
        self.addCleanup(other.close)
        numbers: list[int] = []

        def work() -> None:
            for _ in range(100):
                with other.cursor() as cursor:
                    cursor.execute("SELECT 5 FROM pg_sleep(0.001)")
                    numbers.append(cursor.fetchone()[0])
        thread = threading.Thread(target=work)
        thread.start()
        while thread.is_alive():
            self.assertEqual([], read(SERVER.socket_url()))
        thread.join()
        self.assertEqual([5] * 100, numbers)
        self.assertIs(extras.wait_select, extensions.get_wait_callback())


    def test_the_deadline_is_not_that_of_other_connections(self) -> None:
        locker, other = SERVER.connect("gateways"), SERVER.connect("gateways")
        self.addCleanup(locker.close)
        self.addCleanup(other.close)
        locker.cursor().execute("BEGIN; LOCK TABLE parameter_value")
        reader = threading.Thread(target=lambda: self.fault_of(SERVER.socket_url("sets=a&deadline=2")))
        reader.start()
        while extensions.get_wait_callback() is None:
            time.sleep(0.01)
        with other.cursor() as cursor:
            cursor.execute("SELECT 5 FROM pg_sleep(3)")
            self.assertEqual(5, cursor.fetchone()[0])
        reader.join()


class FaultTest(PostgresqlTest):
    def test_a_missing_set_is_named(self) -> None:
        self.assertEqual('there is no set "b"; correct sets= in the URL, or make the set with velmora-config',
                         self.fault_of(SERVER.socket_url("sets=a,b")))

    def test_a_database_of_another_version_is_named(self) -> None:
        SERVER.administer("UPDATE parameter_version SET version_num = '0002'", database="gateways")
        self.assertEqual('its schema has version "0002", and this library reads version "0001"; run velmora-config init on '
                         "it if it is older, or install the library that wrote it", self.fault_of(SERVER.socket_url()))

    def test_a_database_without_our_tables_is_named(self) -> None:
        SERVER.administer("DROP TABLE parameter_version", database="gateways")
        self.assertEqual("the database holds no configuration: there is no table parameter_version; make it with "
                         "velmora-config init, or name another database", self.fault_of(SERVER.socket_url()))

    def test_a_table_that_may_not_be_read_is_named(self) -> None:
        SERVER.administer("ALTER TABLE parameter_value OWNER TO postgres", database="gateways")
        self.assertEqual("permission denied for table parameter_value; grant SELECT on its tables to the user",
                         self.fault_of(SERVER.socket_url()))

    def test_a_wrong_password_is_named_but_not_repeated(self) -> None:
        wrong = SERVER.password_file("wrong", "swordfish")
        cure = "correct the password in the file that PGPASSFILE names (~/.pgpass) or in the service"
        text = self.fault_of(SERVER.tls_url(passwords=wrong))
        self.assertEqual(f'no connection to 127.0.0.1, port {SERVER.port}: FATAL: password authentication '
                         f'failed for user "gw", password retrieved from file "{wrong}"; {cure}', text)
        text = self.fault_of(SERVER.socket_url(passwords=self.folder / "none"))
        self.assertEqual(f"no connection to {SERVER.folder}, port {SERVER.port}: fe_sendauth: no password supplied; {cure}",
                         text)

    def test_a_missing_database_is_named(self) -> None:
        url = SERVER.socket_url().replace("/gateways?", "/other?")
        self.assertEqual(f'no connection to {SERVER.folder}, port {SERVER.port}: FATAL: database "other" '
                         'does not exist; correct the database or user= in the URL', self.fault_of(url))

    def test_a_server_without_tls_is_not_used_where_tls_is_wanted(self) -> None:
        other = self.folder / "other.crt"
        subprocess.run(["openssl", "req", "-new", "-x509", "-nodes", "-subj", "/CN=other", "-keyout", "/dev/null", "-out",
                        str(other)], check=True, capture_output=True)
        url = SERVER.tls_url().replace(str(SERVER.certificate), str(other))
        self.assertEqual(f'no connection to 127.0.0.1, port {SERVER.port}: SSL error: certificate verify '
                         "failed; correct sslmode= and sslrootcert= in the URL or in the service", self.fault_of(url))

    def test_an_unknown_service_is_named(self) -> None:
        self.assertEqual('no connection to 127.0.0.1: definition of service "nowhere" not found; correct service= in '
                         "the URL, or the file that PGSERVICEFILE names",
                         self.fault_of("postgresql://127.0.0.1/gateways?sets=a&service=nowhere"))

    def test_a_server_that_is_away_is_an_error_at_once(self) -> None:
        with socket.socket() as unused:
            unused.bind(("127.0.0.1", 0))
            port = unused.getsockname()[1]
            text = self.fault_of(f"postgresql://127.0.0.1/gateways?sets=a&port={port}")
        self.assertEqual(f"no connection to 127.0.0.1, port {port}: Connection refused; start the server, or correct the host "
                         "or port= in the URL", text)

    def test_a_server_that_says_nothing_is_an_error_at_the_deadline(self) -> None:
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            url = f"postgresql://127.0.0.1/gateways?sets=a&port={silent.getsockname()[1]}&deadline=0.5"
            self.assertEqual(f"no connection to 127.0.0.1, port {silent.getsockname()[1]} within 0.5 s; check that the server "
                             "runs and the network, or raise deadline= in the URL",
                             self.within(20, lambda: self.fault_of(url)))

    def test_a_server_that_is_stopped_is_an_error_at_the_deadline(self) -> None:
        SERVER.freeze()
        self.addCleanup(SERVER.freeze, False)
        for url, host in ((SERVER.tls_url("sets=a&deadline=0.5"), "127.0.0.1"),
                          (SERVER.socket_url("sets=a&deadline=0.5"), SERVER.folder)):
            self.assertEqual(f"no connection to {host}, port {SERVER.port} within 0.5 s; check that the server runs and "
                             "the network, or raise deadline= in the URL", self.within(20, lambda url=url: self.fault_of(url)))  # type: ignore[misc]

    def test_a_name_server_that_says_nothing_is_an_error_at_the_deadline(self) -> None:
        url = SERVER.socket_url("sets=a&deadline=0.5")
        done = run("""
            import sys, time, psycopg2
            psycopg2.connect = lambda **_: time.sleep(30)
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
        """, url)
        self.assertEqual(f"velmora.infra.model.failure.SourceAway: cannot read the configuration from {url}: no answer "
                         "within 0.5 s; check the database, its disk and the name server, or raise deadline= in the URL",
                         done.stderr.splitlines()[-1])

    def lock(self) -> Any:
        """Locks the table of the values."""
        locker = SERVER.connect("gateways")
        self.addCleanup(locker.close)
        locker.cursor().execute("BEGIN; LOCK TABLE parameter_value")
        return locker

    def test_a_locked_table_is_an_error_at_the_deadline(self) -> None:
        self.lock()
        text = self.within(20, lambda: self.fault_of(SERVER.tls_url("sets=a&deadline=2")))
        self.assertEqual("the server has not answered a query within 2 s; look in pg_stat_activity for a program that locks "
                         "a table, and at the load of the server, or raise deadline= in the URL", text)

    def test_the_server_does_not_go_on_after_the_deadline(self) -> None:
        self.lock()
        self.fault_of(SERVER.socket_url("sets=a&deadline=0.2"))
        watcher = SERVER.connect("gateways")
        self.addCleanup(watcher.close)
        with watcher.cursor() as cursor:
            for _ in range(100):
                cursor.execute("SELECT count(*) FROM pg_stat_activity WHERE usename = 'gw'")
                if cursor.fetchone()[0] == 0:
                    return
                time.sleep(0.1)
        self.fail("the query goes on")

    def test_a_connection_that_is_lost_while_it_reads_is_named(self) -> None:
        self.lock()
        watcher = SERVER.connect("gateways")
        self.addCleanup(watcher.close)

        def end_reader() -> None:
            with watcher.cursor() as cursor:
                for _ in range(10000):
                    cursor.execute("SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                                   "WHERE usename = 'gw' AND wait_event_type = 'Lock'")
                    if cursor.fetchone():
                        return
        thread = threading.Thread(target=end_reader)
        thread.start()
        text = self.fault_of(SERVER.socket_url("sets=a&deadline=30"))
        thread.join()
        self.assertEqual("the connection was lost: FATAL: terminating connection due to administrator command; check that the "
                         "server runs", text)

    def test_a_server_that_is_killed_while_it_is_read_is_named(self) -> None:
        self.lock()
        texts: list[str] = []
        reader = threading.Thread(target=lambda: texts.append(self.fault_of(SERVER.socket_url("sets=a&deadline=30"))))
        watcher = SERVER.connect("gateways")
        self.addCleanup(watcher.close)
        reader.start()
        with watcher.cursor() as cursor:
            waits = None
            while waits is None and reader.is_alive():
                cursor.execute("SELECT pid FROM pg_stat_activity WHERE usename = 'gw' AND wait_event_type = 'Lock'")
                waits = cursor.fetchone()
        SERVER.stop(signal.SIGQUIT)
        self.addCleanup(SERVER.start)
        reader.join()
        self.assertRegex(texts[0], "^(terminating connection because of unexpected SIGQUIT signal|the connection was lost: ).*"
                                   "; check that the server runs$")

    def test_a_missing_driver_is_named(self) -> None:
        done = run("""
            import sys
            sys.modules["psycopg2"] = None
            from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
            get(sys.argv[1])
        """, "postgresql://localhost/x?sets=a")
        self.assertEqual("velmora.infra.model.failure.SourceError: cannot read the configuration from "
                         "postgresql://localhost/x?sets=a: the driver of PostgreSQL cannot be imported: import of psycopg2 "
                         "halted; None in sys.modules; install the package python3-psycopg2", done.stderr.splitlines()[-1])

    def test_a_signal_of_the_operator_breaks_off_the_wait(self) -> None:
        self.lock()
        reader = subprocess.Popen(
            [sys.executable, "-c", "import signal, sys\nfrom support import read\n"
             "signal.signal(signal.SIGTERM, lambda *_: sys.exit(7))\nprint(flush=True)\nread(sys.argv[1])",
             SERVER.tls_url("sets=a&deadline=60")], stdout=subprocess.PIPE, cwd=os.path.dirname(os.path.abspath(__file__)))
        assert reader.stdout is not None
        reader.stdout.readline()
        time.sleep(0.5)
        reader.send_signal(signal.SIGTERM)
        self.assertEqual(7, reader.wait(timeout=10))
        reader.communicate()


class ChangeTest(PostgresqlTest):
    def test_the_history_has_each_change(self) -> None:
        with self.shop.change() as change:
            change.set("a", "x", "1")
            change.set("a", "x", "2", host="gw1")
            change.unset("a", "x")
        self.assertEqual([("value", "", None, "1"), ("value", "gw1", None, "2"), ("value", "", "1", None)],
                         [(entry.subject, entry.host, entry.old_text, entry.new_text) for entry in self.shop.history("x")])

    def test_of_two_writers_one_wins_and_the_other_is_refused(self) -> None:
        texts: list[str] = []

        def second() -> None:
            try:
                with Store(SERVER.tls_url("deadline=5"), who="second@desk").change() as change:
                    change.set("a", "x", "2", expected=None)
            except Conflict as conflict:
                texts.append(str(conflict))
        with self.shop.change() as change:
            change.set("a", "x", "1", expected=None)
            thread = threading.Thread(target=second)
            thread.start()
            time.sleep(0.5)
        thread.join()
        self.assertEqual([("x", "1")], read(SERVER.socket_url()))
        self.assertRegex(texts[0], ': x in the set "a" has been changed by operator@desk at .*; look at its value and set it '
                                   "again$")

    def test_a_refused_connection_is_named(self) -> None:
        url = SERVER.socket_url("deadline=5", passwords=self.folder / "none")
        self.assertEqual(f"cannot change the configuration in {url}: connection to server on socket "
                         f'"{SERVER.folder}/.s.PGSQL.{SERVER.port}" failed: fe_sendauth: no password supplied; check that the '
                         "database can be reached and changed by this user", self.refusal(Store(url).initialize))


if __name__ == "__main__":
    unittest.main()
