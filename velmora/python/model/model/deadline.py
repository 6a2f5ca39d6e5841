# SPDX-License-Identifier: BSD-2-Clause

"""One limit of time for all that a read waits for."""

import threading
import time
from typing import Callable, Generic, TypeVar

Result = TypeVar("Result")

# How much later than the work itself the waiting thread gives up, so that the reason is that of the work.
_GRACE = 0.2


class DeadlinePassed(Exception):
    """Work has not ended in time."""


class Deadline:
    """A moment, by the monotonic clock. May be used on several threads.

    `cancel` makes it pass at once: work that still waits on another thread then ends.
    """

    def __init__(self, seconds: float) -> None:
        self.seconds = seconds
        self._end = time.monotonic() + seconds

    def left(self) -> float:
        """Returns the seconds that are left, at least 0."""
        return max(0.0, self._end - time.monotonic())

    def passed(self) -> bool:
        return self.left() == 0

    def cancel(self) -> None:
        self._end = 0.0

    def __str__(self) -> str:
        return f"{self.seconds:g} s"


class _Work(Generic[Result]):
    """Work on a thread of its own, with its result or its exception."""

    def __init__(self, work: Callable[[], Result]) -> None:
        self._work = work
        self.results: list[Result] = []
        self.exceptions: list[BaseException] = []
        self.done = threading.Event()

    def __call__(self) -> None:
        try:
            self.results.append(self._work())
        except BaseException as exception:
            self.exceptions.append(exception)
        finally:
            self.done.set()


def within(deadline: Deadline, work: Callable[[], Result]) -> Result:
    """Returns the result of the work, which runs on a thread of its own: a name server or a disk that does not answer
    holds up that thread alone.

    The caller's thread can be interrupted while it waits. The work is then cancelled by its deadline.
    Failure: raises what the work raises, or `DeadlinePassed`. The thread, a daemon, then ends when its work does.
    """
    running = _Work(work)
    thread = threading.Thread(target=running, name="velmora-configuration", daemon=True)
    try:
        thread.start()
        # Not `join`: after one that was interrupted, Python takes the thread for ended.
        running.done.wait(deadline.left() + _GRACE)
    finally:
        if not running.done.is_set():
            deadline.cancel()
    if not running.done.is_set():
        raise DeadlinePassed
    # The program may fork next.
    thread.join()
    if running.exceptions:
        raise running.exceptions[0]
    return running.results[0]
