# SPDX-License-Identifier: BSD-2-Clause

"""velmora-config: the configuration of many programs in one database, for operators and their scripts."""

import argparse
import json
import os
import signal
import sys
from datetime import datetime, timezone
from typing import Callable, Optional, Sequence

from . import commands, completion
from .commands import Answer, Refused, Side
from .completion import Completer, completes
from .failure import NotReadable, SourceError
from .store import MOMENT, Store, url_of

VARIABLE = "VELMORA_CONFIG_DATABASE"

_EPILOG = f"""The database is a URL, as a program has it, or the file of SQLite; {VARIABLE} names it if --database does not.
Exit code: 0; 1 if something is wrong with what was asked; 2 if the command line is wrong."""


def _names(text: str) -> tuple[str, ...]:
    return tuple(text.split(","))


def _moment(text: str) -> str:
    try:
        moment = datetime.fromisoformat(text)
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!a} is no moment; write it as 2026-11-23T14:30:00Z") from None
    # The history is in UTC, and so is a moment that does not say.
    moment = moment.replace(tzinfo=moment.tzinfo or timezone.utc).astimezone(timezone.utc)
    return moment.strftime(MOMENT)


def _side(text: str) -> Side:
    if "/" in text or os.path.isfile(text):
        return Side(text, file=text)
    place, at, moment = text.partition("@")
    sets, _, hosts = place.partition(":")
    return Side(text, _names(sets) if sets else (), _names(hosts.lower()) if hosts else (), _moment(moment) if at else None)


def _add_selection(command: argparse.ArgumentParser) -> None:
    completes(command.add_argument("--sets", type=_names, metavar="S,...",
                                   help="the sets that a program reads; those of the URL"), completion.some_sets)
    completes(command.add_argument("--hosts", type=lambda text: _names(text.lower()), metavar="H,...", default=(),
                                   help="the hosts whose values it reads; those of the URL"), completion.some_hosts)


def _add_place(command: argparse.ArgumentParser) -> None:
    completes(command.add_argument("--set", required=True, metavar="S", help="the set"), completion.one_set)
    completes(command.add_argument("--host", type=str.lower, default="", metavar="H", help="the host; all if it is missing"),
              completion.one_host)


def _add_parent(command: argparse.ArgumentParser, text: str) -> None:
    completes(command.add_argument("--parent", metavar="P", help=text), completion.one_set)


def _add_name(command: argparse.ArgumentParser, completer: Completer = completion.name_with_value, **more: str) -> None:
    completes(command.add_argument("name", metavar="NAME", **more), completer)  # type: ignore[arg-type]


def _add_if_value(command: argparse._ActionsContainer) -> None:
    command.add_argument("--if-value", metavar="OLD", help="refuse unless this is the value until now")


def parser() -> argparse.ArgumentParser:
    """Returns the commands with their options."""
    top = argparse.ArgumentParser("velmora-config", description=__doc__.partition(": ")[2], epilog=_EPILOG,
                                  formatter_class=argparse.RawDescriptionHelpFormatter)
    top.add_argument("-d", "--database", metavar="URL", default=os.environ.get(VARIABLE), help="the database")
    top.add_argument("--json", action="store_true", help="write JSON")
    several = top.add_subparsers(title="commands", required=True, metavar="COMMAND")

    def add(name: str, run: Callable[[Store, argparse.Namespace], Answer], text: str) -> argparse.ArgumentParser:
        command = several.add_parser(name, help=text, description=text[0].upper() + text[1:] + ".")
        command.set_defaults(run=run)
        return command

    command = add("init", commands.init, "make the tables, or bring those of an older version up to date")
    command.add_argument("--rows", action="append", metavar="FILE",
                         help="what a program prints for --get-param-info --json; for several programs, repeat it")
    command = add("create-set", commands.create_set, "make an empty set")
    command.add_argument("name", metavar="SET")
    _add_parent(command, "the set whose values it has unless it has its own")
    command.add_argument("--note", default="", help="a text for readers")
    command = add("set-parent", commands.set_parent, "give a set another parent, or none")
    completes(command.add_argument("name", metavar="SET"), completion.one_set)
    completes(command.add_argument("parent", metavar="PARENT", nargs="?"), completion.one_set)
    add("sets", commands.list_sets, "list the sets with their parents, and the hosts that have values in them")
    command = add("import", commands.import_file, "set all parameters of a configuration file; all or none")
    command.add_argument("file", metavar="FILE")
    _add_place(command)
    _add_parent(command, "the parent of the set, which is made if there is none")
    command = add("export", commands.export, "write the parameters that a program reads, as a configuration file")
    _add_selection(command)
    command = add("copy", commands.copy, "copy all sets with their values to an empty database")
    command.add_argument("target", metavar="URL", help="that database, which is made ready; its history begins with the copy")
    command = add("show", commands.show, "list each value that a parameter has; * marks the one that wins")
    _add_name(command)
    _add_selection(command)
    command = add("set", commands.set_value, "set a value")
    _add_name(command, completion.name)
    command.add_argument("value", metavar="VALUE")
    _add_place(command)
    condition = command.add_mutually_exclusive_group()
    _add_if_value(condition)
    condition.add_argument("--if-unset", action="store_true", help="refuse if there is a value")
    command = add("unset", commands.unset, "remove a value")
    _add_name(command)
    _add_place(command)
    _add_if_value(command)
    command = add("diff", commands.diff, "compare what two programs read, or one at two moments")
    for side in ("a", "b"):
        command.add_argument(side, metavar=side.upper(), type=_side,
                             help="SETS, SETS:HOSTS or either with @MOMENT behind it; or a file")
    command = add("history", commands.history, "list the changes, the oldest first")
    _add_name(command, nargs="?", help="those of this parameter alone")
    command = add("rollback", commands.roll_back, "bring all values and parents back to what they were at a moment")
    command.add_argument("moment", metavar="MOMENT", type=_moment, help="as in the history; UTC unless it says otherwise")
    add("check", commands.check, "find what is wrong with the values")
    return top


def _json(data: object) -> str:
    return json.dumps(data, indent=2, ensure_ascii=False) + "\n"


def _run(asked: argparse.Namespace) -> Answer:
    try:
        answer: Answer = asked.run(Store(url_of(asked.database)), asked)
        return answer
    except (NotReadable, SourceError) as fault:
        raise Refused(str(fault)) from None


def _complain(*texts: str) -> None:
    for text in texts:
        print(f"velmora-config: {text}", file=sys.stderr)


def _write(descriptor: int, text: str) -> bool:
    try:
        # Files of a configuration are UTF-8, whatever the terminal has.
        with open(descriptor, "w", encoding="utf-8") as output:
            output.write(text)
    except OSError as error:
        _complain(f"cannot write the answer: {error.strerror}; what was asked has been done")
        return False
    return True


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Runs a command, and returns the exit code."""
    # A reader that ends, as `head`, and a user who interrupts end it without a traceback; nothing is changed by half.
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    top = parser()
    try:
        import argcomplete  # type: ignore[import]
    except ImportError:
        pass
    else:
        # Ends the process if a shell asks what may follow.
        argcomplete.autocomplete(top)
    asked = top.parse_args(arguments)
    if not asked.database:
        top.error(f"no database is named; add --database, or set {VARIABLE}")
    # The library logs on the standard output, which is for the answer alone.
    output = os.dup(sys.stdout.fileno())
    os.dup2(sys.stderr.fileno(), sys.stdout.fileno())
    try:
        answer = _run(asked)
    except Refused as refusal:
        _complain(*refusal.texts)
        if asked.json:
            _write(output, _json({"refused": refusal.texts}))
        return 1
    written = _write(output, _json(answer.data) if asked.json else answer.text)
    return 0 if answer.good and written else 1
