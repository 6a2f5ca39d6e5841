# SPDX-License-Identifier: BSD-2-Clause

"""The script of the exerciser."""

from velmora.infra import Alarm, AlarmRegistry


class ScriptAlarm(Alarm):
    def getAlarmId(self) -> str:
        return "exerciser.script"

    def getDescription(self) -> str:
        return "an alarm of a script"


class Script:
    def __init__(self) -> None:
        # A second object finds the alarm in the registry already.
        AlarmRegistry.getInstance().addAlarm(ScriptAlarm())

    def add(self, one: int, other: int) -> int:
        return one + other

    def write(self, home: str) -> str:
        with open(home + "/script", "w") as file:
            for line in range(100):
                print("line", line, file=file)
        with open(home + "/script") as file:
            return f"{len(file.readlines())} lines"

    def fail(self) -> None:
        raise ValueError("as the exerciser asks")
