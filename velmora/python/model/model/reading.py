# SPDX-License-Identifier: BSD-2-Clause

"""What is asked of a database, and what its rows mean. The statements are the same for SQLite and PostgreSQL.

Nothing here needs SQLAlchemy, so that a program that starts does not import it.
"""

from typing import Iterable, NamedTuple, Optional, Protocol, Sequence

from .failure import NotReadable
from .rules import are_plain, fault_of_name, fault_of_value

# The version of the schema that these statements are written for; `schema` makes it.
SCHEMA_VERSION = "0001"
VERSION_STATEMENT = "SELECT version_num FROM parameter_version"

# Only a circle of parents is longer.
DEEPEST = 100

# The sets that are read, in their order, with the greatest distance to a set that was asked for.
_PLACED = """
WITH RECURSIVE
  asked (place, name) AS (VALUES {sets}),
  line (place, distance, id, parent_id) AS (
    SELECT asked.place, 0, one.id, one.parent_id FROM asked JOIN parameter_set one ON one.name = asked.name
    UNION ALL
    SELECT line.place, line.distance + 1, one.id, one.parent_id
    FROM line JOIN parameter_set one ON one.id = line.parent_id WHERE line.distance < {deepest}),
  placed (place, distance, id) AS (SELECT MIN(place * {span} - distance), MAX(distance), id FROM line GROUP BY id)"""

_SETS = _PLACED + """
SELECT one.name, placed.distance FROM placed JOIN parameter_set one ON one.id = placed.id"""

# In the order in which later ones win.
_VALUES = _PLACED + """,
  host (place, name) AS (VALUES (0, ''){hosts})
SELECT given.name, given.value
FROM placed CROSS JOIN host JOIN parameter_value given ON given.set_id = placed.id AND given.host = host.name
ORDER BY placed.place, host.place"""

_PLACES = _PLACED + """,
  host (place, name) AS (VALUES (0, ''){hosts})
SELECT one.name, host.name FROM placed CROSS JOIN host JOIN parameter_set one ON one.id = placed.id
ORDER BY placed.place, host.place"""

Row = Sequence[object]
Parameters = list[tuple[str, str]]


class Connection(Protocol):
    """A read transaction in a database."""

    # How the driver marks an argument of a statement.
    mark: str

    def rows(self, statement: str, arguments: Sequence[str] = ()) -> list[Row]:
        """Returns all rows that the statement gives."""

    def close(self) -> None:
        """Ends the transaction."""


class Selection(NamedTuple):
    """What is read: sets in their order, and hosts in theirs."""

    sets: tuple[str, ...]
    hostnames: tuple[str, ...]


def _completed(text: str, selection: Selection, mark: str) -> str:
    sets = ", ".join(f"({place}, {mark})" for place in range(len(selection.sets)))
    hosts = "".join(f", ({place + 1}, {mark})" for place in range(len(selection.hostnames)))
    return text.format(sets=sets, hosts=hosts, deepest=DEEPEST, span=DEEPEST + 1)


def sets_statement(selection: Selection, mark: str) -> str:
    """Returns the statement for the sets that are read. Its arguments are the sets of the selection."""
    return _completed(_SETS, selection, mark)


def values_statement(selection: Selection, mark: str) -> str:
    """Returns the statement for all values. Its arguments are the sets, then the hosts."""
    return _completed(_VALUES, selection, mark)


def places_statement(selection: Selection, mark: str) -> str:
    """Returns the statement for the sets and hosts that may have a value, later ones win. Its arguments are the sets,
    then the hosts.
    """
    return _completed(_PLACES, selection, mark)


def check_version(rows: Iterable[Row]) -> None:
    """Raises `NotReadable` if the schema is not the one that is read here."""
    versions = [str(row[0]) for row in rows]
    if versions != [SCHEMA_VERSION]:
        found = f'version "{versions[0]}"' if versions else "no version"
        raise NotReadable(
            f'its schema has {found}, and this library reads version "{SCHEMA_VERSION}"',
            "run velmora-config init on it if it is older, or install the library that wrote it")


def no_configuration() -> NotReadable:
    """Returns the fault of a database without our tables."""
    return NotReadable("the database holds no configuration: there is no table parameter_version",
                       "make it with velmora-config init, or name another database")


def check(name: object, value: object) -> None:
    """Raises `NotReadable` if a name or a value would not be one line of a configuration."""
    fault: Optional[str]
    if not isinstance(name, str) or not isinstance(value, str):
        fault = "it is no text"
    else:
        fault = fault_of_name(name)
        if fault:
            raise NotReadable(f"the parameter name {name!a} cannot be in a configuration: {fault}",
                              "remove it from the database")
        fault = fault_of_value(value, tags=True)
    if fault:
        raise NotReadable(f"the value of {name} cannot be in a configuration: {fault}", "correct it in the database")


def check_sets(selection: Selection, rows: Iterable[Row]) -> None:
    """Raises `NotReadable` if a set is missing, or has no end of parents."""
    distances = {row[0]: row[1] for row in rows}
    missing = [name for name in selection.sets if name not in distances]
    if missing:
        names = ", ".join(f'"{name}"' for name in missing)
        raise NotReadable(f"there is no set {names}", "correct sets= in the URL, or make the set with velmora-config")
    for name, distance in distances.items():
        if distance == DEEPEST:
            raise NotReadable(f'the set "{name}" is its own parent, or more than {DEEPEST} sets are above each other',
                              "correct the parents of the sets")


def winners(rows: Iterable[Row]) -> Parameters:
    """Returns each name once, with the value of its last row.

    Failure: raises `NotReadable` if a name or a value would not be one line of a configuration.
    """
    last: dict[object, object] = dict(rows)  # type: ignore[arg-type]  # of two columns
    if not are_plain(last.keys(), last.values()):
        for name, value in last.items():
            check(name, value)
    return list(last.items())  # type: ignore[arg-type]  # texts


def read(connection: Connection, selection: Selection) -> Parameters:
    """Returns the parameters of the sets for the hosts: a set's parents come before it, the sets in their order, and
    in each set the values for all hosts before those for one. What comes later wins. A set that is reached twice is
    read once, where it comes first.
    """
    check_version(connection.rows(VERSION_STATEMENT))
    check_sets(selection, connection.rows(sets_statement(selection, connection.mark), selection.sets))
    return winners(connection.rows(values_statement(selection, connection.mark), selection.sets + selection.hostnames))
