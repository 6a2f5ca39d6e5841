#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures how long a program takes to load its configuration from a database.

The program loads 3,000 parameters from SQLite or PostgreSQL, once the modules are imported and the database has been
asked once. Beside it, the driver alone connects and fetches the same rows, and the same program loads the same lines
from a file. Each figure is the smallest of many new processes: other activity of the machine can only add to it.

Prints the table, and exits with 1 if something could not be measured.
"""

import argparse
import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Callable, Iterable, List

ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "scripts"), str(ROOT / "velmora/python/model/test")]
from bench_table import figure, machine, markdown, verdict, write  # noqa: E402
from postgresql_server import PostgresqlServer  # noqa: E402

MARKERS = ("<!-- table of scripts/bench --database: begin -->", "<!-- table of scripts/bench --database: end -->")
PARAMETERS = 3000
TARGET = 1.3
# A database that has been asked once, for a set without parameters.
FIRST, ALL = "sets=empty&hostnames=gw1", "sets=common,site-a&hostnames=gw1"
FIELDS = [("port", "INT", "5060"), ("enabled", "BOOL", "true"), ("host", "STRING", "media7.example.net"),
          ("gain", "FLOAT", "-3.5"), ("directory", "STRING", "/var/lib/gateway/recordings")]

# Prints the nanoseconds for connecting, and for that and fetching all rows.
FETCHALL = """
import sys, time
import {module}
begin = time.perf_counter_ns()
connection = {module}.connect({arguments})
cursor = connection.cursor()
cursor.execute("SELECT 1")
cursor.fetchall()
connected = time.perf_counter_ns()
cursor.execute("SELECT name, value FROM parameter_value")
rows = cursor.fetchall()
connection.close()
end = time.perf_counter_ns()
assert len(rows) == {rows}
print(connected - begin, end - begin)
"""
IMPORT = """
import time
begin = time.perf_counter_ns()
import {module}
print(time.perf_counter_ns() - begin)
"""


class NotMeasured(Exception):
    """A run could not be measured."""


def numbers(*command: str, **environment: str) -> List[int]:
    """Returns the numbers that a command prints."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, env={"PATH": "/usr/bin:/bin", **environment})
    if done.returncode:
        raise NotMeasured(f"{' '.join(command[:2])}: {done.stdout}{done.stderr}")
    return [int(word) for word in done.stdout.split()]


def least(rounds: int, measure: Callable[[], Iterable[int]]) -> List[float]:
    """Returns the smallest of each number, in milliseconds."""
    return [min(column) / 1e6 for column in zip(*(measure() for _ in range(rounds)))]


class Bench:
    """The lines, and the program that loads them."""

    def __init__(self, folder: Path, program: str, package: str, rounds: int) -> None:
        self._program, self._package, self._rounds = program, package, rounds
        self._tree = folder / "tree"
        subprocess.run([ROOT / "scripts/python-tree", self._tree, package], check=True)
        names = [f"gateway.trunk{number // 50}.channel{number % 50 // 5}.{FIELDS[number % 5][0]}" for number in range(PARAMETERS)]
        rows = [{"name": name, "type": FIELDS[number % 5][1]} for number, name in enumerate(names)]
        lines = [f"{name} = {FIELDS[number % 5][2]}\n" for number, name in enumerate(names)]
        self._types, self._json = folder / "rows", folder / "rows.json"
        self._types.write_text("".join(f"{row['name']} {row['type']}\n" for row in rows))
        self._json.write_text(json.dumps(rows))
        self._file, self._parts = folder / "all.cfg", (folder / "common.cfg", folder / "site-a.cfg")
        self._file.write_text("".join(lines))
        for part, path in enumerate(self._parts):
            path.write_text("".join(lines[part::2]))

    def _tool(self, url: str, *words: str) -> None:
        subprocess.run([f"{self._package}/velmora-config", "--database", url, *words], check=True, stdout=subprocess.DEVNULL)

    def fill(self, url: str) -> None:
        """Makes a database with a set for the half of the parameters, and one below it for the others."""
        self._tool(url, "init", "--rows", str(self._json))
        self._tool(url, "create-set", "empty")
        for path in self._parts:
            self._tool(url, "import", str(path), "--set", path.stem)

    def loads(self, *sources: str) -> List[float]:
        """Returns the milliseconds that each source takes."""
        def measure() -> List[int]:
            found = numbers(self._program, str(self._types), *sources, VELMORA=str(self._tree))
            if found[-1] != PARAMETERS:
                raise NotMeasured(f"{sources[-1]} has {found[-1]} parameters")
            return found[::2]
        return least(self._rounds, measure)

    def file(self) -> float:
        """Returns the milliseconds for the lines of a file."""
        return self.loads(str(self._file))[0]

    def fetches(self, module: str, arguments: str) -> List[float]:
        """Returns the milliseconds that a driver takes to connect, and for that and all rows."""
        script = FETCHALL.format(module=module, arguments=arguments, rows=PARAMETERS)
        return least(self._rounds, lambda: numbers("/usr/bin/python3", "-c", script))

    def imports(self, module: str) -> float:
        """Returns the milliseconds that the import of a module takes."""
        return least(self._rounds, lambda: numbers("/usr/bin/python3", "-c", IMPORT.format(module=module)))[0]


def tables(bench: Bench, server: PostgresqlServer, file: Path) -> str:
    """Returns the tables."""
    sqlite = f"sqlite://localhost{file}?"
    address = f"port={server.port}, user='gw', dbname='gateways', passfile='{server.passwords}'"
    databases = [
        ("SQLite", sqlite, "sqlite3", repr(str(file))),
        ("PostgreSQL, Unix socket, SCRAM", server.socket_url("deadline=5&"), "psycopg2", f"host='{server.folder}', {address}"),
        ("PostgreSQL, TCP, TLS, SCRAM", server.tls_url("deadline=5&"), "psycopg2",
         f"host='127.0.0.1', sslmode='verify-full', sslrootcert='{server.certificate}', {address}")]
    bench.fill(sqlite + FIRST)
    bench.fill(server.socket_url(FIRST))
    lines = bench.file()
    rows, first = [], []
    for name, url, module, arguments in databases:
        start, ours = bench.loads(url + FIRST, url + ALL)
        connect, fetchall = bench.fetches(module, arguments)
        ratio = ours / (fetchall + lines)
        rows.append([name, figure(ours), figure(fetchall), figure(connect), figure(lines), f"{ratio:.2f}", f"{TARGET:.2f}",
                     verdict(ratio <= TARGET)])
        first.append([f"first look: start of Python, imports, connection; {name}", figure(start)])
    first += [[f"import of {name}, which no start of a program needs", figure(bench.imports(module))]
              for name, module in (("SQLAlchemy", "sqlalchemy"), ("Alembic", "alembic.command"))]
    return "\n\n".join([
        markdown([f"{PARAMETERS:,} parameters, ms", "Ours", "The driver's `fetchall`", "of it to connect", "Lines of a file",
                  "Ratio to both", "Target", ""], rows),
        markdown(["Once in a process, ms", ""], first)])


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path, help="the build folder of the preset bench")
    parser.add_argument("--rounds", type=int, default=20)
    parser.add_argument("--write", type=Path, metavar="document")
    asked = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        bench = Bench(Path(name), str(asked.build / "bench/loads-sources"), str(asked.build.resolve() / "python"), asked.rounds)
        server = PostgresqlServer()
        try:
            found = tables(bench, server, Path(name) / "gateways.db")
        except NotMeasured as error:
            sys.exit(f"database_bench.py: {error}")
        finally:
            server.remove()
    text = f"Measured on {machine({'num_cpus': os.cpu_count()})}.\n\n{found}"
    print(text)
    if asked.write:
        write(asked.write, text, MARKERS)


if __name__ == "__main__":
    main()
