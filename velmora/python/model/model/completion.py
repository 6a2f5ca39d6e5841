# SPDX-License-Identifier: BSD-2-Clause

"""What a shell may offer behind velmora-config: the sets, hosts and names that are in the database, and known names."""

from argparse import Action, Namespace
from typing import Callable, Iterable, Protocol, cast

from . import known
from .failure import NotReadable, SourceError
from .state import State
from .store import Store, url_of

# A user waits for it.
_DEADLINE = "deadline=1"


class Completer(Protocol):
    """What argcomplete calls, by the names of the arguments."""

    def __call__(self, prefix: str, parsed_args: Namespace, **others: object) -> Iterable[str]:
        """Returns the texts that may replace the prefix."""


class _Completed(Protocol):
    completer: Completer


def _store(parsed_args: Namespace) -> Store:
    url = url_of(parsed_args.database)
    return Store(url if "deadline=" in url else f"{url}{'&' if '?' in url else '?'}{_DEADLINE}")


def _offered(of: Callable[[Store], Iterable[str]]) -> Completer:
    def complete(prefix: str, parsed_args: Namespace, **_: object) -> Iterable[str]:
        if not getattr(parsed_args, "database", None):
            return ()
        try:
            return [text for text in of(_store(parsed_args)) if text.startswith(prefix)]
        except (NotReadable, SourceError):
            return ()
    return complete


def _listed(one: Completer) -> Completer:
    """Completes the last element of a list."""
    def complete(prefix: str, parsed_args: Namespace, **_: object) -> Iterable[str]:
        before, comma, last = prefix.rpartition(",")
        return [before + comma + text for text in one(prefix=last, parsed_args=parsed_args)]
    return complete


def _hosts_of(state: State) -> set[str]:
    return {host for _, host, _ in state.values if host}


def _names_of(state: State) -> set[str]:
    return {name for _, _, name in state.values}


def _known_names(store: Store) -> Iterable[str]:
    known.add_rows(store.rows())
    return {*known.names(), *_names_of(store.state())}


one_set = _offered(lambda store: store.state().parents)
some_sets = _listed(one_set)
one_host = _offered(lambda store: _hosts_of(store.state()))
some_hosts = _listed(one_host)
name_with_value = _offered(lambda store: _names_of(store.state()))
name = _offered(_known_names)


def completes(action: Action, completer: Completer) -> None:
    """Names what a shell may offer for an argument."""
    cast(_Completed, action).completer = completer
