# SPDX-License-Identifier: BSD-2-Clause

"""What a database holds at one moment, and which values win in it."""

import sqlite3
from dataclasses import dataclass, field
from typing import NamedTuple, Optional, Sequence

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
    concatenate = "group_concat"

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

    def rows(self, statement: str, arguments: Sequence[str] = ()) -> list[Row]:
        return self._connection.execute(statement, arguments).fetchall()


@dataclass
class State:
    """The sets with their parents, and the values by set, host and name."""

    parents: dict[str, Optional[str]] = field(default_factory=dict)
    values: dict[tuple[str, str, str], str] = field(default_factory=dict)

    def parameters(self, selection: Selection) -> Parameters:
        """Returns what a program reads, by name.

        Failure: raises `NotReadable`.
        """
        return sorted(reading.winners(_Copy(self), selection))

    def levels(self, name: str, selection: Optional[Selection] = None) -> list[Level]:
        """Returns the values that a parameter has, the winning one last; without a selection all, by set and host.

        Failure: raises `NotReadable`.
        """
        if selection is None:
            return sorted(Level(set_name, host, value)
                          for (set_name, host, one), value in self.values.items() if one == name)
        return [Level(place.set_name, place.host, self.values[place.set_name, place.host, name])
                for place in reading.places(_Copy(self), selection)
                if (place.set_name, place.host, name) in self.values]

    def by_place(self) -> dict[tuple[str, str], dict[str, str]]:
        """Returns the values of each set and host."""
        places: dict[tuple[str, str], dict[str, str]] = {}
        for (set_name, host, name), value in self.values.items():
            places.setdefault((set_name, host), {})[name] = value
        return places

    def check_parents(self) -> None:
        """Raises `NotReadable` if a set has no end of parents."""
        if self.parents:
            reading.places(_Copy(self), Selection(tuple(self.parents), ()))
