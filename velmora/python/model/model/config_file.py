# SPDX-License-Identifier: BSD-2-Clause

"""Configuration files, as the library reads them, with the tags in their values as they are written."""

from pathlib import Path
from typing import NamedTuple

from .failure import NotReadable
from .reading import Parameters
from .rules import BLANKS


class Line(NamedTuple):
    """A parameter, and the number of its line."""

    number: int
    name: str
    value: str


def parse(text: str, shown: str) -> list[Line]:
    """Returns the parameters of a text in their order.

    Failure: raises `NotReadable` if a line is neither a parameter nor a comment.
    """
    lines = []
    for number, line in enumerate(text.removeprefix("\ufeff").split("\n"), 1):
        line = line.strip(BLANKS)
        if not line or line.startswith("#"):
            continue
        name, equals, value = line.partition("=")
        if not equals:
            raise NotReadable(f"{shown}:{number}: {line!a} is no parameter", 'write "name = value"')
        # A dot at the end adds no component.
        lines.append(Line(number, name.rstrip(BLANKS).removesuffix("."), value.lstrip(BLANKS)))
    return lines


def read(path: str) -> list[Line]:
    """Returns the parameters of a file in their order.

    Failure: raises `NotReadable`.
    """
    try:
        return parse(Path(path).read_bytes().decode(), path)
    except OSError as error:
        raise NotReadable(f"{path} cannot be read: {error.strerror}", "correct the path") from None
    except UnicodeDecodeError:
        raise NotReadable(f"{path} is no UTF-8", "convert it with iconv") from None


def text_of(parameters: Parameters) -> str:
    """Returns the text of a file with these parameters."""
    return "".join(f"{name} = {value}\n" for name, value in parameters)
