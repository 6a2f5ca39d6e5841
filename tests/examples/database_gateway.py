# SPDX-License-Identifier: BSD-2-Clause
"""The example gateway with its configuration in a database, for tests."""

import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Callable, Dict, Optional

import velmora
from velmora.infra.model.store import Store

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "velmora/python/model/test"))
FILES = ROOT / "examples/gateway/etc"
ADDRESS = "keswardin.media.rtp.IPAddress"


def make_tree(folder: Path) -> None:
    """Makes a folder for the environment variable VELMORA, with our package alone."""
    shutil.copytree(next(iter(velmora.__path__)), folder / "lib/velmora")
    library = folder / "data/Python-2.5/Lib"
    library.parent.mkdir(parents=True)
    library.symlink_to(Path(os.__file__).parent)


def parameters_of(file: Path) -> Dict[str, str]:
    """Returns the names and values of a configuration file."""
    lines = [line.strip() for line in file.read_text().splitlines()]
    pairs = [line.partition("=") for line in lines if line and not line.startswith("#")]
    return {name.strip(): value.strip() for name, _, value in pairs}


def own_address(number: int = 0) -> str:
    """Returns an address of the loopback, one of up to 20, that no other process has."""
    pid = os.getpid()
    return f"127.{30 + number}.{pid >> 8 & 255}.{pid & 255}"


def fill(url: str, addresses: Dict[str, str]) -> None:
    """Makes the tables, and the set "site" below "common", with the files of the gateway; an address for each host, and
    for all if it is empty.
    """
    store = Store(url)
    store.initialize()
    with store.change() as change:
        change.create_set("common")
        change.create_set("site", "common")
        change.set_all("common", parameters_of(FILES / "gateway.cfg"), tags=True)
        change.set_all("site", parameters_of(FILES / "site.cfg"), tags=True)
        for host, address in addresses.items():
            change.set("site", ADDRESS, address, host)


class DatabaseGateway:
    """A gateway with its logs in a folder of its own."""

    def __init__(self, program: str, tree: Path, home: Path) -> None:
        self._program = program
        self._tree = tree
        self.home = home
        self.log = home / "logs/gateway.log"
        self.process: Optional["subprocess.Popen[str]"] = None
        # The configuration names the file of logging.cfg.
        shutil.copytree(FILES, home / "etc")

    def start(self, url: str) -> None:
        """Starts the gateway with a log of its own."""
        self.log.unlink(missing_ok=True)
        with (self.home / "output").open("w") as output:
            self.process = subprocess.Popen(
                [self._program, "--global-config", url], stdout=output, stderr=output, text=True, cwd=self.home,
                env=self.environment)

    @property
    def environment(self) -> Dict[str, str]:
        """The variables of its environment."""
        inherited = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "LD_PRELOAD")}
        return {**inherited, "VELMORA": str(self._tree), "GATEWAY_HOME": str(self.home)}

    @property
    def pid(self) -> int:
        assert self.process is not None
        return self.process.pid

    @property
    def output(self) -> str:
        """What the gateway has written before its log is configured."""
        return (self.home / "output").read_text()

    @property
    def lines(self) -> str:
        """The lines of its log."""
        return self.log.read_text() if self.log.exists() else ""

    def wait_for(self, condition: Callable[[], object], what: str) -> None:
        """Polls a condition while the gateway runs."""
        assert self.process is not None
        for _ in range(1200):
            if condition():
                return
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        raise AssertionError(f"{what}: {self.output}{self.lines}")

    def wait_until_it_runs(self) -> None:
        self.wait_for(lambda: "running at" in self.lines, "it does not run")

    def end(self) -> int:
        """Waits for its end, and returns its exit code."""
        assert self.process is not None
        return self.process.wait(timeout=60)

    def stop(self) -> int:
        """Ends it in order, and returns its exit code."""
        assert self.process is not None
        self.process.send_signal(signal.SIGTERM)
        return self.end()

    def kill(self) -> None:
        """Ends it, if it still runs."""
        if self.process is not None:
            self.process.kill()
            self.process.wait()
