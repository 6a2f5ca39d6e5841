# SPDX-License-Identifier: BSD-2-Clause

from typing import ClassVar, Dict, Iterable, List, Optional, Tuple

class AlarmState(int):
    names: ClassVar[Dict[str, AlarmState]]
    values: ClassVar[Dict[int, AlarmState]]
    ALARM_OFF: ClassVar[AlarmState]
    ALARM_ON: ClassVar[AlarmState]

class OutputStreamableImpl:
    def __str__(self) -> str: ...

class Alarm:
    """An alarm. A derived class must define getAlarmId and getDescription, and may define getState
    and setState.
    """

    __instance_size__: ClassVar[int]
    def __init__(self, severity: int = ...) -> None:
        """The severity is the level of the line that is logged when the alarm goes on: 40000 for
        ERROR, 30000 for WARN.
        """
    def getAlarmId(self) -> str: ...
    def getDescription(self) -> str: ...
    def getSeverity(self) -> int: ...
    def getState(self) -> AlarmState: ...
    def setState(self, state: AlarmState) -> None: ...
    def set(self) -> None: ...
    def reset(self) -> bool: ...
    def __str__(self) -> str: ...

class AlarmRegistry:
    """Holds all alarms of the process by their ids."""

    @staticmethod
    def getInstance() -> AlarmRegistry: ...
    def addAlarm(self, alarm: Optional[Alarm]) -> Optional[Alarm]:
        """Adds the alarm and returns its handle, or None if there is an alarm with that id."""
    def setAlarm(self, alarm_id: str) -> bool:
        """Turns the alarm with that id on. Returns False if there is no such alarm."""
    def clear(self) -> None:
        """Deletes all alarms. Handles that were returned before must not be used any more."""

class PyClassName:
    """The dotted name of a Python class."""

    __instance_size__: ClassVar[int]
    def __init__(self, name: str) -> None: ...
    def getClassName(self) -> str: ...
    def getModulesAsString(self) -> str: ...

def warnOfSource(text: str) -> None:
    """Logs a WARN about a source of the configuration. During a load, the log that the configuration sets up gets it,
    too.
    """

def isCheck() -> bool:
    """Returns whether the parameters of a source are fetched on this thread for a check of the configuration alone, which
    writes no file.
    """

def urlWithoutSecrets(url: str) -> str:
    """Returns the text with "***" in place of a password in front of the host, and of all that follows "=" behind the
    name of a secret, such as password=.
    """

def parameterInfo(name: str) -> Optional[Tuple[str, str, bool, str]]:
    """Returns what is known about a parameter: its type ("STRING", "INT", "BOOL" or "FLOAT"), its bounds as in "from 1
    to 65535" (empty if there are none), whether it is deprecated, and its description. None for an unknown name.
    """

def parameterNames() -> List[str]:
    """Returns all known names, in no order."""

def closestParameterName(name: str) -> str:
    """Returns the known name that is probably meant by an unknown one: at most a third of the characters differ. Empty if
    there is none.
    """

def parameterFits(name: str, value: str) -> bool:
    """Returns whether a text of a configuration gives the parameter a value of its type within its bounds. Returns False
    for an unknown name.
    """

def registerParameters(rows: Iterable[Tuple[str, str, Optional[str], Optional[str]]]) -> bool:
    """Adds a program's own parameters to those that are known, until the process ends: name, type, lowest and highest
    value. Returns False, and logs an ERROR for each row that is refused, as one below "keswardin" is.
    """
