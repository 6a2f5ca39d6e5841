# SPDX-License-Identifier: BSD-2-Clause

"""The parts of a URL that names sets of parameters in a database."""

import math
import re
from typing import Mapping, NamedTuple, Optional
from urllib.parse import quote, unquote

from .._infra import urlWithoutSecrets
from .failure import NotReadable, SourceError

SQLITE = "sqlite"
POSTGRESQL = "postgresql"

DEFAULT_DEADLINE = 5.0
_LONGEST_DEADLINE = 3600.0

_OWN = {"sets", "hostnames", "deadline", "snapshot"}
# Those of libpq that may be in a URL. Passwords are in the files that it reads.
_OF_POSTGRESQL = {"user", "port", "host", "hostaddr", "service", "passfile",
                  "sslmode", "sslrootcert", "sslcrl", "sslcert", "sslkey"}
_EXPRESSION = re.compile(r"(\w+)://([\w.-]*)/(.+)", re.ASCII | re.DOTALL)
_USER = re.compile(r"\w+://[^/?]*@")
_SECRET = re.compile("pass(?!file)|pwd|secret|token", re.IGNORECASE)

_NO_PASSWORD = NotReadable(
    "the URL holds a password or a user in front of the host",
    "write user= into the query, and the password into the file that PGPASSFILE names (~/.pgpass) or into the service "
    "of PGSERVICEFILE that service= names")


class Address(NamedTuple):
    """A URL in parts.

    `shown` is the URL without secrets. `hostnames` is empty if the URL names none. `options` are those of libpq.
    """

    shown: str
    scheme: str
    host: str
    path: str
    sets: tuple[str, ...]
    hostnames: tuple[str, ...] = ()
    deadline: float = DEFAULT_DEADLINE
    snapshot: Optional[str] = None
    options: Mapping[str, str] = {}

    def subject(self, hostnames: tuple[str, ...]) -> str:
        """Returns the text, of one line, that names what is read: database, sets and hosts."""
        lists = ",".join(map(quote, self.sets)), ",".join(map(quote, hostnames))
        server = "".join(f"&{key}={quote(self.options[key])}"
                         for key in ("service", "host", "hostaddr", "port") if key in self.options)
        return (f"{self.scheme}://{self.host}/{quote(self.path.lstrip('/'))}?sets={lists[0]}&hostnames={lists[1]}"
                + server)


def _decoded(text: str, what: str) -> str:
    try:
        decoded = unquote(text, errors="strict")
    except UnicodeDecodeError:
        raise NotReadable(f"{what} is no UTF-8 behind its percent signs", "correct the URL") from None
    if "\0" in decoded:
        raise NotReadable(f"{what} holds a NUL", "correct the URL")
    return decoded


def _query(text: str, allowed: set[str]) -> dict[str, str]:
    parts: dict[str, str] = {}
    for part in text.split("&") if text else []:
        key, equals, value = part.partition("=")
        key = _decoded(key, "a name in the query")
        if _SECRET.search(key):
            raise _NO_PASSWORD
        if not equals or key not in allowed:
            raise NotReadable(f'the query holds an unknown "{key}"', f'use {", ".join(sorted(allowed))}')
        if key in parts:
            raise NotReadable(f"the query holds {key}= twice", "write it once")
        # The elements of these lists are decoded one by one.
        parts[key] = value if key in ("sets", "hostnames") else _decoded(value, f"{key}=")
        if not parts[key]:
            raise NotReadable(f"{key}= is empty", "write what it stands for, or remove it")
    return parts


def _list(text: str, what: str) -> tuple[str, ...]:
    elements = [_decoded(element, what) for element in text.split(",")]
    if "" in elements:
        raise NotReadable(f"{what} has an empty element", "write names with one comma between them")
    return tuple(dict.fromkeys(elements))


def _seconds(text: str) -> float:
    try:
        seconds = float(text)
    except ValueError:
        seconds = math.nan
    if not 0 < seconds <= _LONGEST_DEADLINE:
        raise NotReadable(f'deadline={text} is no number of seconds up to {_LONGEST_DEADLINE:g}',
                          f"write one such as deadline={DEFAULT_DEADLINE:g}")
    return seconds


def _parts(url: str, shown: str, needs_sets: bool) -> Address:
    match = _EXPRESSION.fullmatch(url)
    if match is None:
        if _USER.match(url):
            raise _NO_PASSWORD
        raise NotReadable("it is no URL of a database",
                          "write one such as sqlite://localhost/etc/gateways.db?sets=common")
    scheme, host, rest = match[1].lower(), match[2], match[3]
    path, _, query = rest.partition("?")
    path = _decoded(path, "the path")
    if scheme == SQLITE:
        parts = _query(query, _OWN)
        if host not in ("", "localhost"):
            raise NotReadable(f"an SQLite file is on this machine, not on {host}", f"write sqlite://localhost/{path}")
        path = "/" + path.lstrip("/")
    elif scheme == POSTGRESQL:
        parts = _query(query, _OWN | _OF_POSTGRESQL)
        if host and "host" in parts:
            raise NotReadable("it names the host twice",
                              "remove host= from the query, or the host in front of the path")
    else:
        raise NotReadable(f'the scheme "{scheme}" is unknown', "write sqlite:// or postgresql://")
    if needs_sets and "sets" not in parts:
        raise NotReadable("it names no set", "add sets= to the query, with one name or more")
    hostnames = tuple(name.lower() for name in _list(parts["hostnames"], "hostnames=")) if "hostnames" in parts else ()
    snapshot = parts.get("snapshot")
    if snapshot is not None and not snapshot.startswith("/"):
        raise NotReadable(f"snapshot={snapshot} is not absolute", "write a path that begins with /")
    return Address(
        shown, scheme, host, path,
        _list(parts["sets"], "sets=") if "sets" in parts else (),
        hostnames,
        _seconds(parts["deadline"]) if "deadline" in parts else DEFAULT_DEADLINE,
        snapshot,
        {key: value for key, value in parts.items() if key in _OF_POSTGRESQL})


def parse(url: str, needs_sets: bool = True) -> Address:
    """Returns the parts of a URL.

    Failure: raises `SourceError`, which repeats no password.
    """
    shown = urlWithoutSecrets(url)
    try:
        return _parts(url, shown, needs_sets)
    except NotReadable as fault:
        raise SourceError(shown, fault.reason, fault.cure) from None
