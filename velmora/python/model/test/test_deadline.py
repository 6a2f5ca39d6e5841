# SPDX-License-Identifier: BSD-2-Clause

"""Tests the limit of time for work that may hang."""

import signal
import threading
import time
import unittest

from velmora.infra.model.deadline import Deadline, DeadlinePassed, within


class Interrupted(Exception):
    """What the signal handler of a test raises."""


class DeadlineTest(unittest.TestCase):
    def test_the_result_of_the_work_is_returned(self) -> None:
        self.assertEqual([5], within(Deadline(60), lambda: [5]))
        self.assertIsNone(within(Deadline(60), lambda: None))

    def test_the_exception_of_the_work_is_raised(self) -> None:
        with self.assertRaises(ZeroDivisionError):
            within(Deadline(60), lambda: 1 // 0)

    def test_work_that_takes_longer_is_left_to_its_thread(self) -> None:
        done = threading.Event()
        start = time.monotonic()
        with self.assertRaises(DeadlinePassed):
            within(Deadline(0.2), done.wait)
        self.assertLess(time.monotonic() - start, 30)
        self.assertTrue(all(thread.daemon for thread in threading.enumerate() if thread.name == "velmora-configuration"))
        done.set()

    def test_a_deadline_passes_once(self) -> None:
        deadline = Deadline(1.5)
        self.assertFalse(deadline.passed())
        time.sleep(1.51)
        self.assertEqual((True, 0), (deadline.passed(), deadline.left()))
        self.assertEqual("1.5 s", str(deadline))

    def test_a_caller_that_is_interrupted_cancels_the_work(self) -> None:
        def interrupt(*_: object) -> None:
            raise Interrupted
        self.addCleanup(signal.signal, signal.SIGALRM, signal.signal(signal.SIGALRM, interrupt))
        deadline = Deadline(600)
        ended = threading.Event()

        def work() -> None:
            while not deadline.passed():
                time.sleep(0.01)
            ended.set()
        signal.setitimer(signal.ITIMER_REAL, 0.2)
        with self.assertRaises(Interrupted):
            within(deadline, work)
        self.assertTrue(ended.wait(30))


if __name__ == "__main__":
    unittest.main()
