# SPDX-License-Identifier: BSD-2-Clause

"""Tests the harness: programs that crash, hang, lose and report are classified correctly.

FAULTS_BUILD names the directory of the build.
"""

from __future__ import annotations

import os
import pathlib
import random
import tempfile
import unittest
from typing import Optional

import faults
from faults import Fault, Known, Run


class Victim(faults.Target):
    own = "/faults-victim"

    def __init__(self, build: pathlib.Path, what: str) -> None:
        super().__init__(build)
        self.name = what.replace(" ", "-")
        self.what = what

    def prepare(self, home: pathlib.Path, number: int) -> tuple[list[str], dict[str, str]]:
        return [str(self.build / "tests/faults/faults-victim"), self.what], {}


class WithHarness(unittest.TestCase):
    def setUp(self) -> None:
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.build = pathlib.Path(os.environ["FAULTS_BUILD"])
        self.harness = faults.Harness(self.build, pathlib.Path(place.name))
        faults.IDLE_SECONDS, faults.CPU_SECONDS = 3.0, 3.0

    def faults_of(self, what: str, call: str) -> list[Fault]:
        found = faults.faults_of(self.harness, Victim(self.build, what), [call], None)
        self.assertTrue(found, f"{what} has no {call} that can fail")
        return found

    def run_victim(self, what: str, fault: Fault) -> tuple[Run, faults.Verdict]:
        victim = Victim(self.build, what)
        baseline = faults.Baseline([self.harness.run(victim, None)[0] for _ in range(2)])
        run = self.harness.run(victim, fault)[0]
        return run, faults.judge(run, baseline)


class Outcome(WithHarness):
    def outcomes(self, what: str, call: str, error: str, lasting: bool = False) -> set[str]:
        return {self.run_victim(what, fault)[1].outcome for fault in self.faults_of(what, call)
                if fault.error == error and fault.lasting == lasting}

    def test_a_signal_is_a_crash(self) -> None:
        self.assertEqual({faults.CRASHED}, self.outcomes("crashes", "openat", "EMFILE"))

    def test_an_abort_is_a_crash(self) -> None:
        self.assertEqual({faults.CRASHED}, self.outcomes("aborts", "openat", "EMFILE"))

    def test_a_crash_of_an_ignored_child_is_a_crash(self) -> None:
        self.assertEqual({faults.CRASHED}, self.outcomes("crashes in a child", "openat", "EMFILE"))

    def test_an_exception_from_noexcept_is_a_crash(self) -> None:
        self.assertEqual({faults.CRASHED}, self.outcomes("allocates without throwing", faults.ALLOCATION, faults.OWN))

    def test_a_program_that_waits_forever_hangs(self) -> None:
        self.assertEqual({faults.HUNG}, self.outcomes("hangs", "openat", "EMFILE"))

    def test_a_program_that_computes_forever_hangs(self) -> None:
        self.assertEqual({faults.HUNG}, self.outcomes("spins", "openat", "EMFILE"))

    def test_output_that_is_missing_is_lost(self) -> None:
        self.assertEqual({faults.LOST}, self.outcomes("loses", "write", "ENOSPC"))

    def test_a_loss_that_the_program_detects_is_lost(self) -> None:
        self.assertEqual({faults.LOST}, self.outcomes("reports a loss", "openat", "EMFILE"))

    def test_a_loss_that_standard_error_names_is_reported(self) -> None:
        self.assertEqual({faults.REPORTED}, self.outcomes("reports", "write", "ENOSPC"))

    def test_another_exit_code_is_a_report(self) -> None:
        self.assertEqual({faults.REPORTED}, self.outcomes("returns 1", "openat", "EMFILE"))

    def test_a_program_that_tries_again_is_unaffected(self) -> None:
        self.assertEqual({faults.UNAFFECTED}, self.outcomes("tries again", "openat", "EMFILE"))

    def test_a_lasting_fault_hits_the_second_try_too(self) -> None:
        self.assertEqual({faults.REPORTED}, self.outcomes("tries again", "openat", "EMFILE", lasting=True))

    def test_a_program_that_does_without_the_memory_is_unaffected(self) -> None:
        self.assertEqual({faults.UNAFFECTED}, self.outcomes("allocates with nothrow", faults.ALLOCATION, faults.OWN))

    def test_a_fault_that_comes_too_late_has_not_been_reached(self) -> None:
        self.assertEqual(faults.UNREACHED, self.run_victim("loses", Fault("write", "EIO", 50, False))[1].outcome)

    def test_the_loader_is_left_alone(self) -> None:
        self.assertEqual(faults.UNREACHED, self.run_victim("loses", Fault("openat", "EIO", 1, True))[1].outcome)


class Places(WithHarness):
    def test_only_what_the_program_asks_for_is_its_own_allocation(self) -> None:
        own = [fault for fault in self.faults_of("allocates", faults.ALLOCATION) if fault.error == faults.OWN]
        self.assertEqual([Fault("allocation", "own", 1, False), Fault("allocation", "own", 1, True)], own)

    def test_calls_of_the_loader_are_left_out(self) -> None:
        self.assertEqual([1], sorted({fault.number for fault in self.faults_of("loses", "write")}))
        self.assertEqual([1], sorted({fault.number for fault in self.faults_of("crashes", "openat")}))

    def test_a_call_that_may_be_repeated_forever_does_not_fail_forever(self) -> None:
        errors = {fault.error for fault in self.faults_of("loses", "write") if fault.lasting}
        self.assertEqual({"ENOSPC", "EIO"}, errors)

    def test_a_sample_begins_with_each_call_and_error(self) -> None:
        victim = Victim(self.build, "loses")
        jobs = [(victim, Fault("read", "EIO", number, False)) for number in range(100)]
        jobs += [(victim, Fault("write", error, number, False)) for error in ("EIO", "ENOSPC") for number in range(3)]
        first = faults.in_turn(jobs, random.Random(7))[:3]
        self.assertEqual({("read", "EIO"), ("write", "EIO"), ("write", "ENOSPC")},
                         {(fault.call, fault.error) for _, fault in first})

    def test_the_seed_chooses_the_sample(self) -> None:
        every = [Fault("read", "EIO", number, False) for number in range(100)]
        one, same, other = (faults.limited(every, 10, random.Random(seed)) for seed in (1, 1, 2))
        self.assertEqual((one == same, one == other, len(one)), (True, False, 10))


class Stacks(WithHarness):
    def stacks(self, what: str, fault: Fault) -> dict[str, list[str]]:
        findings = faults.Findings(self.harness, [], "")
        run = self.run_victim(what, fault)[0]
        return dict(findings.stacks(Victim(self.build, what), fault, run))

    def test_a_failed_call_has_one(self) -> None:
        fault = self.faults_of("crashes", "openat")[0]
        self.assertIn("{anonymous}::opens", self.stacks("crashes", fault)["failed"])

    def test_a_failed_allocation_has_one(self) -> None:
        stacks = self.stacks("allocates with nothrow", Fault("allocation", "own", 1, False))
        self.assertIn("{anonymous}::act", stacks["failed"])

    def test_a_crash_has_one(self) -> None:
        stacks = self.stacks("allocates without throwing", Fault("allocation", "own", 1, False))
        self.assertIn("{anonymous}::allocateWithoutThrowing", stacks["crash"])
        self.assertNotIn(faults.LEAVES_MAIN, stacks["crash"])

    def test_a_crash_names_the_file_that_it_began_in(self) -> None:
        stacks = self.stacks("allocates without throwing", Fault("allocation", "own", 1, False))
        self.assertIn("{failed in faults-victim}", stacks["failed"])
        self.assertIn("{crash in faults-victim}", stacks["crash"])

    def test_a_hang_has_one(self) -> None:
        fault = self.faults_of("hangs", "openat")[0]
        self.assertIn("{anonymous}::hang", self.stacks("hangs", fault)["hang"])

    def test_an_exception_that_leaves_main_is_named(self) -> None:
        stacks = self.stacks("allocates", Fault("allocation", "own", 1, False))
        self.assertIn(faults.LEAVES_MAIN, stacks["crash"])

    def test_names_are_without_parameters(self) -> None:
        for name, expected in [("void a::b<int>(char) const", "a::b"), ("a::(anonymous namespace)::b(int (*)())", "a::{anonymous}::b"),
                               ("a::b(c) [clone .localalias]", "a::b"), ("std::string::string(char const*) const", "std::string::string"),
                               ("main", "main")]:
            self.assertEqual(expected, faults.bare(name), name)


class KnownList(unittest.TestCase):
    fault = Fault("write", "ENOSPC", 3, False)

    def known(self, text: str) -> Optional[Known]:
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(text)
            file.flush()
            return next(iter(faults.read_known(pathlib.Path(file.name))), None)

    def fits(self, text: str, outcome: str = faults.LOST, stack: Optional[list[str]] = None) -> bool:
        known = self.known(text)
        assert known
        return known.fits(outcome, "minimal", self.fault, ["write", "a::b", "main"] if stack is None else stack)

    def test_a_line_fits_what_it_names(self) -> None:
        self.assertTrue(self.fits("lost minimal write ENOSPC a::b"))
        self.assertTrue(self.fits("# why\n\nlost * write * a::b & main"))

    def test_each_field_must_fit(self) -> None:
        for text in ("crashed minimal write ENOSPC a::b", "lost gateway write ENOSPC a::b", "lost minimal read ENOSPC a::b",
                     "lost minimal write EIO a::b", "lost minimal write ENOSPC a", "lost minimal write ENOSPC a::b & c"):
            self.assertFalse(self.fits(text), text)

    def test_a_function_may_be_excluded_by_the_beginning_of_its_name(self) -> None:
        self.assertTrue(self.fits("lost minimal write ENOSPC main & !b"))
        self.assertFalse(self.fits("lost minimal write ENOSPC main & !a::"))

    def test_without_a_stack_nothing_fits(self) -> None:
        self.assertFalse(self.fits("lost * * * a::b", stack=[]))
        self.assertFalse(self.fits("lost * * * !a::b", stack=[]))

    def test_a_request_that_the_gateway_handles_is_not_excused(self) -> None:
        own = ["su_strdup", "GatewayExample::Leg::Leg", "GatewayExample::StackCallback::request", "nta_incoming_destroy",
               "tport_deliver", "{failed in libsofia-sip-ua.so.0}"]
        fault = Fault("allocation", "any", 1, False)
        known = faults.read_known(faults.HERE / "known.list")
        self.assertFalse([line for line in known if line.fits(faults.LOST, "gateway", fault, own)])
        stack = [name for name in own if not name.startswith("GatewayExample")]
        self.assertTrue([line for line in known if line.fits(faults.LOST, "gateway", fault, stack)])

    def test_a_line_without_a_function_is_refused(self) -> None:
        for text in ("lost minimal write ENOSPC", "reported minimal write ENOSPC a::b"):
            with self.assertRaises(SystemExit):
                self.known(text)

    def test_the_list_of_the_tree_can_be_read(self) -> None:
        self.assertTrue(faults.read_known(faults.HERE / "known.list"))


class WholeRuns(unittest.TestCase):
    def test_a_finding_makes_it_fail_and_says_how_to_see_it_again(self) -> None:
        import contextlib
        import io
        build = pathlib.Path(os.environ["FAULTS_BUILD"])
        with tempfile.TemporaryDirectory() as place:
            harness = faults.Harness(build, pathlib.Path(place))
            victim = Victim(build, "loses")
            baseline = faults.Baseline([harness.run(victim, None)[0]])
            fault = Fault("write", "ENOSPC", 1, False)
            line = Known("lost", "*", "write", "*", ("{anonymous}::writeLine",), 1)
            cases: list[tuple[list[Known], bool]] = [([], False), ([line], True)]
            for known, clean in cases:
                findings = faults.Findings(harness, known, "")
                output = io.StringIO()
                with contextlib.redirect_stdout(output):
                    run = harness.run(victim, fault)[0]
                    findings.take(victim, fault, run, faults.judge(run, baseline))
                    self.assertEqual(clean, findings.print_table())
                self.assertEqual(not clean, "lost silently: scripts/faults --run loses write:ENOSPC:1\n" in output.getvalue())


if __name__ == "__main__":
    unittest.main()
