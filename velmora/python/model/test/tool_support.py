# SPDX-License-Identifier: BSD-2-Clause

"""Runs velmora-config in the tests."""

import json
import os
import subprocess
from pathlib import Path

import velmora
from support import ModelTest

TOOL = str(Path(next(iter(velmora.__path__))).parent / "velmora-config")
# The files of the example gateway.
FILES = Path(__file__).parents[4] / "examples" / "gateway" / "etc"


class ToolTest(ModelTest):
    """Has a database with the tables."""

    def setUp(self) -> None:
        super().setUp()
        self.store()

    def command(self, *words: str) -> list[str]:
        """Returns a command line for the database."""
        return [TOOL, "--database", str(self.file), *words]

    def run_tool(self, *words: str, **environment: str) -> tuple[int, str, str]:
        """Returns exit code, output and errors of a command."""
        done = subprocess.run(self.command(*words), capture_output=True, text=True, timeout=120, check=False,
                              cwd=self.folder, env={**os.environ, "COLUMNS": "120", **environment})
        return done.returncode, done.stdout, done.stderr

    def good(self, *words: str) -> str:
        """Returns the output of a command that succeeds."""
        code, output, errors = self.run_tool(*words)
        self.assertEqual((0, ""), (code, errors))
        return output

    def answer(self, *words: str) -> object:
        """Returns what a command that succeeds gives to programs."""
        return json.loads(self.good("--json", *words))

    def refused(self, *words: str) -> str:
        """Returns the errors of a command that is refused."""
        code, output, errors = self.run_tool(*words)
        self.assertEqual((1, ""), (code, output))
        return errors

    def change_refused(self, reason: str) -> str:
        """Returns the error of a refused change."""
        return f"velmora-config: cannot change the configuration in {self.url()}: {reason}\n"

    def written(self, name: str, text: str) -> str:
        """Writes a file, and returns its path."""
        path = self.folder / name
        path.write_text(text)
        return str(path)
