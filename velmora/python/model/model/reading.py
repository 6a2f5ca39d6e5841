# SPDX-License-Identifier: BSD-2-Clause

"""What is asked of a database, and what its rows mean. The statements are the same for SQLite and PostgreSQL.

Nothing here needs SQLAlchemy, so that a program that starts does not import it.
"""

from operator import itemgetter
from typing import Iterable, NamedTuple, Optional, Protocol, Sequence

from .failure import NotReadable
from .rules import are_plain, fault_of_name, fault_of_value

# The version of the schema that these statements are written for; `schema` makes it.
SCHEMA_VERSION = "0001"
VERSION_STATEMENT = "SELECT version_num FROM parameter_version"

# Only a circle of parents is longer.
DEEPEST = 100

# The sets that are read with the hosts that may have values in them, and these values. They are one text, which is much
# faster than a row for each: their number, then each name and its value, a line each; NULL if there are none. The distance
# is the greatest to a set that was asked for.
_PLACES = """
WITH RECURSIVE
  asked (place, name) AS (VALUES {sets}),
  line (place, distance, id, name, parent_id) AS (
    SELECT asked.place, 0, one.id, one.name, one.parent_id FROM asked JOIN parameter_set one ON one.name = asked.name
    UNION ALL
    SELECT line.place, line.distance + 1, one.id, one.name, one.parent_id
    FROM line JOIN parameter_set one ON one.id = line.parent_id WHERE line.distance < {deepest}),
  placed (place, distance, id, name) AS (
    SELECT MIN(place * {span} - distance), MAX(distance), id, name FROM line GROUP BY id, name),
  host (place, name) AS (VALUES (0, ''){hosts})
SELECT placed.place, host.place, placed.distance, placed.name, host.name, (
  SELECT count(*) || '\n' || {concatenate}(given.name || '\n' || given.value, '\n')
  FROM parameter_value given WHERE given.set_id = placed.id AND given.host = host.name)
FROM placed CROSS JOIN host"""

_VALUES = """
SELECT given.name, given.value FROM parameter_value given JOIN parameter_set one ON one.id = given.set_id
WHERE one.name = {mark} AND given.host = {mark}"""

Row = Sequence[object]
Parameters = list[tuple[str, str]]


class Connection(Protocol):
    """A read transaction in a database."""

    # How the driver marks an argument of a statement.
    mark: str
    # The function of the database that joins texts.
    concatenate: str

    def rows(self, statement: str, arguments: Sequence[str] = ()) -> list[Row]:
        """Returns all rows that the statement gives."""


class Selection(NamedTuple):
    """What is read: sets in their order, and hosts in theirs."""

    sets: tuple[str, ...]
    hostnames: tuple[str, ...]


class Place(NamedTuple):
    """A set, and a host that may have values in it; empty for all hosts."""

    set_name: str
    host: str
    # As the statement gives them.
    values: Optional[str]


def places_statement(connection: Connection, selection: Selection) -> str:
    """Returns the statement for the places. Its arguments are the sets, then the hosts."""
    sets = ", ".join(f"({place}, {connection.mark})" for place in range(len(selection.sets)))
    hosts = "".join(f", ({place + 1}, {connection.mark})" for place in range(len(selection.hostnames)))
    return _PLACES.format(sets=sets, hosts=hosts, deepest=DEEPEST, span=DEEPEST + 1, concatenate=connection.concatenate)


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


def check(name: str, value: str) -> None:
    """Raises `NotReadable` if a name or a value would not be one line of a configuration."""
    fault = fault_of_name(name)
    if fault:
        raise NotReadable(f"the parameter name {name!a} cannot be in a configuration: {fault}",
                          "remove it from the database")
    fault = fault_of_value(value, tags=True)
    if fault:
        raise NotReadable(f"the value of {name} cannot be in a configuration: {fault}", "correct it in the database")


def _check_sets(selection: Selection, distances: dict[object, object]) -> None:
    missing = [name for name in selection.sets if name not in distances]
    if missing:
        names = ", ".join(f'"{name}"' for name in missing)
        raise NotReadable(f"there is no set {names}", "correct sets= in the URL, or make the set with velmora-config")
    for name, distance in distances.items():
        if distance == DEEPEST:
            raise NotReadable(f'the set "{name}" is its own parent, or more than {DEEPEST} sets are above each other',
                              "correct the parents of the sets")


def places(connection: Connection, selection: Selection) -> list[Place]:
    """Returns the places that are read: a set's parents come before it, the sets in their order, and in each set the
    values for all hosts before those for one. What comes later wins. A set that is reached twice is read once, where it
    comes first.

    Failure: raises `NotReadable` if a set is missing, or has no end of parents.
    """
    rows = connection.rows(places_statement(connection, selection), selection.sets + selection.hostnames)
    _check_sets(selection, {row[3]: row[2] for row in rows})
    rows.sort(key=itemgetter(0, 1))
    return [Place(*row[3:]) for row in rows]  # type: ignore[arg-type]  # texts


def _lines(connection: Connection, place: Place) -> list[str]:
    """Returns each name of a place, with its value behind it."""
    if place.values is None:
        return []
    number, _, text = place.values.partition("\n")
    lines = text.split("\n")
    if len(lines) == 2 * int(number):
        return lines
    # An end of a line in one of them would give its value to the next name.
    for name, value in connection.rows(_VALUES.format(mark=connection.mark), (place.set_name, place.host)):
        check(str(name), str(value))
    raise NotReadable(f'a value in the set "{place.set_name}" holds an end of a line', "correct it in the database")


def winners(connection: Connection, selection: Selection) -> Parameters:
    """Returns each name once, with the value of the last place that has one.

    Failure: raises `NotReadable`, also if a name or a value would not be one line of a configuration.
    """
    last: dict[str, str] = {}
    for place in places(connection, selection):
        lines = _lines(connection, place)
        last.update(zip(lines[::2], lines[1::2]))
    if not are_plain(last.keys(), last.values()):
        for name, value in last.items():
            check(name, value)
    return list(last.items())


def read(connection: Connection, selection: Selection) -> Parameters:
    """Returns the parameters of the sets for the hosts.

    Failure: raises `NotReadable`.
    """
    check_version(connection.rows(VERSION_STATEMENT))
    return winners(connection, selection)
