# SPDX-License-Identifier: BSD-2-Clause

"""What a database holds at one moment, and which values win in it."""

import sqlite3
from dataclasses import dataclass, field
from typing import NamedTuple, Optional

from . import reading
from .reading import Parameters, Row, Selection

_TABLES = """
CREATE TABLE parameter_set (id INTEGER PRIMARY KEY, name, parent_id);
CREATE TABLE parameter_value (set_id, host, name, value);
"""


class Level(NamedTuple):
    """A value of a parameter in a set, for one host, or for all if that is empty."""

    set_name: str
    host: str
    value: str


class _Copy:
    """The tables of a state, for the statements that programs read a database with."""

    mark = "?"

    def __init__(self, state: "State") -> None:
        self._connection = sqlite3.connect(":memory:")
        self._connection.executescript(_TABLES)
        numbers = {name: number for number, name in enumerate(state.parents)}
        self._connection.executemany(
            "INSERT INTO parameter_set VALUES (?, ?, ?)",
            [(number, name, numbers.get(state.parents[name] or "")) for name, number in numbers.items()])
        self._connection.executemany(
            "INSERT INTO parameter_value VALUES (?, ?, ?, ?)",
            [(numbers[set_name], host, name, value) for (set_name, host, name), value in state.values.items()])

    def rows(self, statement: str, arguments: tuple[str, ...]) -> list[Row]:
        return self._connection.execute(statement, arguments).fetchall()


@dataclass
class State:
    """The sets with their parents, and the values by set, host and name."""

    parents: dict[str, Optional[str]] = field(default_factory=dict)
    values: dict[tuple[str, str, str], str] = field(default_factory=dict)

    def _copy(self, selection: Selection) -> _Copy:
        copy = _Copy(self)
        reading.check_sets(selection, copy.rows(reading.sets_statement(selection, copy.mark), selection.sets))
        return copy

    def parameters(self, selection: Selection) -> Parameters:
        """Returns what a program reads, by name.

        Failure: raises `NotReadable`.
        """
        copy = self._copy(selection)
        statement = reading.values_statement(selection, copy.mark)
        return sorted(reading.winners(copy.rows(statement, selection.sets + selection.hostnames)))

    def levels(self, name: str, selection: Optional[Selection] = None) -> list[Level]:
        """Returns the values that a parameter has, the winning one last; without a selection all, by set and host.

        Failure: raises `NotReadable`.
        """
        if selection is None:
            return sorted(Level(set_name, host, value)
                          for (set_name, host, one), value in self.values.items() if one == name)
        copy = self._copy(selection)
        places = copy.rows(reading.places_statement(selection, copy.mark), selection.sets + selection.hostnames)
        found = ((str(set_name), str(host)) for set_name, host in places)
        return [Level(set_name, host, self.values[set_name, host, name]) for set_name, host in found
                if (set_name, host, name) in self.values]

    def check_parents(self) -> None:
        """Raises `NotReadable` if a set has no end of parents."""
        if self.parents:
            self._copy(Selection(tuple(self.parents), ()))
