# SPDX-License-Identifier: BSD-2-Clause

"""Checks names and values against the library's table of parameters and against a program's own rows, which are added to
that table until the process ends.
"""

import json
import re
from pathlib import Path
from typing import Iterable, NamedTuple, Optional

from .._infra import closestParameterName, parameterFits, parameterInfo, parameterNames, registerParameters
from .failure import NotReadable

_TYPES = ("STRING", "INT", "BOOL", "FLOAT")
# Their rows are the library's own; logging is configured below the second.
_OF_LIBRARY = re.compile(r"(keswardin|log4cplus)(\.|$)")


class Row(NamedTuple):
    """A parameter of a program."""

    name: str
    type: str
    lowest: Optional[str]
    highest: Optional[str]


def _bound(row: dict[str, object], key: str) -> Optional[str]:
    bound = row.get(key)
    if bound is None:
        return None
    if isinstance(bound, bool) or not isinstance(bound, (int, float)):
        raise ValueError(f'its "{key}" is no number')
    # A bound of a FLOAT reads as one only with a point.
    return repr(float(bound)) if row["type"] == "FLOAT" else str(bound)


def _row(row: object) -> Row:
    if not isinstance(row, dict) or not isinstance(row.get("name"), str) or row.get("type") not in _TYPES:
        raise ValueError(f'it has no "name" and "type" ({", ".join(_TYPES)})')
    return Row(row["name"], row["type"], _bound(row, "lowest"), _bound(row, "highest"))


def read_rows(path: str) -> list[Row]:
    """Returns a program's own rows from what its --get-param-info --json prints.

    Failure: raises `NotReadable`.
    """
    cure = "write into it what the program prints for --get-param-info --json"
    try:
        objects = json.loads(Path(path).read_bytes())
    except OSError as error:
        raise NotReadable(f"{path} cannot be read: {error.strerror}", "correct the path") from None
    except ValueError as error:
        raise NotReadable(f"{path} is no JSON: {error}", cure) from None
    if not isinstance(objects, list):
        raise NotReadable(f"{path} holds no list of parameters", cure)
    rows = []
    for number, one in enumerate(objects):
        try:
            rows.append(_row(one))
        except ValueError as error:
            raise NotReadable(f"{path}: row {number} is no parameter: {error}", cure) from None
    return [row for row in rows if not _OF_LIBRARY.match(row.name)]


def add_rows(rows: Iterable[Row]) -> None:
    """Adds a program's own rows to what is known.

    Failure: raises `NotReadable`; the log has the reason for each row.
    """
    if not registerParameters(rows):
        raise NotReadable("rows of a program are refused, as logged above", "correct the program, and give its rows to init")


def suggestion(name: str) -> str:
    """Returns what to do about a name that is not known."""
    closest = closestParameterName(name)
    return f"write {closest}" if closest else "correct it, or give the rows of its program to velmora-config init --rows"


def names() -> list[str]:
    """Returns all names that are known, in no order."""
    return parameterNames()


def is_known(name: str) -> bool:
    """Returns whether a parameter has that name. Below log4cplus, each may."""
    return re.match(r"log4cplus(\.|$)", name) is not None or parameterInfo(name) is not None


def fault(name: str, value: str) -> Optional[str]:
    """Returns why a program would not take the parameter, and what to do; None if it would. A value with a tag is not
    checked, as it depends on other parameters and on the environment.
    """
    if re.match(r"log4cplus(\.|$)", name):
        return None
    info = parameterInfo(name)
    if info is None:
        return f"no parameter has this name; {suggestion(name)}"
    kind, bounds, deprecated, description = info
    if deprecated:
        # The descriptions leave the first component out.
        other = "keswardin." + description.removeprefix("Use parameter ")
        return f"the parameter is deprecated; {'remove it' if parameterInfo(other) is None else 'use ' + other}"
    if "$" in value or parameterFits(name, value):
        return None
    return f"the value does not fit; write {'an' if kind == 'INT' else 'a'} {kind}{' ' if bounds else ''}{bounds}"
