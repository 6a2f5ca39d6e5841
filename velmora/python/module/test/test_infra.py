# SPDX-License-Identifier: BSD-2-Clause

"""Tests the package in a plain interpreter: one library, one registry, and its own end."""

import gc
import os
import subprocess
import sys
import textwrap
import threading
import unittest
import weakref

from velmora import infra
from velmora.infra import Alarm, AlarmRegistry, AlarmState, PyClassName


class Trunk(Alarm):
    """An alarm as a site would define it."""

    def __init__(self, name: str, severity: int = 30000) -> None:
        super().__init__(severity)
        self.name = name

    def getAlarmId(self) -> str:
        return "site.trunk." + self.name

    def getDescription(self) -> str:
        return "The trunk " + self.name + " has no free channel"


def run(script: str, **environment: str) -> "subprocess.CompletedProcess[str]":
    """Runs a script in a plain interpreter of its own."""
    return subprocess.run(
        [sys.executable, "-u", "-c", textwrap.dedent(script)],
        capture_output=True, text=True, timeout=60, check=False,
        env={**os.environ, **environment},
    )


DEFINES_TRUNK = """
from velmora.infra import Alarm, AlarmRegistry, AlarmState, PyClassName
class Trunk(Alarm):
    def getAlarmId(self): return "site.trunk"
    def getDescription(self): return "no free channel"
"""


class AlarmTest(unittest.TestCase):
    def setUp(self) -> None:
        self.registry = AlarmRegistry.getInstance()
        self.addCleanup(self.registry.clear)

    def test_an_alarm_starts_off_and_is_set_and_reset(self) -> None:
        alarm = Trunk("a")
        self.assertEqual(AlarmState.ALARM_OFF, alarm.getState())
        alarm.set()
        self.assertEqual(AlarmState.ALARM_ON, alarm.getState())
        self.assertIs(True, alarm.reset())
        self.assertEqual(AlarmState.ALARM_OFF, alarm.getState())
        alarm.setState(AlarmState.ALARM_ON)
        self.assertEqual(AlarmState.ALARM_ON, alarm.getState())

    def test_the_text_of_an_alarm_has_its_id_and_state(self) -> None:
        self.assertEqual("Alarm [site.trunk.a] : ALARM_OFF", str(Trunk("a")))

    def test_the_severity_is_the_constructors_argument_and_an_error_by_default(self) -> None:
        self.assertEqual(30000, Trunk("a").getSeverity())
        self.assertEqual(40000, Alarm().getSeverity())

    def test_an_alarm_in_the_registry_is_set_by_its_id(self) -> None:
        alarm = Trunk("a")
        handle = self.registry.addAlarm(alarm)
        assert handle is not None
        self.assertIs(True, self.registry.setAlarm("site.trunk.a"))
        self.assertEqual(AlarmState.ALARM_ON, alarm.getState())
        self.assertEqual(AlarmState.ALARM_ON, handle.getState())
        alarm.reset()
        self.assertEqual(AlarmState.ALARM_OFF, handle.getState())

    def test_a_handle_gives_what_the_script_defines(self) -> None:
        handle = self.registry.addAlarm(Trunk("a"))
        assert handle is not None
        self.assertEqual("site.trunk.a", handle.getAlarmId())
        self.assertEqual("The trunk a has no free channel", handle.getDescription())
        self.assertEqual("Alarm [site.trunk.a] : ALARM_OFF", str(handle))

    def test_a_handle_answers_severity_error(self) -> None:
        handle = self.registry.addAlarm(Trunk("a", severity=20000))
        assert handle is not None
        self.assertEqual(40000, handle.getSeverity())

    def test_the_registry_keeps_an_alarm_alive_until_it_is_cleared(self) -> None:
        alarm = Trunk("a")
        alive = weakref.ref(alarm)
        self.registry.addAlarm(alarm)
        del alarm
        gc.collect()
        self.assertIsNotNone(alive())
        self.registry.clear()
        gc.collect()
        self.assertIsNone(alive())

    def test_none_is_not_added(self) -> None:
        self.assertIsNone(self.registry.addAlarm(None))

    def test_what_is_no_alarm_is_not_added(self) -> None:
        self.assertIsNone(self.registry.addAlarm("no alarm"))  # type: ignore[arg-type]

    def test_an_unknown_id_is_not_set(self) -> None:
        self.assertIs(False, self.registry.setAlarm("nowhere"))

    def test_a_script_may_take_a_hand_in_the_state(self) -> None:
        asked = []

        class Latched(Trunk):
            """Stays on once it has been set."""

            def setState(self, state: AlarmState) -> None:
                asked.append(state)
                if state == AlarmState.ALARM_ON:
                    super().setState(state)

        alarm = Latched("a")
        self.registry.addAlarm(alarm)
        self.registry.setAlarm("site.trunk.a")
        alarm.reset()
        self.assertEqual([AlarmState.ALARM_ON, AlarmState.ALARM_OFF], asked)
        self.assertEqual(AlarmState.ALARM_ON, alarm.getState())

    def test_a_script_may_give_the_state_that_is_reported(self) -> None:
        class AlwaysOn(Trunk):
            def getState(self) -> AlarmState:
                return AlarmState.ALARM_ON

        handle = self.registry.addAlarm(AlwaysOn("a"))
        assert handle is not None
        self.assertEqual(AlarmState.ALARM_ON, handle.getState())

    def test_threads_use_their_alarms_and_the_registry_concurrently(self) -> None:
        alarms = [Trunk(str(number)) for number in range(4)]
        for alarm in alarms:
            self.registry.addAlarm(alarm)
        seen = []

        def work(alarm: Trunk) -> None:
            for _ in range(500):
                self.registry.setAlarm(alarm.getAlarmId())
                seen.append(alarm.getState())
                alarm.reset()

        threads = [threading.Thread(target=work, args=(alarm,)) for alarm in alarms]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual({AlarmState.ALARM_ON}, set(seen))
        self.assertEqual(2000, len(seen))


class FailureTest(unittest.TestCase):
    def log_of(self, script: str) -> str:
        result = run(DEFINES_TRUNK + script)
        self.assertEqual("", result.stderr)
        self.assertEqual(0, result.returncode)
        return result.stdout

    def test_an_alarm_without_an_id_is_an_error_for_its_script(self) -> None:
        with self.assertRaisesRegex(NotImplementedError, "^Alarm does not define getAlarmId$"):
            Alarm().getAlarmId()
        with self.assertRaisesRegex(NotImplementedError, "^Alarm does not define getDescription$"):
            Alarm().getDescription()

    def test_an_alarm_without_an_id_is_an_error_in_the_log_for_native_code(self) -> None:
        log = self.log_of("""
AlarmRegistry.getInstance().addAlarm(Alarm())
""")
        self.assertIn("NotImplementedError: Alarm does not define getAlarmId", log)

    def test_an_exception_in_an_id_is_logged_and_the_last_id_is_used(self) -> None:
        log = self.log_of("""
class Broken(Trunk):
    works = True
    def getAlarmId(self):
        if not self.works: raise ValueError("broken id")
        return "site.broken"
alarm = Broken()
str(alarm)
Broken.works = False
print(alarm)
""")
        self.assertIn("ValueError: broken id", log)
        self.assertIn("Alarm [site.broken] : ALARM_OFF", log)

    def test_an_exception_in_a_change_is_logged_and_the_state_stays(self) -> None:
        log = self.log_of("""
class Broken(Trunk):
    def setState(self, state): raise SystemExit(3)
alarm = Broken()
alarm.set()
print("state", int(alarm.getState()))
""")
        self.assertIn("SystemExit: 3", log)
        self.assertIn("state 0", log)

    def test_what_is_no_alarm_is_reported_with_the_reason(self) -> None:
        log = self.log_of("""
print("result", AlarmRegistry.getInstance().addAlarm(5))
""")
        self.assertIn("result None", log)
        self.assertIn("TypeError", log)

    def test_a_second_alarm_with_an_id_is_refused(self) -> None:
        log = self.log_of("""
registry = AlarmRegistry.getInstance()
first = registry.addAlarm(Trunk())
print("result", registry.addAlarm(Trunk()))
""")
        self.assertIn("result None", log)
        self.assertIn('Assertion failed (! "alarm is not unique")', log)


class SourceTest(unittest.TestCase):
    def test_a_warning_is_logged(self) -> None:
        result = run("""
from velmora import infra
infra.warnOfSource("the set \\u00fc is old")
""")
        self.assertEqual(("WARN - the set \u00fc is old\n", "", 0),
                         (result.stdout, result.stderr, result.returncode))

    def test_the_secrets_of_a_url_are_masked(self) -> None:
        self.assertEqual("db://gw:***@host/x?password=***",
                         infra.urlWithoutSecrets("db://gw:a@host/x?password=b"))


class ClassNameTest(unittest.TestCase):
    def test_a_class_name_is_taken_apart(self) -> None:
        name = PyClassName("a.b.C")
        self.assertEqual("C", name.getClassName())
        self.assertEqual("a.b", name.getModulesAsString())

    def test_the_text_outlives_the_name(self) -> None:
        self.assertEqual("C", PyClassName("a.C").getClassName())


class ParametersTest(unittest.TestCase):
    EXIT = "keswardin.exitTimeoutSec"

    def test_a_known_parameter_has_a_type_and_an_unknown_one_nothing(self) -> None:
        self.assertEqual(("INT", "", False, ""), infra.parameterInfo(self.EXIT))
        self.assertIsNone(infra.parameterInfo("site.unknown"))

    def test_each_known_name_is_listed_once(self) -> None:
        names = infra.parameterNames()
        self.assertIn(self.EXIT, names)
        self.assertEqual(len(names), len(set(names)))
        self.assertNotIn(None, [infra.parameterInfo(name) for name in names])

    def test_a_deprecated_parameter_is_told(self) -> None:
        self.assertEqual(("INT", "", True, "Use parameter sip.userAgent.IPAddress"), infra.parameterInfo("keswardin.sip.userAgentPort"))

    def test_a_close_name_is_found_and_a_distant_one_is_not(self) -> None:
        self.assertEqual(self.EXIT, infra.closestParameterName("keswardin.exitTimeoutSek"))
        self.assertEqual("", infra.closestParameterName("site.unknown"))

    def test_a_value_fits_its_type(self) -> None:
        self.assertEqual([True, False, False], [infra.parameterFits(self.EXIT, value) for value in ("10", "10 s", "")])
        self.assertFalse(infra.parameterFits("site.unknown", "1"))

    def test_rows_of_a_program_are_added_with_their_bounds(self) -> None:
        self.assertTrue(infra.registerParameters([("site.port", "INT", "1", "65535"), ("site.gain", "FLOAT", None, "1.5"),
                                                  ("site.name", "STRING", None, None)]))
        self.assertEqual([("INT", "from 1 to 65535", False, ""), ("FLOAT", "at most 1.5", False, ""),
                          ("STRING", "", False, "")],
                         [infra.parameterInfo(name) for name in ("site.port", "site.gain", "site.name")])
        self.assertEqual([True, False], [infra.parameterFits("site.port", value) for value in ("65535", "65536")])
        self.assertEqual("site.port", infra.closestParameterName("site.prt"))

    def test_a_row_of_the_library_is_refused_and_logged(self) -> None:
        done = run("from velmora.infra import registerParameters\n"
                   "print(registerParameters([('keswardin.x', 'INT', None, None)]))")
        self.assertEqual(('ERROR - cannot register parameter keswardin.x: the parameters below "keswardin" are the '
                          "library's; begin the name with another component\nFalse\n", ""), (done.stdout, done.stderr))


class PackageTest(unittest.TestCase):
    def test_the_package_exports_what_it_says(self) -> None:
        for name in infra.__all__:
            self.assertTrue(hasattr(infra, name), name)

    def test_other_modules_may_stand_beside_the_packages_own(self) -> None:
        import tempfile

        with tempfile.TemporaryDirectory() as directory:
            beside = os.path.join(directory, "velmora", "infra")
            os.makedirs(beside)
            with open(os.path.join(beside, "Beside.py"), "w", encoding="utf-8") as module:
                module.write("WHERE = 'beside'\n")
            result = run("import velmora.infra\nfrom velmora.infra.Beside import WHERE\nprint(WHERE)",
                         PYTHONPATH=os.environ["PYTHONPATH"] + os.pathsep + directory)
        self.assertEqual(("beside\n", "", 0), (result.stdout, result.stderr, result.returncode))


class PlainInterpreterTest(unittest.TestCase):
    def test_the_interpreter_is_taken_as_it_is(self) -> None:
        result = run("""
import os, sys
before = dict(os.environ), sys.excepthook, list(sys.argv), list(sys.path)
import velmora.infra
print(before == (dict(os.environ), sys.excepthook, list(sys.argv), list(sys.path)))
print("VELMORA" in os.environ)
""")
        self.assertEqual("True\nFalse\n", result.stdout)
        self.assertEqual(0, result.returncode)

    def test_what_a_script_has_made_is_finalised(self) -> None:
        result = run("""
            import velmora.infra, os
            class Last:
                def __del__(self): os.write(1, b"finalised")
                def method(self): return last
            last = Last()
            """)
        self.assertEqual(("finalised", ""), (result.stdout, result.stderr))

    def test_the_exit_status_of_a_script_is_its_own(self) -> None:
        result = run(DEFINES_TRUNK + """
import sys
alarm = Trunk()
AlarmRegistry.getInstance().addAlarm(alarm)
alarm.set()
sys.exit(7)
""")
        self.assertEqual("", result.stderr)
        self.assertEqual(7, result.returncode)
        self.assertIn("Alarm [site.trunk] : ALARM_ON", result.stdout)

    def test_a_script_with_threads_and_alarms_ends(self) -> None:
        result = run(DEFINES_TRUNK + """
import threading, time
alarm = Trunk()
registry = AlarmRegistry.getInstance()
registry.addAlarm(alarm)
def work():
    while True:
        registry.setAlarm("site.trunk")
        alarm.reset()
threading.Thread(target=work, daemon=True).start()
time.sleep(0.05)
""")
        self.assertEqual("", result.stderr)
        self.assertEqual(0, result.returncode)

    def test_a_child_of_os_fork_goes_on_and_ends(self) -> None:
        result = run(DEFINES_TRUNK + """
import os, sys
alarm = Trunk()
registry = AlarmRegistry.getInstance()
registry.addAlarm(alarm)
pid = os.fork()
if pid == 0:
    registry.setAlarm("site.trunk")
    sys.exit(int(alarm.getState()) + 4)
print("child", os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]))
print("parent", int(alarm.getState()))
""")
        self.assertEqual("", result.stderr)
        self.assertEqual(0, result.returncode)
        self.assertIn("child 5\n", result.stdout)
        self.assertIn("parent 0\n", result.stdout)


if __name__ == "__main__":
    unittest.main()
