#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures the example gateway under calls of no length, beside sipp's own server.

The gateway runs with a file for each call and without, and sipp's uas beside it on the same loopback. sipp's uac
offers calls at one rate after the other, each to a new process of each server, in several rounds. The round in
which a call took the least processor time counts: other activity of the machine can only add to it.

Prints the tables, and exits with 1 if a run could not be measured. The times of answers are those of all answered
calls; those answered a second are the ones whose 200 came while calls were offered.

No file is deleted before the end: for some minutes, an ext4 without a journal does not use the inode of a deleted
file again, and each new file searches past all of them.
"""

import argparse
import csv
import json
import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Dict, List, Optional, Sequence, Tuple, TypeVar, Union

sys.path.insert(0, str(Path(__file__).resolve().parent))
from bench_table import figure, machine, markdown, write  # noqa: E402
from loopback_gateway import ROOT, LoopbackGateway, wait_until  # noqa: E402

RATES = [500, 1000, 1500, 2000, 3000, 4000, 6000]
HELD = [250, 500, 1000]
HOLD_RATE = 200
MARKERS = ("<!-- table of scripts/bench --gateway: begin -->", "<!-- table of scripts/bench --gateway: end -->")

UAS, WITHOUT, WITH = "sipp's uas", "gateway", "gateway, file a call"
SERVERS = [UAS, WITHOUT, WITH]

# The third repetition of a request comes 3.5 s after it.
PATIENCE_SECONDS = 4
# After what the client ends by itself.
GRACE_SECONDS = 5
# What is offered counts as the rate if it is not less than this part of it.
OFFERED_ENOUGH = 0.97
# Sockets of sipp that hold fewer requests lose some by themselves.
SOCKET_BYTES = 4_000_000
CLIENT_ADDRESS = "127.0.0.1"
TRACED = 200
TRACE_RATE = 100
FILES = 2000
LINE = b"x" * 120 + b"\n"


class NotMeasured(Exception):
    """A run could not be measured."""


def environment() -> Dict[str, str]:
    return {**os.environ, "TERM": "dumb"}


class Uas:
    """sipp's own server."""

    def __init__(self, _program: Path, home: Path, address: str) -> None:
        self.address = address
        self.home = home
        self.process: Optional["subprocess.Popen[bytes]"] = None

    def start(self) -> None:
        self.process = subprocess.Popen(
            ["sipp", "-sn", "uas", "-i", self.address, "-p", "5060", "-nostdin", "-buff_size", str(SOCKET_BYTES)],
            cwd=self.home, env=environment(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        bound = "".join(f"{int(part):02X}" for part in reversed(self.address.split("."))) + ":13C4 "
        wait_until(lambda: bound in Path("/proc/net/udp").read_text(), "sipp's uas receives")

    @property
    def pid(self) -> int:
        assert self.process is not None
        return self.process.pid

    def runs(self) -> bool:
        return self.process is not None and self.process.poll() is None

    def refused(self) -> int:
        return 0

    def kill(self) -> None:
        if self.process is not None:
            self.process.kill()
            self.process.wait()


class Gateway(LoopbackGateway):
    """The gateway, with the logging of the example."""

    def __init__(self, program: Path, home: Path, with_files: bool) -> None:
        super().__init__(program, home)
        # Whatever is offered is taken: no call is refused because of the number of calls at once, nor for want of a
        # port, and none ends because sipp sends no RTP.
        self.configure("gateway.calls.monitor.monitoringPeriodInMs = 0")
        self.configure("keswardin.media.rtp.udpPortRange = 10000-59999")
        self.configure("keswardin.media.rxStartTimeoutMs = 3600000")
        if not with_files:
            logging = home / "etc/logging.cfg"
            logging.write_text(re.sub(r"(?m)^.*CALL_LOG_APPENDER.*\n", "", logging.read_text()))

    def start(self, *arguments: str) -> None:
        super().start("--answer-after-ms", "0", *arguments)

    def refused(self) -> int:
        """Returns how many calls it has refused, with any answer."""
        command = [str(self.program), "--status", "--json"]
        for source in ("gateway.cfg", "site.cfg"):
            command += ["--global-config", str(self.home / "etc" / source)]
        answer = subprocess.run(command, env={**os.environ, "GATEWAY_HOME": str(self.home)}, check=True,
                                capture_output=True, text=True)
        return sum(json.loads(answer.stdout)["calls"]["refused"].values())

    def kill(self) -> None:
        if self.process is not None:
            self.process.kill()
            self.process.wait()


Server = Union[Uas, Gateway]
Figures = TypeVar("Figures")


def make_server(name: str, program: Path, home: Path) -> Server:
    gateway = Gateway(program, home, name == WITH)
    return Uas(program, home, gateway.address) if name == UAS else gateway


def processor_ms(pid: int) -> float:
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return 1000 * (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_kb(pid: int) -> int:
    found = re.search(r"^VmRSS:\s+(\d+) kB", Path(f"/proc/{pid}/status").read_text(), re.MULTILINE)
    assert found is not None
    return int(found[1])


class Client:
    """sipp's uac, whose statistics go to files in a folder of their own."""

    def __init__(self, server: Server, calls: int, rate: int, length_ms: int, limit: int) -> None:
        self.folder = Path(tempfile.mkdtemp(dir=server.home))
        self.limit = limit
        self.process = subprocess.Popen(
            ["sipp", "-sn", "uac", f"{server.address}:5060", "-i", CLIENT_ADDRESS, "-m", str(calls), "-r", str(rate),
             # Otherwise sipp offers fewer calls when answers are late.
             "-l", str(calls),
             "-d", str(length_ms), "-timeout", str(limit), "-nostdin", "-buff_size", str(SOCKET_BYTES),
             "-trace_stat", "-stf", "stat.csv", "-fd", "100ms", "-trace_rtt", "-rtt_freq", "1",
             # A call that is refused is over.
             "-default_behaviors", "all,-bye"],
            cwd=self.folder, env=environment(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def statistics(self) -> List[Dict[str, str]]:
        """Returns sipp's counts, a row for each tenth of a second; the last may be incomplete."""
        path = self.folder / "stat.csv"
        if not path.exists():
            return []
        with path.open(newline="") as stream:
            return [row for row in csv.DictReader(stream, delimiter=";") if row["ResponseTime1(C)"] is not None]

    def response_times(self) -> List[Tuple[float, float]]:
        """Returns for each 200 the time since the start and since the INVITE, in ms."""
        times = []
        for path in self.folder.glob("*_rtt.csv"):
            for line in path.read_text().splitlines()[1:]:
                fields = line.split(";")
                times.append((float(fields[0]), float(fields[1])))
        return times

    def answered_now(self) -> int:
        rows = self.statistics()
        return sum(int(count) for name, count in rows[-1].items()
                   if name is not None and name.startswith("ResponseTimeRepartition1_") and count) if rows else 0

    def wait(self) -> None:
        """Waits for its end; kills it if it does not end by itself."""
        try:
            self.process.wait(self.limit + GRACE_SECONDS)
        except subprocess.TimeoutExpired:
            self.kill()

    def kill(self) -> None:
        self.process.kill()
        self.process.wait()


def seconds_of(row: Dict[str, str]) -> float:
    return float(row["CurrentTime"].split("\t")[-1])


@dataclass
class Load:
    """What a server made of a rate of calls."""
    server: str
    rate: int
    # Calls a second.
    offered: float
    answered: float
    # In all.
    refused: int
    failed: int
    repeated: int
    # Milliseconds.
    median: float
    p99: float
    # Microseconds for each answered call.
    processor: float


def quantile(values: Sequence[float], part: float) -> float:
    return sorted(values)[min(len(values) - 1, int(part * len(values)))] if values else float("nan")


def measure_load(server: Server, name: str, rate: int, seconds: float) -> Load:
    calls = max(1, round(rate * seconds))
    before = processor_ms(server.pid)
    client = Client(server, calls, rate, 0, round(seconds) + PATIENCE_SECONDS)
    client.wait()
    if not server.runs():
        raise NotMeasured(f"{name} has ended at {rate} calls a second")
    used = processor_ms(server.pid) - before
    rows = client.statistics()
    times = client.response_times()
    if not rows or int(rows[-1]["TotalCallCreated"]) == 0:
        raise NotMeasured(f"sipp has made no calls at {rate} a second to {name}; see {client.folder}")
    last = rows[-1]
    created = int(last["TotalCallCreated"])
    offering = next(seconds_of(row) for row in rows if int(row["TotalCallCreated"]) == created) - seconds_of(rows[0])
    in_time = sum(moment <= 1000 * offering for moment, _ in times)
    responses = [response for _, response in times]
    refused = server.refused()
    return Load(name, rate, created / offering, in_time / offering, refused,
                created - int(last["SuccessfulCall(C)"]) - refused, int(last["Retransmissions(C)"]),
                quantile(responses, 0.5), quantile(responses, 0.99), 1000 * used / max(len(times), 1))


def hold(server: Server, name: str, calls: int) -> Client:
    """Starts a client with a number of calls, and waits until they are answered."""
    client = Client(server, calls, HOLD_RATE, 600_000, 600)
    wait_until(lambda: client.answered_now() >= calls or not server.runs(), f"{calls} calls to {name}")
    return client


def measure_memory(server: Server, name: str, held: Sequence[int]) -> Dict[int, float]:
    """Returns the memory in KB by the number of calls that are held."""
    memory = {0: float(memory_kb(server.pid))}
    clients: List[Client] = []
    try:
        for calls in held:
            clients.append(hold(server, name, calls - max(memory)))
            if not server.runs():
                raise NotMeasured(f"{name} has ended with {calls} calls")
            memory[calls] = memory_kb(server.pid)
    finally:
        for client in clients:
            client.kill()
    return memory


def count_system_calls(server: Server, name: str, calls: int) -> Dict[str, float]:
    """Returns how often a call makes each system call."""
    # The first calls make what is made once.
    Client(server, 10, 100, 0, 10).wait()
    path = server.home / "system-calls"
    tracer = subprocess.Popen(["strace", "-c", "-f", "-p", str(server.pid), "-o", str(path)],
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    assert tracer.stderr is not None
    if b"attached" not in tracer.stderr.readline():
        tracer.wait()
        raise NotMeasured(f"strace cannot trace {name}")
    Client(server, calls, TRACE_RATE, 0, calls // TRACE_RATE + PATIENCE_SECONDS).wait()
    tracer.send_signal(signal.SIGINT)
    tracer.communicate()
    # % time, seconds, usecs/call, calls, errors if there are any, name
    rows = re.findall(r"^ *[\d.]+ +[\d.]+ +\d+ +(\d+)(?: +\d+)? +(\w+)$", path.read_text(), re.MULTILINE)
    return {call: int(count) / calls for count, call in rows if call != "total"}


def load_table(loads: List[Load]) -> str:
    peers = {load.rate: load for load in loads if load.server == UAS}
    rows = []
    for load in sorted(loads, key=lambda load: (load.rate, SERVERS.index(load.server))):
        peer = peers[load.rate]
        ratio = "" if load.server == UAS or peer.processor == 0 else f"{load.processor / peer.processor:.1f}"
        offered = f"{load.rate:,}"
        if load.offered < OFFERED_ENOUGH * load.rate:
            offered += f" (only {load.offered:,.0f})"
        rows.append([load.server, offered, f"{load.answered:,.0f}", f"{load.refused:,}", f"{load.failed:,}",
                     f"{load.repeated:,}", f"{load.median:.0f}", f"{load.p99:,.0f}", f"{load.processor:.0f}", ratio])
    return markdown(["Server", "Calls offered a second", "Answered a second", "Refused", "Failed", "Repeated requests",
                     "Median of the answer, ms", "p99, ms", "Processor a call, us", "Ratio to sipp's uas"], rows)


def memory_table(memory: Dict[str, Dict[int, float]]) -> str:
    numbers = list(memory[UAS])
    fewest, most = numbers[1], numbers[-1]
    rows = [[name, *(f"{held[calls]:,.0f}" for calls in numbers), figure((held[most] - held[fewest]) / (most - fewest))]
            for name, held in memory.items()]
    return markdown(["Resident memory, KB", *(f"{calls:,} calls held" for calls in numbers), "A call"], rows)


def system_call_table(counts: Dict[str, Dict[str, float]]) -> str:
    names = sorted({name for made in counts.values() for name in made},
                   key=lambda name: -max(made.get(name, 0) for made in counts.values()))
    rows = [[f"`{name}`", *(f"{made.get(name, 0):.1f}" for made in counts.values())] for name in names
            if max(made.get(name, 0) for made in counts.values()) >= 0.1]
    rows.append(["all", *(f"{sum(made.values()):.1f}" for made in counts.values())])
    return markdown(["System calls a call", *counts], rows)


def draw(loads: List[Load], memory: Dict[str, Dict[int, float]], folder: Path) -> None:
    import matplotlib  # pylint: disable=import-outside-toplevel

    matplotlib.use("svg")
    # The same figures give the same file.
    matplotlib.rcParams.update({"svg.hashsalt": "keswardin-infra", "font.size": 9})
    from matplotlib import pyplot  # pylint: disable=import-outside-toplevel

    def plot(name: str, series: Dict[str, List[Tuple[float, float]]], diagonal: bool, **labels: object) -> None:
        figure_, axes = pyplot.subplots(figsize=(6, 3.6))
        if diagonal:
            highest = max(point[0] for points in series.values() for point in points)
            axes.plot([0, highest], [0, highest], color="grey", linewidth=0.8, linestyle=":", label="all")
        for label, points in series.items():
            axes.plot(*zip(*points), marker="o", markersize=3, linewidth=1 if label == UAS else 2, label=label)
        axes.set(xlim=(0, None), **labels)
        axes.grid(alpha=0.3)
        axes.legend()
        figure_.tight_layout()
        figure_.savefig(folder / f"{name}.svg", metadata={"Date": None})
        pyplot.close(figure_)

    def by_rate(value: str) -> Dict[str, List[Tuple[float, float]]]:
        return {server: sorted((load.offered, getattr(load, value)) for load in loads if load.server == server)
                for server in SERVERS}

    plot("gatewayAnswered", by_rate("answered"), True, title="Calls answered", xlabel="calls offered a second",
         ylabel="answered a second", ylim=(0, None))
    # A time of 0 is one below the step of sipp's clock.
    plot("gatewayLatency", {server: [(rate, max(p99, 1)) for rate, p99 in points]
                            for server, points in by_rate("p99").items()}, False,
         title="The answer of 99 % of the calls", xlabel="calls offered a second", ylabel="ms", yscale="log")
    plot("gatewayMemory", {name: sorted((calls, kb / 1024) for calls, kb in held.items())
                           for name, held in memory.items()}, False,
         title="Resident memory", xlabel="calls held", ylabel="MiB", ylim=(0, None))


class Bench:
    """Starts a new process of a server for each run, with a folder of its own."""

    def __init__(self, program: Path, folder: Path) -> None:
        self.program = program
        self.folder = folder

    def run(self, name: str, measure_server: Callable[[Server], Figures]) -> Figures:
        server = make_server(name, self.program, Path(tempfile.mkdtemp(dir=self.folder)))
        try:
            server.start()
            return measure_server(server)
        finally:
            server.kill()

    def file_microseconds(self) -> float:
        """Returns the processor time of the system calls for a file of a call with one line."""
        folder = Path(tempfile.mkdtemp(dir=self.folder))
        before = time.process_time()
        for number in range(FILES):
            file = os.open(folder / f"{number}@127.0.0.1.log", os.O_CREAT | os.O_WRONLY | os.O_APPEND, 0o644)
            os.write(file, LINE)
            os.close(file)
        return 1e6 * (time.process_time() - before) / FILES


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("results", type=Path, help="the folder for the results; the gateway writes its files there")
    parser.add_argument("--program", type=Path, default=ROOT / "build/bench/examples/gateway", help="the gateway")
    parser.add_argument("--rates", type=int, nargs="+", default=RATES, help="calls a second")
    parser.add_argument("--seconds", type=float, default=4, help="for how long a rate is offered")
    parser.add_argument("--rounds", type=int, default=2)
    parser.add_argument("--held", type=int, nargs="+", default=HELD,
                        help="numbers of calls at once, ascending; two at least")
    parser.add_argument("--traced", type=int, default=TRACED, help="how many calls strace observes")
    parser.add_argument("--write", type=Path, metavar="DOCUMENT", help="puts the tables there")
    parser.add_argument("--plots", type=Path, metavar="FOLDER", help="draws the plots there")
    arguments = parser.parse_args()
    # A call takes a descriptor, or two with a file.
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    arguments.results.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(dir=arguments.results) as folder:
        return measure(arguments, Bench(arguments.program, Path(folder)))


def measure(arguments: argparse.Namespace, bench: Bench) -> int:
    best: Dict[Tuple[str, int], Load] = {}
    try:
        for number in range(1, arguments.rounds + 1):
            for rate in arguments.rates:
                print(f"\rbench: round {number} of {arguments.rounds}, {rate} calls a second   ", end="",
                      file=sys.stderr)
                for name in SERVERS:
                    load = bench.run(name, lambda server: measure_load(server, name, rate, arguments.seconds))
                    if (name, rate) not in best or load.processor < best[name, rate].processor:
                        best[name, rate] = load
        print("\rbench: memory and system calls            ", file=sys.stderr)
        memory = {name: bench.run(name, lambda server: measure_memory(server, name, arguments.held))
                  for name in SERVERS}
        system_calls = {name: bench.run(name, lambda server: count_system_calls(server, name, arguments.traced))
                        for name in SERVERS}
        file_us = bench.file_microseconds()
    except NotMeasured as error:
        print(f"\nbench: {error}", file=sys.stderr)
        return 1

    loads = list(best.values())
    results = {"loads": [vars(load) for load in loads], "memory": memory, "systemCalls": system_calls,
               "fileMicroseconds": file_us}
    (arguments.results / "gateway.json").write_text(json.dumps(results, indent=1))
    context = (f"Measured on {machine({'num_cpus': os.cpu_count()})}. A file with one line takes the system "
               f"{file_us:.0f} us of processor time by itself.")
    text = "\n\n".join([context, load_table(loads), memory_table(memory), system_call_table(system_calls)])
    (arguments.results / "gateway.md").write_text(text + "\n")
    print(text)
    if arguments.plots:
        draw(loads, memory, arguments.plots)
    if arguments.write:
        write(arguments.write, text, MARKERS)
    return 0


if __name__ == "__main__":
    sys.exit(main())
