# SPDX-License-Identifier: BSD-2-Clause

"""Reads an SQLite file."""

import errno
import os
import sqlite3
import stat
from typing import Sequence
from urllib.parse import quote

from .address import Address
from .deadline import Deadline
from .failure import NotReadable
from .reading import Row, no_configuration

# How many steps of SQLite pass between two looks at the clock.
_STEPS = 200_000
_BUSY = {sqlite3.SQLITE_BUSY, sqlite3.SQLITE_LOCKED}
_DAMAGED = {sqlite3.SQLITE_NOTADB, sqlite3.SQLITE_CORRUPT}


def _look_at(path: str) -> None:
    """Raises `NotReadable`, with the reason of the system, which SQLite does not give."""
    try:
        status = os.stat(path)
        if not stat.S_ISREG(status.st_mode):
            raise NotReadable(f"{path} is no regular file", "correct the path", away=True)
        # Not by opening it: a close would release the locks that other connections of this process have on the file.
        if not os.access(path, os.R_OK, effective_ids=True):
            raise PermissionError(errno.EACCES, os.strerror(errno.EACCES))
    except FileNotFoundError as error:
        raise NotReadable(f"{path}: {error.strerror}", "correct the path, or make the file with velmora-config init",
                          away=True) from None
    except OSError as error:
        raise NotReadable(f"{path}: {error.strerror}", "let the user of this process read the file",
                          away=True) from None


class SqliteConnection:
    """A read transaction in an SQLite file. It never makes the file."""

    mark = "?"
    concatenate = "group_concat"

    def __init__(self, address: Address, deadline: Deadline) -> None:
        self._path = address.path
        self._deadline = deadline
        _look_at(address.path)
        # "rw" also repairs what a killed writer has left, where that is permitted.
        self._connection = sqlite3.connect(
            f"file:{quote(address.path)}?mode=rw", uri=True, timeout=deadline.left(), isolation_level=None)
        self._connection.set_progress_handler(deadline.passed, _STEPS)
        try:
            self.rows("PRAGMA query_only = ON")
            self.rows("BEGIN")
        except BaseException:
            self.close()
            raise

    def rows(self, statement: str, arguments: Sequence[str] = ()) -> list[Row]:
        """Returns all rows.

        Failure: raises `NotReadable`.
        """
        try:
            return self._connection.execute(statement, arguments).fetchall()
        except sqlite3.Error as error:
            raise self._fault(error) from None

    def _fault(self, error: sqlite3.Error) -> NotReadable:
        # An extended code has the basic one in its last byte. Without a code, the text may hold a value.
        code = getattr(error, "sqlite_errorcode", None)
        basic = None if code is None else code & 0xFF
        if basic in _BUSY:
            return NotReadable(
                f"{self._path} is locked by another program, which kept it for the whole {self._deadline}",
                f"find the program (fuser {self._path}) and end it, or raise deadline= in the URL", away=True)
        if basic == sqlite3.SQLITE_INTERRUPT:
            return NotReadable(f"{self._path} could not be read within {self._deadline}",
                               "check the disk, or raise deadline= in the URL", away=True)
        if basic in _DAMAGED:
            return NotReadable(f"{self._path} is damaged or no SQLite file: {error}",
                               "restore it from a copy", away=True)
        if basic == sqlite3.SQLITE_ERROR and "no such table: parameter_version" in str(error):
            return no_configuration()
        if basic is None:
            return NotReadable(f"{self._path} holds a text that is no UTF-8", "correct it in the database")
        return NotReadable(f"{self._path}: {error}", "check the file and its directory",
                           away=basic != sqlite3.SQLITE_ERROR)

    def close(self) -> None:
        """Closes the file."""
        self._connection.close()
