# SPDX-License-Identifier: BSD-2-Clause

"""The last parameters that a database gave, in a file: a program starts from it while the database is away.

The file is in the format of configuration files. Its first two lines are comments, which name what was read, when, and
how many parameters follow.
"""

import os
import re
import stat
from contextlib import suppress
from datetime import datetime, timezone
from typing import NamedTuple

from .failure import NotReadable
from .reading import Parameters, check

_HEAD = re.compile(r"# velmora snapshot of (\S+)\n# (\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ), parameters: (\d+)\n")
_TIME = "%Y-%m-%dT%H:%M:%SZ"


class Snapshot(NamedTuple):
    """Parameters, and when they were read."""

    parameters: Parameters
    moment: datetime

    def age(self) -> str:
        """Returns how old they are, in the two largest units."""
        seconds = max(0, int((datetime.now(timezone.utc) - self.moment).total_seconds()))
        days, hours, minutes = seconds // 86400, seconds // 3600 % 24, seconds // 60 % 60
        if days:
            return f"{days} d {hours} h"
        if hours:
            return f"{hours} h {minutes} min"
        return f"{minutes} min {seconds % 60} s" if minutes else f"{seconds} s"

    def time(self) -> str:
        """Returns when they were read."""
        return self.moment.strftime(_TIME)


def _replace(path: str, content: bytes) -> None:
    # A name of its own, as another process may write the same snapshot.
    new = f"{path}.{os.getpid()}.new"
    with suppress(FileNotFoundError):
        os.unlink(new)
    descriptor = os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o600)
    try:
        with open(descriptor, "wb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
        os.rename(new, path)
    except BaseException:
        with suppress(OSError):
            os.unlink(new)
        raise
    # The new name outlives a loss of power.
    directory = os.open(os.path.dirname(path), os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    try:
        os.fsync(directory)
    finally:
        os.close(directory)


def write(path: str, subject: str, parameters: Parameters) -> None:
    """Replaces the file as a whole; only its user may read it.

    Failure: raises `OSError`, and the former file stays.
    """
    moment = datetime.now(timezone.utc).strftime(_TIME)
    head = f"# velmora snapshot of {subject}\n# {moment}, parameters: {len(parameters)}\n"
    _replace(path, (head + "".join(f"{name}={value}\n" for name, value in parameters)).encode())


def _content(path: str) -> str:
    # A named pipe must not hold up the start.
    descriptor = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC)
    with open(descriptor, "rb") as file:
        status = os.fstat(descriptor)
        if not stat.S_ISREG(status.st_mode):
            raise NotReadable("it is no regular file", "")
        if status.st_uid not in (0, os.geteuid()) or status.st_mode & (stat.S_IWGRP | stat.S_IWOTH):
            raise NotReadable("others than root and the user of this process may write to it", "")
        return file.read().decode()


def read(path: str, subject: str) -> Snapshot:
    """Returns what the file holds.

    Failure: raises `NotReadable`, without a cure.
    """
    try:
        content = _content(path)
    except OSError as error:
        raise NotReadable(error.strerror, "") from None
    except UnicodeDecodeError:
        raise NotReadable("it is no UTF-8", "") from None
    head = _HEAD.match(content)
    if head is None:
        raise NotReadable("it is no snapshot", "")
    if head[1] != subject:
        raise NotReadable(f"it is one of {head[1]}", "")
    lines = content[head.end():].split("\n")
    if len(lines) != int(head[3]) + 1 or lines.pop():
        raise NotReadable(f"it does not hold its {head[3]} parameters", "")
    parameters: Parameters = []
    for line in lines:
        name, _, value = line.partition("=")
        check(name, value)
        parameters.append((name, value))
    return Snapshot(parameters, datetime.strptime(head[2], _TIME).replace(tzinfo=timezone.utc))
