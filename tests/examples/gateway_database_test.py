#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Starts the gateway from a database, and stops it while the database does not answer.

    gateway_database_test.py <gateway>

The package velmora.infra is on PYTHONPATH.
"""

import os
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Dict, Optional

import velmora
from velmora.infra.model.store import Store

ROOT = Path(__file__).resolve().parent.parent.parent
STOPPED = "WARN - stopping : the gateway is stopped before it has started\n"


def parameters_of(file: Path) -> Dict[str, str]:
    """Returns the names and values of a configuration file."""
    lines = [line.strip() for line in file.read_text().splitlines()]
    pairs = [line.partition("=") for line in lines if line and not line.startswith("#")]
    return {name.strip(): value.strip() for name, _, value in pairs}


class GatewayDatabase(unittest.TestCase):
    program = ""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        shutil.copytree(ROOT / "examples/gateway/etc", self.home / "etc")
        shutil.copytree(next(iter(velmora.__path__)), self.home / "lib/velmora")
        library = self.home / "data/Python-2.5/Lib"
        library.parent.mkdir(parents=True)
        library.symlink_to(Path(os.__file__).parent)
        self.file = self.home / "gateways.db"
        self.url = f"sqlite://localhost{self.file}?sets=site"
        self.process: Optional["subprocess.Popen[str]"] = None
        self.addCleanup(self.kill)

    def fill(self) -> None:
        """Makes a database that holds the files of the gateway."""
        number = os.getpid()
        store = Store(self.url)
        store.initialize()
        with store.change() as change:
            change.create_set("common")
            change.create_set("site", "common")
            for set_name, file in (("common", "gateway.cfg"), ("site", "site.cfg")):
                for name, value in parameters_of(self.home / "etc" / file).items():
                    change.set(set_name, name, value, tags=True)
            change.set("site", "keswardin.media.rtp.IPAddress", f"127.{number >> 16 & 127 | 64}.{number >> 8 & 255}."
                                                                f"{number & 255}")

    def start(self, url: str) -> None:
        inherited = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "LD_PRELOAD")}
        self.process = subprocess.Popen(
            [self.program, "--global-config", url], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=self.home,
            env={**inherited, "VELMORA": str(self.home), "GATEWAY_HOME": str(self.home)})

    def kill(self) -> None:
        if self.process is not None:
            self.process.kill()
            self.process.communicate()

    def stop(self) -> str:
        """Stops the gateway, which must end in order, and returns its output."""
        assert self.process is not None
        self.process.send_signal(signal.SIGTERM)
        output, _ = self.process.communicate(timeout=20)
        self.assertEqual(0, self.process.returncode, output)
        return output

    def run_once(self) -> str:
        """Starts the gateway, stops it, and returns its log."""
        log = self.home / "logs/gateway.log"
        log.unlink(missing_ok=True)
        self.start(self.url)
        for _ in range(600):
            if log.exists() and "running at" in log.read_text():
                break
            time.sleep(0.05)
        output = self.stop()
        self.assertIn("running at", log.read_text() if log.exists() else output)
        return log.read_text()

    def test_starts_from_what_its_files_hold(self) -> None:
        self.fill()
        self.run_once()

    def test_starts_from_a_snapshot_with_a_warning_in_its_own_log(self) -> None:
        self.fill()
        self.url += f"&snapshot={self.home}/last.cfg"
        self.run_once()
        self.file.unlink()
        self.assertRegex(self.run_once(), r"WARN .* keswardin\.infra\.GlobalConfig - cannot read the configuration from .*"
                                          r"; the snapshot .*/last\.cfg of .*, which is \d+ s old, takes its place\n")

    def test_ends_while_a_server_does_not_answer(self) -> None:
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            self.start(f"postgresql://127.0.0.1/x?sets=site&deadline=600&port={silent.getsockname()[1]}")
            with silent.accept()[0]:
                self.assertEqual(STOPPED, self.stop())

    def test_ends_while_a_file_is_locked(self) -> None:
        self.fill()
        connection = sqlite3.connect(self.file, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN EXCLUSIVE")
        self.start(self.url + "&deadline=600")
        assert self.process is not None
        opened = Path(f"/proc/{self.process.pid}/fd")
        for _ in range(600):
            # A descriptor may be closed while they are listed.
            if str(self.file) in [os.path.realpath(entry) for entry in opened.iterdir()]:
                break
            time.sleep(0.05)
        self.assertEqual(STOPPED, self.stop())


if __name__ == "__main__":
    GatewayDatabase.program = sys.argv.pop(1)
    unittest.main()
