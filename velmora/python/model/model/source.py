# SPDX-License-Identifier: BSD-2-Clause

"""Reads the parameters behind a URL within its deadline."""

import gc
from contextlib import closing, contextmanager
from typing import TYPE_CHECKING, Iterator, Union

from .._infra import isCheck, warnOfSource
from .address import SQLITE, Address, parse
from .deadline import Deadline, DeadlinePassed, within
from .failure import NotReadable, SourceAway, SourceError
from .reading import Parameters, Selection, read

if TYPE_CHECKING:
    from .postgresql_reader import PostgresqlConnection
    from .sqlite_reader import SqliteConnection


# What a URL does not need is not imported: a start pays for each import.


def _own_names(address: Address, deadline: Deadline) -> tuple[str, ...]:
    from .own_name import own_names

    return own_names(deadline, address.shown)


def _connect(address: Address, deadline: Deadline) -> Union["SqliteConnection", "PostgresqlConnection"]:
    if address.scheme == SQLITE:
        from .sqlite_reader import SqliteConnection

        return SqliteConnection(address, deadline)
    try:
        from .postgresql_reader import PostgresqlConnection
    except ImportError as error:
        raise NotReadable(f"the driver of PostgreSQL cannot be imported: {error}",
                          "install the package python3-psycopg2") from None
    return PostgresqlConnection(address, deadline)


def _read(address: Address, selection: Selection, deadline: Deadline) -> Parameters:
    with closing(_connect(address, deadline)) as connection:
        return read(connection, selection)


def _read_in_time(address: Address, selection: Selection, deadline: Deadline) -> Parameters:
    try:
        return within(deadline, lambda: _read(address, selection, deadline))
    except NotReadable as fault:
        kind = SourceAway if fault.away else SourceError
        raise kind(address.shown, fault.reason, fault.cure) from None
    except DeadlinePassed:
        raise SourceAway(address.shown, f"no answer within {deadline}",
                         "check the database, its disk and the name server, or raise deadline= in the URL") from None


def _subject(address: Address) -> str:
    from .own_name import own_short_name

    # The full name of this machine may not be found while the database is away.
    return address.subject(address.hostnames or (own_short_name(),))


def _from_snapshot(address: Address, path: str, away: SourceAway) -> Parameters:
    from . import snapshot

    try:
        found = within(Deadline(address.deadline), lambda: snapshot.read(path, _subject(address)))
    except (NotReadable, DeadlinePassed) as fault:
        reason = fault.reason if isinstance(fault, NotReadable) else "the disk does not answer"
        raise SourceError(address.shown, f"{away.reason}; and the snapshot {path} cannot take its place: {reason}",
                          away.cure) from None
    warnOfSource(f"{away}; the snapshot {path} of {found.time()}, which is {found.age()} old, takes its place")
    return found.parameters


def _keep_snapshot(address: Address, path: str, parameters: Parameters, deadline: Deadline) -> None:
    from . import snapshot

    try:
        within(deadline, lambda: snapshot.write(path, _subject(address), parameters))
    except (OSError, DeadlinePassed) as error:
        reason = error.strerror if isinstance(error, OSError) else f"the disk does not answer within {deadline}"
        warnOfSource(f"cannot write the snapshot {path} of {address.shown}: {reason}; let the user of this process write to "
             "its directory: without a new snapshot, the next start has the parameters of the last one or none while the "
             "database is away")


@contextmanager
def _without_collection() -> Iterator[None]:
    """Keeps Python's collector from looking through all objects of the process, several times while thousands are made
    that it cannot free.
    """
    enabled = gc.isenabled()
    gc.disable()
    try:
        yield
    finally:
        if enabled:
            gc.enable()


def parameters_of(url: str) -> Parameters:
    """Returns the names and values behind a URL, each name once. If the database is away and the URL names a snapshot,
    logs a WARN and returns those of the snapshot.

    Failure: raises `SourceError`.
    """
    address = parse(url)
    deadline = Deadline(address.deadline)
    selection = Selection(address.sets, address.hostnames or _own_names(address, deadline))
    try:
        with _without_collection():
            parameters = _read_in_time(address, selection, deadline)
    except SourceAway as away:
        if address.snapshot is None:
            raise
        return _from_snapshot(address, address.snapshot, away)
    if address.snapshot is not None and not isCheck():
        _keep_snapshot(address, address.snapshot, parameters, deadline)
    return parameters
