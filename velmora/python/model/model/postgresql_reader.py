# SPDX-License-Identifier: BSD-2-Clause

"""Reads a database of PostgreSQL."""

import select
import threading
from typing import Any, Callable, Optional, Sequence

import psycopg2  # type: ignore[import]
from psycopg2 import errorcodes, extensions

from .address import Address
from .deadline import Deadline, DeadlinePassed
from .failure import NotReadable
from .reading import Row, no_configuration

# How long a wait lasts before it looks whether it has been cancelled.
_SLICE_MS = 200
# How much later than this program the server gives up, so that it does not go on for nobody.
_SERVERS_GRACE_MS = 1000

_CURES = (
    ("password", "correct the password in the file that PGPASSFILE names (~/.pgpass) or in the service"),
    ("certificate", "correct sslmode= and sslrootcert= in the URL or in the service"),
    ("SSL", "correct sslmode= in the URL or in the service"),
    ("service", "correct service= in the URL, or the file that PGSERVICEFILE names"),
    ("does not exist", "correct the database or user= in the URL"),
    ("pg_hba.conf", "permit this host and user in pg_hba.conf of the server"),
)
_CURE = "start the server, or correct the host or port= in the URL"


def wait_until(deadline: Deadline) -> Callable[[Any], None]:
    """Returns a function that waits for a connection of psycopg2 until the deadline, then raises `DeadlinePassed`."""
    events = {extensions.POLL_READ: select.POLLIN, extensions.POLL_WRITE: select.POLLOUT}

    def wait(connection: Any) -> None:
        while (state := connection.poll()) != extensions.POLL_OK:
            # The descriptor changes when libpq tries the next address of a host.
            poller = select.poll()
            poller.register(connection.fileno(), events[state])
            while not poller.poll(min(_SLICE_MS, deadline.left() * 1000)):
                if deadline.passed():
                    raise DeadlinePassed

    return wait


class _WaitCallback:
    """Sets the wait callback of psycopg2, which there is once in a process, for the connection of this thread. Other
    threads wait for theirs as before.
    """

    _lock = threading.Lock()

    def __init__(self, deadline: Deadline) -> None:
        if not self._lock.acquire(timeout=deadline.left()):
            raise DeadlinePassed
        self._former: Optional[Callable[[Any], None]] = extensions.get_wait_callback()
        self._thread = threading.get_ident()
        self._wait = wait_until(deadline)
        self._wait_without_limit = wait_until(Deadline(threading.TIMEOUT_MAX))
        extensions.set_wait_callback(self)

    def __call__(self, connection: Any) -> None:
        if threading.get_ident() == self._thread:
            self._wait(connection)
        else:
            (self._former or self._wait_without_limit)(connection)

    def end(self) -> None:
        """Sets the former callback again."""
        extensions.set_wait_callback(self._former)
        self._lock.release()


def connection_arguments(address: Address) -> dict[str, str]:
    """Returns the arguments for `psycopg2.connect`. libpq adds what is in its files and in the environment."""
    arguments = {"dbname": address.path, "client_encoding": "UTF8", "application_name": "velmora-configuration"}
    if address.host:
        arguments["host"] = address.host
    return {**arguments, **address.options}


def reason_of(error: Exception) -> str:
    """Returns the text of an error in one line, without the hints of libpq and without the statement."""
    lines = str(error).partition("\nLINE ")[0].splitlines()
    return ", ".join(" ".join(line.split()) for line in lines if line.strip() and not line.startswith("\t"))


def _where(address: Address) -> str:
    host = address.host or address.options.get("hostaddr") or address.options.get("host")
    if host is None:
        service = address.options.get("service")
        return "the local server" if service is None else f"the server of service {service}"
    port = address.options.get("port")
    return host if port is None else f"{host}, port {port}"


class PostgresqlConnection:
    """A read transaction in a database of PostgreSQL. Belongs to one thread."""

    mark = "%s"
    concatenate = "string_agg"

    def __init__(self, address: Address, deadline: Deadline) -> None:
        self._deadline = deadline
        self._connection: Any = None
        try:
            self._callback = _WaitCallback(deadline)
        except DeadlinePassed:
            raise NotReadable(f"another connection of this process was being made for the whole {deadline}",
                              "check the name server", away=True) from None
        try:
            self._connection = psycopg2.connect(**connection_arguments(address))
            self._connection.autocommit = True
            self._begin()
        except DeadlinePassed:
            self.close()
            raise NotReadable(f"no connection to {_where(address)} within {deadline}",
                              "check that the server runs and the network, or raise deadline= in the URL",
                              away=True) from None
        except psycopg2.Error as error:
            self.close()
            reason = reason_of(error)
            raise NotReadable(f"no connection to {_where(address)}: {reason}",
                              next((cure for text, cure in _CURES if text in reason), _CURE), away=True) from None
        except BaseException:
            self.close()
            raise

    def _begin(self) -> None:
        limit = round(self._deadline.left() * 1000) + _SERVERS_GRACE_MS
        self.rows("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; "
                  f"SET LOCAL statement_timeout = {limit}; SELECT 1")

    def rows(self, statement: str, arguments: Sequence[str] = ()) -> list[Row]:
        """Returns all rows.

        Failure: raises `NotReadable`.
        """
        try:
            with self._connection.cursor() as cursor:
                # Without arguments, psycopg2 replaces no marks.
                cursor.execute(statement, tuple(arguments) or None)
                rows: list[Row] = cursor.fetchall()
                return rows
        except DeadlinePassed:
            raise NotReadable(
                f"the server has not answered a query within {self._deadline}",
                "look in pg_stat_activity for a program that locks a table, and at the load of the server, or raise "
                "deadline= in the URL", away=True) from None
        except UnicodeDecodeError:
            raise NotReadable("the database holds a text that is no UTF-8", "correct it in the database") from None
        except psycopg2.Error as error:
            raise self._fault(error) from None

    @staticmethod
    def _fault(error: Any) -> NotReadable:
        if error.pgcode == errorcodes.UNDEFINED_TABLE and "parameter_version" in str(error):
            return no_configuration()
        if error.pgcode == errorcodes.INSUFFICIENT_PRIVILEGE:
            return NotReadable(reason_of(error), "grant SELECT on its tables to the user")
        answered = error.pgcode is not None and error.pgcode[:2] in ("22", "42")
        return NotReadable(f"the connection was lost: {reason_of(error)}" if error.pgcode is None else reason_of(error),
                           "check the database" if answered else "check that the server runs", away=not answered)

    def close(self) -> None:
        """Ends the transaction and the connection."""
        try:
            if self._connection is not None:
                self._connection.close()
        finally:
            self._callback.end()
