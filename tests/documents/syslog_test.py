# SPDX-License-Identifier: BSD-2-Clause
"""Runs the steps of the section "Remote syslog" of docs/operating.md, with other addresses, ports and paths.

    syslog_test.py <gateway> <rsyslogd>
"""

import re
import shlex
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import List

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from loopback_gateway import LoopbackGateway, wait_until  # noqa: E402

GATEWAY, RSYSLOGD = Path(sys.argv[-2]), sys.argv[-1]


def blocks(language: str) -> List[str]:
    """Returns the blocks of code of the section in a language."""
    page = (ROOT / "docs/operating.md").read_text()
    section = page.split("\n## Remote syslog\n")[1].split("\n## ")[0]
    return re.findall(rf"^```{language}\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)


def free_port(address: str) -> int:
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind((address, 0))
        return int(probe.getsockname()[1])


class RemoteSyslog(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.gateway = LoopbackGateway(GATEWAY, self.directory / "home")
        self.address = self.gateway.address
        self.port = free_port(self.address)
        self.received = self.directory / "gateway.log"

    def here(self, text: str) -> str:
        """Returns a text of the document with the addresses, ports and paths of this test."""
        for documented, own in (("192.0.2.10", self.address), ('port="514"', f'port="{self.port}"'),
                                ("--port 514", f"--port {self.port}"), ("Port = 514", f"Port = {self.port}"),
                                ("/etc/rsyslog.d/gateway.conf", str(self.directory / "gateway.conf")),
                                ("/var/log/gateway.log", str(self.received))):
            text = text.replace(documented, own)
        self.assertNotIn("514", text.replace(str(self.port), ""))
        return text

    def start_server(self) -> None:
        server = subprocess.Popen([RSYSLOGD, "-n", "-f", str(self.directory / "gateway.conf"),
                                   "-i", str(self.directory / "rsyslogd.pid")], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)

    def run_command(self, line: str) -> None:
        command = shlex.split(self.here(line))
        if command[0] == "rsyslogd":
            command[0] = RSYSLOGD
        result = subprocess.run(command, capture_output=True, text=True, check=False)
        self.assertEqual(0, result.returncode, f"{command}: {result.stderr}")

    def lines(self) -> List[str]:
        return self.received.read_text().splitlines() if self.received.exists() else []

    def has_line(self, end: str) -> bool:
        return any(line.endswith(end) for line in self.lines())

    def test_the_steps_of_the_document(self) -> None:
        configuration, = blocks("rsyslog")
        (self.directory / "gateway.conf").write_text(self.here(configuration))

        check_and_start, by_hand = blocks("sh")
        check, restart = check_and_start.splitlines()
        self.run_command(check)
        self.assertEqual("systemctl restart rsyslog", restart)
        self.start_server()

        def is_received() -> bool:
            # A datagram is lost until the server listens.
            self.run_command(by_hand)
            return self.has_line(" gateway a line by hand")
        wait_until(is_received, "the line by hand")

        appender, = blocks("properties")
        logging = self.gateway.home / "etc/logging.cfg"
        root = "log4cplus.rootLogger = INFO, main\n"
        self.assertIn(root, logging.read_text())
        logging.write_text(logging.read_text().replace(root, self.here(appender)))
        self.gateway.start()
        self.addCleanup(self.gateway.stop)
        wait_until(lambda: self.has_line(f"running at sip:{self.address}:5060;transport=udp"), "the gateway's line")

        self.assertEqual(0, self.gateway.stop())
        wait_until(lambda: any(" stopped : calls = 0" in line for line in self.lines()), "the last line")
        pattern = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d\d:\d\d \S+ gateway: INFO  keswardin\.gateway - running at .*"
        for line in [*blocks("text")[0].splitlines(), *(line for line in self.lines() if "running at" in line)]:
            self.assertRegex(line, f"^{pattern}$")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
