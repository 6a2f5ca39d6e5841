# SPDX-License-Identifier: BSD-2-Clause

"""What the commands of velmora-config do."""

from argparse import Namespace
from typing import Any, NamedTuple, Optional

from . import config_file, known
from .config_file import Line
from .reading import Parameters, Selection
from .rules import fault_of_name, fault_of_value
from .store import ANY, Entry, Store, url_of


class Answer(NamedTuple):
    """What a command writes, for a program and for a reader."""

    data: object
    text: str
    # What was asked holds, or something is wrong.
    good: bool = True


class Side(NamedTuple):
    """What is compared: a file, or sets for hosts at a moment."""

    written: str
    sets: tuple[str, ...] = ()
    hosts: tuple[str, ...] = ()
    moment: Optional[str] = None
    file: Optional[str] = None


class Refused(Exception):
    """A command was not carried out. The texts are for an operator."""

    def __init__(self, *texts: str) -> None:
        super().__init__(*texts)
        self.texts = texts


def level(set_name: str, host: str) -> str:
    """Returns how the values of a set for one host, or for all, are named."""
    return f"{set_name}:{host}" if host else set_name


def _was(old: Optional[str]) -> str:
    return "was not set" if old is None else f"was {old}"


def _shown(name: str) -> str:
    return name if name.isprintable() else ascii(name)


def _fault(name: str, value: str) -> Optional[str]:
    fault = fault_of_name(name)
    if fault:
        return f"the name cannot be in a configuration: {fault}"
    fault = fault_of_value(value, tags=True)
    return f"the value cannot be in a configuration: {fault}" if fault else known.fault(name, value)


def init(store: Store, asked: Namespace) -> Answer:
    if asked.rows is None:
        store.initialize()
    else:
        # A row that two programs share is one.
        rows = list({row.name: row for path in asked.rows for row in known.read_rows(path)}.values())
        known.add_rows(rows)
        store.initialize(rows)
    number = len(store.rows())
    return Answer({"database": store.shown, "rows": number}, f"{store.shown} is ready, with {number} rows of programs\n")


def create_set(store: Store, asked: Namespace) -> Answer:
    with store.change() as change:
        change.create_set(asked.name, asked.parent, asked.note)
    return Answer({"set": asked.name, "parent": asked.parent, "note": asked.note}, f"made the set {asked.name}\n")


def set_parent(store: Store, asked: Namespace) -> Answer:
    with store.change() as change:
        change.set_parent(asked.name, asked.parent)
    above = f"is below {asked.parent}" if asked.parent else "has no parent"
    return Answer({"set": asked.name, "parent": asked.parent}, f"{asked.name} {above}\n")


def _set_line(one: dict[str, Any]) -> str:
    above = f" below {one['parent']}" if one["parent"] else ""
    hosts = f", for {','.join(one['hosts'])}" if one["hosts"] else ""
    note = f": {one['note']}" if one["note"] else ""
    return f"{one['set']}{above}, {one['values']} values{hosts}{note}\n"


def list_sets(store: Store, _: Namespace) -> Answer:
    state, notes = store.state(), store.notes()
    sets = [{"set": name, "parent": parent, "note": notes.get(name, ""),
             "values": sum(place[0] == name for place in state.values),
             "hosts": sorted({host for set_name, host, _ in state.values if set_name == name and host})}
            for name, parent in state.parents.items()]
    return Answer(sets, "".join(map(_set_line, sets)))


def copy(store: Store, asked: Namespace) -> Answer:
    target = Store(url_of(asked.target))
    state, notes = store.state(), store.notes()
    target.initialize()
    if target.state().parents:
        raise Refused(f"{target.shown} has sets already; name an empty database")
    target.initialize(store.rows())
    with target.change() as change:
        for name in state.parents:
            change.create_set(name, note=notes.get(name, ""))
        for name, parent in state.parents.items():
            change.set_parent(name, parent)
        for (set_name, host), values in state.by_place().items():
            change.set_all(set_name, values, host, tags=True)
    return Answer({"database": target.shown, "sets": len(state.parents), "values": len(state.values)},
                  f"{target.shown} has {len(state.parents)} sets with {len(state.values)} values\n")


def set_value(store: Store, asked: Namespace) -> Answer:
    known.add_rows(store.rows())
    fault = _fault(asked.name, asked.value)
    if fault:
        raise Refused(f"{_shown(asked.name)}: {fault}")
    expected = None if asked.if_unset else ANY if asked.if_value is None else asked.if_value
    with store.change() as change:
        old = change.set(asked.set, asked.name, asked.value, asked.host, expected, tags=True)
    return Answer({"set": asked.set, "host": asked.host, "name": asked.name, "old": old, "new": asked.value},
                  f"{level(asked.set, asked.host)}: {asked.name} = {asked.value}, {_was(old)}\n")


def unset(store: Store, asked: Namespace) -> Answer:
    expected = ANY if asked.if_value is None else asked.if_value
    with store.change() as change:
        old = change.unset(asked.set, asked.name, asked.host, expected)
    place = level(asked.set, asked.host)
    if old is None:
        raise Refused(f"{asked.name} has no value in {place}; velmora-config show {asked.name} lists those that it has")
    return Answer({"set": asked.set, "host": asked.host, "name": asked.name, "old": old, "new": None},
                  f"{place}: {asked.name} is no longer set, {_was(old)}\n")


def _last_of(lines: list[Line]) -> dict[str, str]:
    # As in a program, the last line of a name wins.
    return {line.name: line.value for line in lines}


def import_file(store: Store, asked: Namespace) -> Answer:
    lines = config_file.read(asked.file)
    known.add_rows(store.rows())
    faults = [(line, _fault(line.name, line.value)) for line in lines]
    texts = [f"{asked.file}:{line.number}: {_shown(line.name)}: {fault}" for line, fault in faults if fault]
    if texts:
        raise Refused(*texts)
    values = _last_of(lines)
    with store.change() as change:
        if not change.has_set(asked.set):
            change.create_set(asked.set, asked.parent)
        elif asked.parent is not None:
            change.set_parent(asked.set, asked.parent)
        former = change.set_all(asked.set, values, asked.host, tags=True)
    new = sum(old is None for old in former.values())
    changed = len(former) - new
    return Answer(
        {"file": asked.file, "set": asked.set, "host": asked.host, "parameters": len(values), "new": new,
         "changed": changed},
        f"{level(asked.set, asked.host)}: {asked.file} has {len(values)} parameters: {new} new, {changed} changed, "
        f"{len(values) - len(former)} as before\n")


def _selection(store: Store, asked: Namespace) -> Optional[Selection]:
    """Returns the sets and hosts of the command line, or else of the URL."""
    if asked.sets is None and not store.sets:
        return None
    return Selection(asked.sets or store.sets, asked.hosts or store.hostnames)


def export(store: Store, asked: Namespace) -> Answer:
    selection = _selection(store, asked)
    if selection is None:
        raise Refused("no set is named; add --sets")
    parameters: Parameters = store.state().parameters(selection)
    return Answer(dict(parameters), config_file.text_of(parameters))


def show(store: Store, asked: Namespace) -> Answer:
    selection = _selection(store, asked)
    levels = store.state().levels(asked.name, selection)
    if not levels:
        where = "any set" if selection is None else "what is read"
        known.add_rows(store.rows())
        cure = "" if known.is_known(asked.name) else f", and no parameter has this name; {known.suggestion(asked.name)}"
        raise Refused(f"{asked.name} has no value in {where}{cure}")
    wins = [selection is not None and one is levels[-1] for one in levels]
    return Answer(
        {"name": asked.name, "levels": [
            {"set": one.set_name, "host": one.host, "value": one.value, "wins": None if selection is None else won}
            for one, won in zip(levels, wins)]},
        "".join(f"{'*' if won else ' '} {level(one.set_name, one.host)}: {one.value}\n"
                for one, won in zip(levels, wins)))


def _line_of(entry: Entry) -> str:
    made = f"{entry.moment} {entry.who} {level(entry.set_name, entry.host)}: "
    if entry.subject == "set":
        return made + "made the set\n"
    what = entry.name if entry.subject == "value" else entry.subject
    if entry.new_text is None:
        return f"{made}{what} is no longer set, {_was(entry.old_text)}\n"
    return f"{made}{what} = {entry.new_text}, {_was(entry.old_text)}\n"


def history(store: Store, asked: Namespace) -> Answer:
    entries = store.history(asked.name)
    return Answer(
        [{"moment": entry.moment, "who": entry.who, "subject": entry.subject, "set": entry.set_name,
          "host": entry.host, "name": entry.name, "old": entry.old_text, "new": entry.new_text} for entry in entries],
        "".join(map(_line_of, entries)))


def _parameters(store: Store, side: Side) -> dict[str, str]:
    if side.file is not None:
        return _last_of(config_file.read(side.file))
    sets = side.sets or store.sets
    if not sets:
        raise Refused(f"{side.written} names no set; write SETS:HOSTS@MOMENT, or name the sets in the URL")
    return dict(store.state(side.moment).parameters(Selection(sets, side.hosts or store.hostnames)))


def diff(store: Store, asked: Namespace) -> Answer:
    old, new = _parameters(store, asked.a), _parameters(store, asked.b)
    names = [name for name in sorted(old.keys() | new.keys()) if old.get(name) != new.get(name)]
    lines = [f"{sign} {name} = {side[name]}\n" for name in names for sign, side in (("-", old), ("+", new)) if name in side]
    return Answer([{"name": name, "a": old.get(name), "b": new.get(name)} for name in names], "".join(lines))


def roll_back(store: Store, asked: Namespace) -> Answer:
    with store.change() as change:
        changes = change.roll_back(asked.moment)
    return Answer({"moment": asked.moment, "changes": changes}, f"back to {asked.moment} by {changes} changes\n")


def check(store: Store, _: Namespace) -> Answer:
    known.add_rows(store.rows())
    state = store.state()
    state.check_parents()
    problems = [(place, fault) for place, fault in
                ((place, _fault(place[2], value)) for place, value in sorted(state.values.items())) if fault]
    return Answer(
        {"sets": len(state.parents), "values": len(state.values), "problems": [
            {"set": set_name, "host": host, "name": name, "text": fault}
            for (set_name, host, name), fault in problems]},
        "".join(f"{level(set_name, host)}: {_shown(name)}: {fault}\n"
                for (set_name, host, name), fault in problems)
        + f"{len(state.values)} values in {len(state.parents)} sets, {len(problems)} problems\n",
        good=not problems)
