# SPDX-License-Identifier: BSD-2-Clause

"""Changes the sets of parameters in a database, and keeps the history of the changes.

    store = Store("sqlite://localhost/etc/gateways.db")
    store.initialize()
    with store.change() as change:
        change.create_set("common")
        change.set("common", "keswardin.exitTimeoutSec", "10")
"""

import getpass
import os
import re
import socket
import sqlite3
from contextlib import contextmanager
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from enum import Enum
from math import ceil
from typing import Any, Iterator, Mapping, Optional, Sequence, Union
from urllib.parse import quote

from sqlalchemy import bindparam, create_engine, event, func, select, text  # type: ignore[import]
from sqlalchemy.engine import Connection, Engine  # type: ignore[import]
from sqlalchemy.exc import DBAPIError  # type: ignore[import]
from sqlalchemy.pool import NullPool  # type: ignore[import]

from . import schema
from .address import SQLITE, Address, parse
from .failure import ChangeError, Conflict, NotReadable
from .known import Row
from .reading import DEEPEST, VERSION_STATEMENT, check_version, no_configuration
from .rules import fault_of_name, fault_of_value
from .state import State

# How a moment is written, in UTC: in the order of time.
MOMENT = "%Y-%m-%dT%H:%M:%S.%fZ"

_LABEL = re.compile(r"[A-Za-z0-9_][A-Za-z0-9_.-]*")


def url_of(database: str) -> str:
    """Returns the URL of a database that is named by it, or by the path of an SQLite file."""
    return database if "://" in database else "sqlite://localhost" + quote(os.path.abspath(database))


def _user() -> str:
    try:
        return getpass.getuser()
    except (KeyError, OSError):
        # In a container, a user may have no name.
        return str(os.geteuid())


class Anything(Enum):
    """The type of `ANY`."""

    ANY = 0


# Stands for each value, also for none.
ANY = Anything.ANY


@dataclass(frozen=True)
class Entry:
    """A change that was made. A text that did not exist before, or does not exist after it, is None."""

    moment: str
    who: str
    subject: str
    set_name: str
    host: str
    name: str
    old_text: Optional[str]
    new_text: Optional[str]


def _sqlite_engine(address: Address) -> Engine:
    def connect() -> sqlite3.Connection:
        # Transactions are begun below: SQLAlchemy would begin them with the first change, after what was read.
        return sqlite3.connect(f"file:{quote(address.path)}?mode=rw", uri=True, timeout=address.deadline,
                               isolation_level=None)

    engine = create_engine("sqlite://", creator=connect, poolclass=NullPool, hide_parameters=True, future=True)

    @event.listens_for(engine, "connect")  # type: ignore[misc]
    def on_connect(connection: Any, _: Any) -> None:
        connection.execute("PRAGMA foreign_keys = ON")

    @event.listens_for(engine, "begin")  # type: ignore[misc]
    def on_begin(connection: Connection) -> None:
        connection.exec_driver_sql("BEGIN IMMEDIATE")

    return engine


def _postgresql_engine(address: Address) -> Engine:
    import psycopg2  # type: ignore[import]

    from .postgresql_reader import connection_arguments

    def connect() -> Any:
        connection = psycopg2.connect(connect_timeout=ceil(address.deadline), **connection_arguments(address))
        with connection, connection.cursor() as cursor:
            cursor.execute(f"SET lock_timeout = {ceil(address.deadline * 1000)}")
        return connection

    return create_engine("postgresql+psycopg2://", creator=connect, poolclass=NullPool, hide_parameters=True,
                         future=True)


def _state(connection: Connection) -> State:
    sets, values = schema.sets, schema.values
    above = sets.alias()
    parents = connection.execute(select(sets.c.name, above.c.name).select_from(
        sets.outerjoin(above, above.c.id == sets.c.parent_id)).order_by(sets.c.name)).all()
    rows = connection.execute(select(sets.c.name, values.c.host, values.c.name, values.c.value).join(
        sets, sets.c.id == values.c.set_id)).all()
    return State(dict(parents), {(set_name, host, name): value for set_name, host, name, value in rows})


def _state_at(connection: Connection, moment: str) -> State:
    table = schema.history
    rows = connection.execute(select(
        table.c.subject, table.c.set_name, table.c.host, table.c.name, table.c.new_text
    ).where(table.c.moment <= moment).order_by(table.c.id)).all()
    if not rows:
        raise NotReadable(f"there is no change up to {moment}", "velmora-config history lists the moments of the changes")
    state = State()
    for subject, set_name, host, name, text_then in rows:
        if subject == "set":
            state.parents[set_name] = None
        elif subject == "parent":
            state.parents[set_name] = text_then
        elif subject == "value" and text_then is None:
            state.values.pop((set_name, host, name), None)
        elif subject == "value":
            state.values[set_name, host, name] = text_then
    return state


class Change:
    """Changes in one transaction. Each raises `ChangeError` if it is refused."""

    def __init__(self, connection: Connection, address: Address, who: str) -> None:
        self._connection = connection
        self._shown = address.shown
        self._who = who
        # All changes of a transaction have one, that of the first.
        self._moment = ""

    def has_set(self, name: str) -> bool:
        """Returns whether there is a set of that name."""
        return self._find(name) is not None

    def create_set(self, name: str, parent: Optional[str] = None, note: str = "") -> None:
        """Makes an empty set."""
        if not _LABEL.fullmatch(name):
            raise self._refused(f'"{name}" is no name of a set', 'use letters, digits, "_", "." and "-"')
        if self._find(name) is not None:
            raise self._refused(f'there is a set "{name}" already', "choose another name")
        parent_id = None if parent is None else self._id_of(parent)
        self._connection.execute(schema.sets.insert().values(name=name, parent_id=parent_id, note=note))
        self._record("set", name, old=None, new=name)
        if parent is not None:
            self._record("parent", name, old=None, new=parent)
        if note:
            self._record("note", name, old=None, new=note)

    def set_parent(self, name: str, parent: Optional[str]) -> None:
        """Gives a set another parent, or none."""
        set_id = self._id_of(name)
        parent_id = None if parent is None else self._id_of(parent)
        above = parent_id
        for _ in range(DEEPEST):
            if above is None:
                break
            if above == set_id:
                raise self._refused(f'"{parent}" has the set "{name}" above it, so it cannot be its parent',
                                    "choose another parent")
            above = self._connection.execute(
                select(schema.sets.c.parent_id).where(schema.sets.c.id == above)).scalar_one()
        else:
            raise self._refused(f'more than {DEEPEST} sets would be above "{name}"', "choose another parent")
        old = self._connection.execute(
            select(schema.sets.c.name).where(schema.sets.c.id == select(schema.sets.c.parent_id).where(
                schema.sets.c.id == set_id).scalar_subquery())).scalar_one_or_none()
        if old != parent:
            self._connection.execute(
                schema.sets.update().where(schema.sets.c.id == set_id).values(parent_id=parent_id))
            self._record("parent", name, old=old, new=parent)

    def set(self, set_name: str, name: str, value: str, host: str = "",
            expected: Union[Optional[str], Anything] = ANY, tags: bool = False) -> Optional[str]:
        """Sets the value of a parameter, for one host or for all, and returns the former one.

        `expected` is the value that the caller has seen. `tags` permits tags such as ${HOME} in the value, which the
        program replaces when it starts.
        Failure: raises `Conflict` if the value is not the expected one.
        """
        self._check(name, value, tags)
        return self._put(set_name, host, name, value, expected)

    def _check(self, name: str, value: str, tags: bool) -> None:
        fault = fault_of_name(name)
        if fault:
            raise self._refused(f"the name {name!a} cannot be in a configuration: {fault}", "correct the name")
        fault = fault_of_value(value, tags)
        if fault:
            # The value may be a secret.
            raise self._refused(f"the value of {name} cannot be in a configuration: {fault}", "correct the value")

    def set_all(self, set_name: str, values: Mapping[str, str], host: str = "",
                tags: bool = False) -> dict[str, Optional[str]]:
        """Sets the values of many parameters by a few statements. Returns the former ones of those that it changed."""
        for name, value in values.items():
            self._check(name, value, tags)
        host = self._checked_host(host)
        set_id = self._id_of(set_name)
        table = schema.values
        former: dict[str, str] = dict(self._connection.execute(select(table.c.name, table.c.value).where(
            (table.c.set_id == set_id) & (table.c.host == host))).all())
        changed = {name: former.get(name) for name, value in values.items() if former.get(name) != value}
        removed = [{"old_name": name} for name, old in changed.items() if old is not None]
        if removed:
            self._connection.execute(table.delete().where(
                (table.c.set_id == set_id) & (table.c.host == host) & (table.c.name == bindparam("old_name"))), removed)
        if changed:
            self._connection.execute(table.insert(), [
                {"set_id": set_id, "host": host, "name": name, "value": values[name]} for name in changed])
            self._connection.execute(schema.history.insert(), [
                self._entry("value", set_name, host, name, old=old, new=values[name]) for name, old in changed.items()])
        return changed

    def unset(self, set_name: str, name: str, host: str = "",
              expected: Union[Optional[str], Anything] = ANY) -> Optional[str]:
        """Removes the value of a parameter, for one host or for all, and returns it; None if there was none."""
        return self._put(set_name, host, name, None, expected)

    def roll_back(self, moment: str) -> int:
        """Brings values and parents back to what they were at a moment, and returns the number of changes. A set that
        was made later stays, without values.
        """
        # Other writers wait for the end of this change.
        self._connection.execute(select(schema.sets.c.id).order_by(schema.sets.c.id).with_for_update()).all()
        then, now = _state_at(self._connection, moment), _state(self._connection)
        before = self._number_of_changes()
        moved = {name: parent for name, parent in then.parents.items() if now.parents[name] != parent}
        # What is below a set now may have been above it.
        for name in moved:
            self.set_parent(name, None)
        for name, parent in moved.items():
            self.set_parent(name, parent)
        for (set_name, host, name) in now.values.keys() - then.values.keys():
            self.unset(set_name, name, host)
        for (set_name, host), values in then.by_place().items():
            self.set_all(set_name, values, host, tags=True)
        return self._number_of_changes() - before

    def _number_of_changes(self) -> int:
        number: int = self._connection.execute(select(func.count()).select_from(schema.history)).scalar_one()
        return number

    def _put(self, set_name: str, host: str, name: str,
             value: Optional[str], expected: Union[Optional[str], Anything]) -> Optional[str]:
        host = self._checked_host(host)
        set_id = self._id_of(set_name)
        table = schema.values
        place = (table.c.set_id == set_id) & (table.c.host == host) & (table.c.name == name)
        old: Optional[str] = self._connection.execute(select(table.c.value).where(place)).scalar_one_or_none()
        if expected is not ANY and expected != old:
            raise self._conflict(set_name, host, name)
        if old == value:
            return old
        if value is None:
            self._connection.execute(table.delete().where(place))
        elif old is None:
            self._connection.execute(table.insert().values(set_id=set_id, host=host, name=name, value=value))
        else:
            self._connection.execute(table.update().where(place).values(value=value))
        self._record("value", set_name, host, name, old=old, new=value)
        return old

    def _checked_host(self, host: str) -> str:
        if host and not _LABEL.fullmatch(host):
            raise self._refused(f'"{host}" is no name of a host', 'use letters, digits, "_", "." and "-"')
        return host.lower()

    def _find(self, name: str) -> Optional[int]:
        # The row is locked, so that the changes of a set wait for each other.
        found: Optional[int] = self._connection.execute(
            select(schema.sets.c.id).where(schema.sets.c.name == name).with_for_update()).scalar_one_or_none()
        return found

    def _id_of(self, name: str) -> int:
        found = self._find(name)
        if found is None:
            raise self._refused(f'there is no set "{name}"', "correct the name, or make the set")
        return found

    def _next_moment(self) -> str:
        # Later than that of each change before, though the clock may have gone back.
        last: Optional[str] = self._connection.execute(select(func.max(schema.history.c.moment))).scalar_one()
        now = datetime.now(timezone.utc)
        if last is not None:
            now = max(now, datetime.strptime(last, MOMENT).replace(tzinfo=timezone.utc) + timedelta(microseconds=1))
        return now.strftime(MOMENT)

    def _entry(self, subject: str, set_name: str, host: str = "",
               name: str = "", *, old: Optional[str], new: Optional[str]) -> dict[str, Optional[str]]:
        self._moment = self._moment or self._next_moment()
        return {"moment": self._moment, "who": self._who, "subject": subject, "set_name": set_name, "host": host,
                "name": name, "old_text": old, "new_text": new}

    def _record(self, subject: str, set_name: str, host: str = "",
                name: str = "", *, old: Optional[str], new: Optional[str]) -> None:
        self._connection.execute(schema.history.insert().values(
            **self._entry(subject, set_name, host, name, old=old, new=new)))

    def _refused(self, reason: str, cure: str) -> ChangeError:
        return ChangeError(self._shown, reason, cure)

    def _conflict(self, set_name: str, host: str, name: str) -> Conflict:
        table = schema.history
        last = self._connection.execute(
            select(table.c.who, table.c.moment).where(
                (table.c.subject == "value") & (table.c.set_name == set_name) & (table.c.host == host)
                & (table.c.name == name)).order_by(table.c.id.desc()).limit(1)).one_or_none()
        by = f" by {last.who} at {last.moment}" if last else ""
        return Conflict(self._shown, f'{name} in the set "{set_name}" has been changed{by}',
                        "look at its value and set it again")


class Store:
    """A database of parameters, which may be changed.

    Thread-safety: an object may be used on any thread, by one at a time.
    """

    def __init__(self, url: str, who: Optional[str] = None) -> None:
        """`who` is in the history of the changes: by default the user and the host.

        Failure: raises `SourceError` if the URL is wrong.
        """
        self._address = parse(url, needs_sets=False)
        self._who = who or f"{_user()}@{socket.gethostname()}"
        self._engine = (_sqlite_engine if self._address.scheme == SQLITE else _postgresql_engine)(self._address)

    @property
    def shown(self) -> str:
        """The URL without secrets."""
        return self._address.shown

    @property
    def sets(self) -> tuple[str, ...]:
        """The sets of the URL; empty if it names none."""
        return self._address.sets

    @property
    def hostnames(self) -> tuple[str, ...]:
        """The hosts of the URL; empty if it names none."""
        return self._address.hostnames

    @contextmanager
    def _transaction(self) -> Iterator[Connection]:
        try:
            with self._engine.begin() as connection:
                yield connection
        except DBAPIError as error:
            raise ChangeError(self._address.shown, " ".join(str(error.orig).split()),
                              "check that the database can be reached and changed by this user") from None
        except NotReadable as fault:
            raise ChangeError(self._address.shown, fault.reason, fault.cure) from None

    def _check_version(self, connection: Connection) -> None:
        if not self._engine.dialect.has_table(connection, schema.VERSION_TABLE):
            raise no_configuration()
        check_version(connection.execute(text(VERSION_STATEMENT)))

    def _make_file(self) -> None:
        # Values may be secrets, so it is not for all users. One that exists is not opened: a close would release the
        # locks that other connections of this process have on it.
        try:
            os.close(os.open(self._address.path, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o640))
        except FileExistsError:
            pass
        except OSError as error:
            raise ChangeError(self._address.shown, f"{self._address.path}: {error.strerror}",
                              "make its directory, and let this user write to it") from None

    def initialize(self, rows: Optional[Sequence[Row]] = None) -> None:
        """Makes the tables, or brings those of an older version up to date. Replaces the rows of programs, if given."""
        if self._address.scheme == SQLITE:
            self._make_file()
        with self._transaction() as connection:
            schema.upgrade(connection)
            if rows is not None:
                connection.execute(schema.rows.delete())
            if rows:
                connection.execute(schema.rows.insert(), [row._asdict() for row in rows])

    def rows(self) -> list[Row]:
        """Returns the rows of programs, by name."""
        table = schema.rows
        with self._transaction() as connection:
            self._check_version(connection)
            found = connection.execute(
                select(table.c.name, table.c.type, table.c.lowest, table.c.highest).order_by(table.c.name)).all()
        return [Row(*row) for row in found]

    @contextmanager
    def change(self) -> Iterator[Change]:
        """Gives the changes of one transaction, which is undone if an exception leaves it.

        Failure: raises `ChangeError`.
        """
        with self._transaction() as connection:
            self._check_version(connection)
            yield Change(connection, self._address, self._who)

    def history(self, name: Optional[str] = None) -> list[Entry]:
        """Returns the changes, the oldest first: of one parameter, or all."""
        table = schema.history
        query = select(*[table.c[key] for key in Entry.__dataclass_fields__]).order_by(table.c.id)
        if name is not None:
            query = query.where(table.c.name == name)
        with self._transaction() as connection:
            self._check_version(connection)
            return [Entry(*row) for row in connection.execute(query)]

    def notes(self) -> dict[str, str]:
        """Returns the note of each set."""
        with self._transaction() as connection:
            self._check_version(connection)
            return dict(connection.execute(select(schema.sets.c.name, schema.sets.c.note)).all())

    def state(self, moment: Optional[str] = None) -> State:
        """Returns what the database holds, or held at a moment.

        Failure: raises `ChangeError`, also if there was no change up to that moment.
        """
        with self._transaction() as connection:
            self._check_version(connection)
            return _state(connection) if moment is None else _state_at(connection, moment)
