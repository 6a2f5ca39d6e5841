# SPDX-License-Identifier: BSD-2-Clause

"""A PostgreSQL of a test's own, in a temporary folder."""

import glob
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from contextlib import suppress
from pathlib import Path
from typing import Any, Optional
from urllib.parse import quote

import psycopg2  # type: ignore[import]

PASSWORD = "hunter2"

_HBA = """
local   all postgres                trust
local   all all                     scram-sha-256
hostssl all all      127.0.0.1/32   scram-sha-256
"""


def _binaries() -> str:
    folders = sorted(glob.glob("/usr/lib/postgresql/*/bin"))
    if not folders:
        raise RuntimeError("there is no PostgreSQL; scripts/setup installs it")
    return folders[-1]


def _free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port: int = probe.getsockname()[1]
        return port


class PostgresqlServer:
    """Listens on a Unix socket, and with TLS and SCRAM on 127.0.0.1. Has a database "gateways" and its user "gw"."""

    def __init__(self) -> None:
        self.folder = Path(tempfile.mkdtemp(prefix="pg"))
        self.port = _free_port()
        self._binaries = _binaries()
        # It refuses to run as root.
        self._as_user = ["setpriv", "--reuid=postgres", "--regid=postgres", "--init-groups"] if os.geteuid() == 0 else []
        self._process: Optional["subprocess.Popen[bytes]"] = None
        self.certificate = self.folder / "server.crt"
        self._make()
        self.start()
        self.administer(f"CREATE ROLE gw LOGIN PASSWORD '{PASSWORD}'", "CREATE ROLE stranger LOGIN PASSWORD 'x'")
        self.administer("CREATE DATABASE gateways OWNER gw")
        self.passwords = self.password_file("pgpass", PASSWORD)

    def _run(self, *command: str) -> None:
        subprocess.run([*self._as_user, *command], check=True, capture_output=True, cwd=self.folder)

    def _make(self) -> None:
        if self._as_user:
            shutil.chown(self.folder, "postgres", "postgres")
        self._run(f"{self._binaries}/initdb", "--no-sync", "-D", str(self.folder / "data"), "-U", "postgres", "-E", "UTF8",
                  "--locale=C.UTF-8", "-A", "scram-sha-256", "--pwfile=/etc/hostname")
        self._run("openssl", "req", "-new", "-x509", "-days", "2", "-nodes", "-subj", "/CN=localhost", "-addext",
                  "subjectAltName=IP:127.0.0.1", "-keyout", str(self.folder / "server.key"), "-out", str(self.certificate))
        self.certificate.chmod(0o644)
        self.folder.chmod(0o755)
        (self.folder / "data" / "pg_hba.conf").write_text(_HBA)

    def password_file(self, name: str, password: str, user: str = "gw") -> Path:
        """Makes a password file for a user."""
        path = self.folder / name
        path.write_text(f"*:*:*:{user}:{password}\n")
        path.chmod(0o600)
        return path

    def start(self) -> None:
        """Starts the server, and waits until it answers."""
        options = {"port": self.port, "unix_socket_directories": self.folder, "listen_addresses": "127.0.0.1",
                   "fsync": "off", "ssl": "on", "ssl_cert_file": self.certificate, "ssl_key_file": self.folder / "server.key",
                   "lc_messages": "C", "logging_collector": "off"}
        with open(self.folder / "log", "ab") as log:
            self._process = subprocess.Popen(
                [*self._as_user, f"{self._binaries}/postgres", "-D", str(self.folder / "data"),
                 *(f"--{name}={value}" for name, value in options.items())], stdout=log, stderr=log)
        for _ in range(600):
            try:
                self.administer("SELECT 1")
                return
            except psycopg2.OperationalError:
                time.sleep(0.05)
        raise RuntimeError((self.folder / "log").read_text())

    def stop(self, kind: signal.Signals = signal.SIGINT) -> None:
        """Stops the server: at once with SIGINT."""
        assert self._process is not None
        self._process.send_signal(kind)
        self._process.wait()

    def remove(self) -> None:
        """Stops the server and removes its folder."""
        assert self._process is not None
        if self._process.poll() is None:
            self.stop()
        shutil.rmtree(self.folder)

    def connect(self, database: str = "postgres") -> Any:
        """Returns a connection of the administrator."""
        connection = psycopg2.connect(host=str(self.folder), port=self.port, user="postgres", dbname=database)
        connection.autocommit = True
        return connection

    def administer(self, *statements: str, database: str = "postgres") -> None:
        """Executes statements as the administrator."""
        connection = self.connect(database)
        try:
            with connection.cursor() as cursor:
                for statement in statements:
                    cursor.execute(statement)
        finally:
            connection.close()

    def freeze(self, stopped: bool = True) -> None:
        """Stops all processes of the server, or lets them go on."""
        assert self._process is not None
        kind = signal.SIGSTOP if stopped else signal.SIGCONT
        children = subprocess.run(["ps", "-o", "pid=", "--ppid", str(self._process.pid)], capture_output=True, text=True,
                                  check=False).stdout.split()
        for process in [self._process.pid, *map(int, children)]:
            # A process of a connection may just have ended.
            with suppress(ProcessLookupError):
                os.kill(process, kind)

    def socket_url(self, query: str = "sets=a", passwords: Optional[Path] = None) -> str:
        """Returns the URL for the Unix socket."""
        return (f"postgresql:///gateways?host={quote(str(self.folder), safe='')}&port={self.port}&user=gw"
                f"&passfile={passwords or self.passwords}&{query}")

    def tls_url(self, query: str = "sets=a", passwords: Optional[Path] = None) -> str:
        """Returns the URL for TCP with TLS and SCRAM."""
        return (f"postgresql://127.0.0.1/gateways?port={self.port}&user=gw&passfile={passwords or self.passwords}"
                f"&sslmode=verify-full&sslrootcert={self.certificate}&{query}")
