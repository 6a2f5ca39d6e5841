# SPDX-License-Identifier: BSD-2-Clause
"""The example gateway as a process, for scripts and tests of documents."""

import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Callable, List, Optional

ROOT = Path(__file__).resolve().parent.parent
LIMIT = 60.0


def wait_until(condition: Callable[[], bool], what: str, limit: float = LIMIT) -> None:
    """Polls a condition. Ends the program if it does not hold within the limit, in seconds."""
    end = time.monotonic() + limit
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"{Path(sys.argv[0]).name}: {what}: not within {limit:.0f} s")
        time.sleep(0.05)


class LoopbackGateway:
    """The gateway with the configuration of the example in a directory, on a loopback address that no other
    process with another id uses."""

    def __init__(self, program: Path, home: Path) -> None:
        pid = os.getpid()
        self.address = f"127.{67 + pid // 62500 % 60}.{pid // 250 % 250}.{1 + pid % 250}"
        self.program = program
        self.home = home
        self.log = home / "logs" / "gateway.log"
        self.process: Optional["subprocess.Popen[bytes]"] = None
        shutil.copytree(ROOT / "examples/gateway/etc", home / "etc")
        self.configure(f"keswardin.media.rtp.IPAddress = {self.address}")

    def configure(self, line: str, file: str = "site.cfg") -> None:
        """Adds a line to a file of the configuration."""
        with (self.home / "etc" / file).open("a") as stream:
            stream.write(line + "\n")

    def start(self, *arguments: str) -> None:
        command: List[str] = [str(self.program)]
        for source in ("gateway.cfg", "site.cfg"):
            command += ["--global-config", str(self.home / "etc" / source)]
        with (self.home / "output").open("wb") as output:
            self.process = subprocess.Popen([*command, *arguments], stdout=output, stderr=output,
                                            env={**os.environ, "GATEWAY_HOME": str(self.home)})
        self.wait_for("running at")

    def count(self, text: str) -> int:
        return self.log.read_text(errors="replace").count(text) if self.log.exists() else 0

    def wait_for(self, text: str, count: int = 1) -> None:
        """Waits until the log has a text a number of times."""
        wait_until(lambda: self.count(text) >= count or not self.runs(), f"\"{text}\" in the log")
        if self.count(text) < count:
            sys.exit(f"the gateway has ended: {(self.home / 'output').read_text()}{self.log.read_text()[-2000:]}")

    def runs(self) -> bool:
        return self.process is not None and self.process.poll() is None

    @property
    def pid(self) -> int:
        assert self.process is not None
        return self.process.pid

    def stop(self) -> int:
        """Ends the gateway, and returns its exit code."""
        assert self.process is not None
        if self.runs():
            self.process.send_signal(signal.SIGTERM)
        try:
            return self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()
