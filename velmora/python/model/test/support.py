# SPDX-License-Identifier: BSD-2-Clause

"""What the tests of the model share."""

import os
import subprocess
import sys
import tempfile
import textwrap
import unittest
from pathlib import Path
from typing import Callable, Optional

from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames
from velmora.infra.model.failure import SourceError
from velmora.infra.model.store import Change, Store

Parameters = list[tuple[str, str]]


def read(url: str) -> Parameters:
    """Returns what the library gets for a URL."""
    return getPropertyNameValuesForGivenSetsAndHostnames(url)


def run(script: str, *arguments: str, **environment: str) -> "subprocess.CompletedProcess[str]":
    """Runs a script in a Python of its own, whose lines stand where they were written between those of the library."""
    return subprocess.run([sys.executable, "-u", "-c", textwrap.dedent(script), *arguments], capture_output=True,
                          text=True, timeout=60, check=False, env={**os.environ, **environment})


class ModelTest(unittest.TestCase):
    """Has a temporary folder and an SQLite database in it."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.file = self.folder / "gateways.db"

    def url(self, query: str = "") -> str:
        """Returns the URL of the database."""
        return f"sqlite://localhost{self.file}" + ("?" + query if query else "")

    def store(self, fill: Optional[Callable[[Change], object]] = None) -> Store:
        """Makes the database, and fills it."""
        store = Store(self.url(), who="operator@desk")
        store.initialize()
        if fill is not None:
            with store.change() as change:
                fill(change)
        return store

    def refusal(self, act: Callable[[], object]) -> str:
        """Returns the text of the error that an action raises."""
        with self.assertRaises(SourceError) as raised:
            act()
        self.assertIsNone(raised.exception.__context__ and raised.exception.__cause__)
        self.assertTrue(raised.exception.__suppress_context__ or raised.exception.__context__ is None)
        return str(raised.exception)

    def fault(self, query: str) -> str:
        """Returns why the database gives nothing, without the beginning that each text has."""
        url = self.url(query)
        text = self.refusal(lambda: read(url))
        beginning = f"cannot read the configuration from {url}: "
        self.assertEqual(beginning, text[:len(beginning)])
        return text[len(beginning):]
