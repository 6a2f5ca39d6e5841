#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Makes one system call or one allocation of a program fail, classifies the outcome, and counts.

    scripts/faults                                   all of it; takes hours
    scripts/faults --limit 20                        no more than 20 places of each call and error
    scripts/faults --sample 120 --seed 7             as much as fits into two minutes, chosen by the seed
    scripts/faults --target minimal --call openat    one target, one call ("allocation" is one of them)
    scripts/faults --run minimal openat:EMFILE:12+   one run, with all that it shows

A fault is CALL:ERROR:N, the N-th call of each thread, or CALL:ERROR:N+, that and all later ones. See tests/faults/README.md.
"""

from __future__ import annotations

import argparse
import collections
import concurrent.futures
import ctypes
import dataclasses
import fnmatch
import itertools
import mmap
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Callable, Iterable, Iterator
from typing import Optional

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent

# The errors that the kernel may return, by system call. Some of the other calls cannot fail
# (getpid). futex is left out, because a failed wake-up is a lost one: the fault itself would make
# the program hang.
ERRORS: dict[str, list[str]] = {
    "accept4": ["EMFILE", "ENOMEM"],
    "access": ["EACCES"],
    "bind": ["EADDRINUSE", "EACCES"],
    "brk": ["ENOMEM"],
    "chdir": ["EACCES"],
    "clock_nanosleep": ["EINTR"],
    "clone": ["EAGAIN", "ENOMEM"],
    "clone3": ["EAGAIN", "ENOMEM"],
    "close": ["EIO", "EINTR"],
    "close_range": ["ENOSYS", "ENOMEM"],
    "connect": ["ENETUNREACH", "EINTR"],
    "dup": ["EMFILE"],
    "dup2": ["EBUSY", "EINTR"],
    "dup3": ["EBUSY"],
    "epoll_create1": ["EMFILE", "ENOMEM"],
    "epoll_ctl": ["ENOMEM", "ENOSPC"],
    "epoll_wait": ["EINTR"],
    "eventfd2": ["EMFILE"],
    "execve": ["ENOMEM", "EACCES"],
    "fchmod": ["EPERM"],
    "fchmodat": ["EPERM"],
    "fcntl": ["ENOLCK", "EINTR"],
    "fork": ["EAGAIN"],
    "fstatfs": ["EIO"],
    "fsync": ["EIO", "ENOSPC"],
    "ftruncate": ["EIO"],
    "getcwd": ["ENOENT"],
    "getdents64": ["EIO", "ENOMEM"],
    "getrandom": ["ENOSYS", "EINTR"],
    "getsockname": ["ENOBUFS"],
    "getsockopt": ["ENOMEM"],
    "ioctl": ["EIO"],
    "kill": ["EPERM"],
    "listen": ["EADDRINUSE"],
    "lseek": ["EIO"],
    "membarrier": ["ENOSYS", "EPERM"],
    "mkdir": ["ENOSPC", "EACCES"],
    "mkdirat": ["ENOSPC", "EACCES"],
    "mmap": ["ENOMEM"],
    "mprotect": ["ENOMEM"],
    "newfstatat": ["EACCES", "EIO", "ENOMEM"],
    "open": ["EMFILE", "EACCES"],
    "openat": ["EMFILE", "ENFILE", "EACCES", "ENOMEM", "ENOSPC"],
    "pipe2": ["EMFILE", "ENFILE"],
    "poll": ["EINTR", "ENOMEM"],
    "pread64": ["EIO", "EINTR"],
    "prlimit64": ["EPERM"],
    "pwrite64": ["ENOSPC", "EIO"],
    "read": ["EIO", "EINTR"],
    "readlink": ["EACCES"],
    "readlinkat": ["EACCES"],
    "recvfrom": ["ENOMEM", "EINTR", "ECONNREFUSED"],
    "recvmsg": ["ENOMEM", "EINTR", "ECONNREFUSED"],
    "rename": ["EACCES", "ENOSPC", "EIO"],
    "renameat": ["EACCES", "ENOSPC"],
    # EINVAL comes from a file system that does not know a flag.
    "renameat2": ["EACCES", "ENOSPC", "EINVAL"],
    "sendmsg": ["ENOBUFS", "EPERM", "EINTR", "ECONNREFUSED"],
    "sendto": ["ENOBUFS", "EPERM", "EINTR", "ECONNREFUSED"],
    "setsockopt": ["ENOMEM"],
    "signalfd4": ["EMFILE"],
    "socket": ["EMFILE", "EACCES", "ENOBUFS"],
    "stat": ["EACCES"],
    "statx": ["EACCES", "EIO"],
    "timerfd_create": ["EMFILE"],
    "timerfd_settime": ["EINVAL"],
    "unlink": ["EACCES", "EBUSY"],
    "unlinkat": ["EACCES", "EBUSY"],
    "vfork": ["EAGAIN", "ENOMEM"],
    "wait4": ["EINTR"],
    "write": ["ENOSPC", "EIO", "EINTR"],
    "writev": ["ENOSPC", "EIO", "EINTR"],
}
# Errors that are injected only once: a caller may repeat the call until it succeeds, which would
# never end.
ONLY_ONCE = {"EINTR", "EAGAIN"}

# Whose allocations fail: those of the library and of the program, or those of any code.
ALLOCATION = "allocation"
OWN, ANY = "own", "any"
# The number of allocations in a sample for each fault of a call and error, because there are far
# more places that allocate.
ALLOCATIONS_FOR_A_CALL = 10

# Marks, in the stack of a crash, an exception that no function catches, main included, and that no
# noexcept function stops.
LEAVES_MAIN = "{leaves main}"
# Replaces the stack of a crash in a static constructor, where the unwinder cannot be loaded.
BEFORE_MAIN = "{before main}"
# Files whose frames do not count when the origin of a stack is named: "{crash in libsofia-sip-ua.so.0}".
RUN_TIME = re.compile(r"/lib(c|stdc\+\+|gcc_s|pthread)\.so|/ld-linux|\[vdso\]")

STATE_TEXT = 65536 - 24
STATE_SITES = 1 << 20
STATE_SIZE = 65536 + 8 * STATE_SITES

# A hang is independent of speed: no thread runs for this time, or the program uses far more
# processor time than it needs.
IDLE_SECONDS = 25.0
CPU_SECONDS = 20.0
WALL_SECONDS = 900.0
TICKS = os.sysconf("SC_CLK_TCK")

CRASHED, HUNG, LOST, REPORTED, UNAFFECTED, UNREACHED = (
    "crashed", "hung", "lost silently", "reported", "unaffected", "not reached")
OUTCOMES = [CRASHED, HUNG, LOST, REPORTED, UNAFFECTED]
FINDINGS = {CRASHED, HUNG, LOST}

REPORT = re.compile(r"\b(WARN|ERROR|FATAL|FAILED)\b|log4cplus:ERROR")
CRASH = re.compile(r"terminate called|(Address|Thread|Leak|UndefinedBehavior)Sanitizer|runtime error:")
REFUSED = re.compile(r'^\d+ +write\(2, "((?:[^"\\]|\\.)*)".*\(INJECTED\)$', re.MULTILINE)
KILLED = re.compile(r"\+\+\+ killed by (SIG\w+)")


@dataclasses.dataclass(frozen=True)
class Fault:
    call: str
    error: str
    number: int
    lasting: bool

    def __str__(self) -> str:
        return f"{self.call}:{self.error}:{self.number}{'+' if self.lasting else ''}"

    @staticmethod
    def parse(text: str) -> Fault:
        match = re.fullmatch(r"(\w+):(\w+):(\d+)(\+?)", text)
        if not match:
            raise SystemExit(f"faults: {text!r} is no fault such as openat:EMFILE:12 or allocation:own:7+")
        return Fault(match[1], match[2], int(match[3]), match[4] == "+")


Facts = collections.Counter[tuple[str, str]]


@dataclasses.dataclass
class Run:
    """How a run ended, and the files and output that it left."""

    status: int = 0
    hung: bool = False
    killed: list[str] = dataclasses.field(default_factory=list)
    reached: bool = True
    notes: str = ""
    trace: str = ""
    facts: Facts = dataclasses.field(default_factory=collections.Counter)
    # Lines of standard error and of logs that may be reports.
    said: Facts = dataclasses.field(default_factory=collections.Counter)
    errors: str = ""


@dataclasses.dataclass
class Verdict:
    outcome: str
    why: list[str]


# --- Targets ----------------------------------------------------------------------------------------------------------

class Target:
    """A program, the way a run uses it, and the files that it writes."""

    name = ""
    # Parts of the names of files whose allocations count as the program's own.
    own = "libkeswardin-infra"
    allocations: tuple[str, ...] = (OWN, ANY)
    # Regular expressions of texts that differ from run to run without a fault, and their
    # replacements.
    varies: list[tuple[str, str]] = []

    def __init__(self, build: pathlib.Path) -> None:
        self.build = build

    def prepare(self, home: pathlib.Path, number: int) -> tuple[list[str], dict[str, str]]:
        """Returns the command and the environment variables that it needs."""
        raise NotImplementedError

    def use(self, home: pathlib.Path, number: int, process: Process) -> list[str]:
        """Acts as a user of the running program and returns facts."""
        return []

    def files(self, home: pathlib.Path) -> Iterator[tuple[str, pathlib.Path]]:
        """Yields the files that it writes, with a name for each."""
        yield "standard output", home / "stdout"

    def plain(self, text: str, home: pathlib.Path) -> str:
        text = text.replace(str(home), "HOME")
        for what, instead in self.varies:
            text = re.sub(what, instead, text)
        return text

    def needed(self) -> list[str]:
        """Returns the programs and libraries that must have been built."""
        return []


class Minimal(Target):
    name = "minimal"
    own = "libkeswardin-infra,/minimal"
    varies = [(r"time = \d+ ms", "time = N ms")]

    def needed(self) -> list[str]:
        return ["examples/minimal"]

    def prepare(self, home: pathlib.Path, number: int) -> tuple[list[str], dict[str, str]]:
        return [str(self.build / "examples/minimal"), "--global-config", str(ROOT / "examples/minimal/minimal.cfg")], {}


class Exerciser(Target):
    own = "libkeswardin-infra,/faults-exerciser,_infra.cpython"
    varies = [(r"\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}", "DATE"), (r"0x[0-9a-f]+", "ADDRESS"), (r"pid \d+", "pid N")]
    part = ""

    def __init__(self, build: pathlib.Path) -> None:
        super().__init__(build)
        self.syslog: dict[int, socket.socket] = {}

    def needed(self) -> list[str]:
        return ["tests/faults/faults-exerciser", "tests/faults/libfaults-plugin.so"]

    def prepare(self, home: pathlib.Path, number: int) -> tuple[list[str], dict[str, str]]:
        shutil.copy(HERE / "exerciser.cfg", home)
        server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        server.bind(("127.0.0.1", 0))
        self.syslog[number] = server
        return ([str(self.build / "tests/faults/faults-exerciser"), str(home), self.part],
                {"FAULTS_HOME": str(home), "FAULTS_SYSLOG_PORT": str(server.getsockname()[1]),
                 "LD_LIBRARY_PATH": str(self.build / "tests/faults"), **self.environment()})

    def environment(self) -> dict[str, str]:
        return {}

    def use(self, home: pathlib.Path, number: int, process: Process) -> list[str]:
        facts = []
        with self.syslog.pop(number) as server:
            server.settimeout(0.05)
            ended = False
            while True:
                try:
                    message = server.recv(65536).decode("utf-8", "replace")
                    facts.append(re.sub(r"^(<\d+>)?.*?(?=exerciser|keswardin|INFO|line |long )", r"\1", message)[:200])
                    continue
                except TimeoutError:
                    pass
                if ended:
                    return facts
                ended = process.ended.is_set()

    def files(self, home: pathlib.Path) -> Iterator[tuple[str, pathlib.Path]]:
        yield from super().files(home)
        for path in sorted(home.rglob("*")):
            if path.is_file() and path.name not in ("stdout", "stderr", "state", "strace", "trace", "exerciser.cfg"):
                name = str(path.relative_to(home))
                # The date of a recording, and that of the file of an earlier call.
                name = re.sub(r"\.(\d+_\d+_\d+_\d+_\d+_\d+|[\d-]{10}T\d{6}Z)", ".DATE", name)
                yield re.sub(r"(rolling\.log).*", r"\1", name), path


class ExerciserLibrary(Exerciser):
    name = "library"
    part = "library"


class ExerciserPython(Exerciser):
    name = "python"
    part = "python"
    # Python itself makes many thousands of allocations, which are not under test.
    allocations = (OWN,)
    tree: Optional[pathlib.Path] = None

    def environment(self) -> dict[str, str]:
        return {"VELMORA": str(self.tree), "PYTHONDONTWRITEBYTECODE": "1"}

    def make_tree(self, work: pathlib.Path) -> None:
        self.tree = work / "python-tree"
        subprocess.run([ROOT / "scripts/python-tree", self.tree, self.build / "python"], check=True)
        shutil.copy(HERE / "exerciser.py", self.tree / "lib")


class Caller:
    """A client that makes a correct SIP call and retransmits unanswered requests."""

    def __init__(self, address: str, call: str) -> None:
        self.address, self.call = address, call
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((address, 0))
        self.media = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.media.bind((address, 0))
        self.own = f"{address}:{self.socket.getsockname()[1]}"
        self.to = f"<sip:alice@{address}>"
        self.sequence = 0

    def close(self) -> None:
        self.socket.close()
        self.media.close()

    def message(self, method: str, body: str = "") -> bytes:
        if method != "ACK":
            self.sequence += 1
        lines = [f"{method} sip:alice@{self.address}:5060 SIP/2.0",
                 f"Via: SIP/2.0/UDP {self.own};branch=z9hG4bK{method}{self.sequence}{self.call}",
                 f"From: <sip:caller@{self.own}>;tag=caller", f"To: {self.to}", f"Call-ID: {self.call}",
                 f"CSeq: {self.sequence} {method}", f"Contact: <sip:caller@{self.own}>", "Max-Forwards: 70"]
        if body:
            lines.append("Content-Type: application/sdp")
        return "\r\n".join([*lines, f"Content-Length: {len(body)}", "", body]).encode()

    def request(self, method: str, body: str, process: Process) -> str:
        """Returns the final answer, or an empty text after a time limit or the end of the process."""
        message = self.message(method, body)
        for wait in (0.5, 1.0, 2.0):
            self.socket.sendto(message, (self.address, 5060))
            until = time.monotonic() + wait
            while (left := until - time.monotonic()) > 0:
                if process.ended.is_set():
                    return ""
                self.socket.settimeout(min(left, 0.1))
                try:
                    answer = self.socket.recv(65536).decode("utf-8", "replace")
                except (TimeoutError, ConnectionRefusedError):
                    continue
                # A request of the gateway, for example when it ends the call.
                if not answer.startswith("SIP/2.0 "):
                    self.accept(answer)
                    continue
                if f"CSeq: {self.sequence} {method}" in answer and int(answer[8:11]) >= 200:
                    return answer
        return ""

    def accept(self, request: str) -> None:
        headers = [line for line in request.split("\r\n") if re.match("(Via|From|To|Call-ID|CSeq):", line)]
        answer = "\r\n".join(["SIP/2.0 200 OK", *headers, "Content-Length: 0", "", ""])
        self.socket.sendto(answer.encode(), (self.address, 5060))

    def have_call(self, process: Process) -> list[str]:
        offer = (f"v=0\r\no=- 1 1 IN IP4 {self.address}\r\ns=-\r\nc=IN IP4 {self.address}\r\nt=0 0\r\n"
                 f"m=audio {self.media.getsockname()[1]} RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n")
        answer = self.request("INVITE", offer, process)
        status = answer[8:11]
        if to := re.search(r"^To: (.*)\r$", answer, re.MULTILINE):
            self.to = to[1]
        if not answer:
            return [f"INVITE of {self.call}: no answer"]
        self.socket.sendto(self.message("ACK"), (self.address, 5060))
        facts = [f"INVITE of {self.call}: {status}"]
        if status != "200":
            return facts
        if port := re.search(r"m=audio (\d+)", answer):
            facts.append(f"RTP of {self.call}: {self.stream(int(port[1]))}")
        facts.append(f"BYE of {self.call}: {self.request('BYE', '', process)[8:11] or 'no answer'}")
        return facts

    def stream(self, port: int) -> str:
        """Sends three packets, and repeats a packet that does not come back, because UDP may lose any."""
        self.media.settimeout(0.5)
        for number in range(3):
            packet = struct.pack(">BBHII", 0x80, 0, number, 160 * number, 7) + bytes(160)
            for _ in range(3):
                self.media.sendto(packet, (self.address, port))
                try:
                    if self.media.recv(2048) == packet:
                        break
                except (TimeoutError, ConnectionRefusedError):
                    pass
            else:
                return f"packet {number} has not come back"
        return "all packets have come back"


class Gateway(Target):
    name = "gateway"
    own = "libkeswardin-infra,/gateway"
    varies = [(r"^\S+ \S+ (?=[A-Z]+ +\[)", ""), (r"\[\w+\]", "[THREAD]"), (r"127\.\d+\.\d+\.\d+", "ADDRESS"),
              (r"tag=[\w.-]+", "tag=TAG"), (r"\d+", "N")]

    def needed(self) -> list[str]:
        return ["examples/gateway"]

    @staticmethod
    def address(number: int) -> str:
        # A loopback address that no other run on this machine uses.
        place = os.getpid() * 4096 + number
        return f"127.{64 + (place >> 16) % 128}.{(place >> 8) % 256}.{place % 253 + 1}"

    def prepare(self, home: pathlib.Path, number: int) -> tuple[list[str], dict[str, str]]:
        shutil.copytree(ROOT / "examples/gateway/etc", home / "etc")
        site = home / "etc/site.cfg"
        text = re.sub(r"(?m)^(keswardin.media.rtp.IPAddress = ).*", r"\g<1>" + self.address(number), site.read_text())
        site.write_text(text + "\nkeswardin.system.cpu.monitor.monitoringPeriodInMs = 0\n"
                        "gateway.calls.monitor.monitoringPeriodInMs = 0\n"
                        "keswardin.exitTimeoutSec = 3\n")
        gateway_cfg = home / "etc/gateway.cfg"
        gateway_cfg.write_text(re.sub(r"(?m)^keswardin.exitTimeoutSec.*", "", gateway_cfg.read_text()))
        return ([str(self.build / "examples/gateway"), "--answer-after-ms", "20",
                 "--global-config", str(gateway_cfg), "--global-config", str(site)],
                {"GATEWAY_HOME": str(home)})

    def use(self, home: pathlib.Path, number: int, process: Process) -> list[str]:
        address = self.address(number)
        if not self.wait_for_start(home, process):
            return ["the gateway does not run"]
        facts = ["the gateway runs"]
        # A fault in the first call must not affect the second one.
        for name in ("first", "second"):
            caller = Caller(address, name)
            try:
                facts += caller.have_call(process)
            except OSError as error:
                facts.append(f"call {name}: {error}")
            finally:
                caller.close()
        process.signal(signal.SIGTERM)
        return facts

    @staticmethod
    def wait_for_start(home: pathlib.Path, process: Process) -> bool:
        """Waits for the gateway's socket, because the log line of the start may be the one that fails."""
        address = Gateway.address_of(home)
        packed = struct.pack("<I", struct.unpack(">I", socket.inet_aton(address))[0])
        wanted = f"{struct.unpack('>I', packed)[0]:08X}:{5060:04X}"
        until = time.monotonic() + IDLE_SECONDS
        while time.monotonic() < until and not process.ended.is_set():
            if wanted in pathlib.Path("/proc/net/udp").read_text():
                time.sleep(0.02)
                return True
            time.sleep(0.02)
        if not process.ended.is_set():
            process.signal(signal.SIGTERM)
        return False

    @staticmethod
    def address_of(home: pathlib.Path) -> str:
        found = re.search(r"rtp.IPAddress = (\S+)", (home / "etc/site.cfg").read_text())
        assert found
        return found[1]

    def files(self, home: pathlib.Path) -> Iterator[tuple[str, pathlib.Path]]:
        yield from super().files(home)
        for folder in ("logs", "calls", "recordings"):
            for path in sorted((home / folder).rglob("*")):
                if path.is_file():
                    yield str(path.relative_to(home)), path


# --- One run ----------------------------------------------------------------------------------------------------------

def ticks_of(pid: int) -> int:
    try:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])
    except OSError:
        return 0


class Process:
    """A running program and its children, in a session of their own; optionally traced by strace once it is loaded."""

    def __init__(self, command: list[str], environment: dict[str, str], home: pathlib.Path,
                 strace: Optional[list[str]]) -> None:
        self.ended = threading.Event()
        self.tracer: Optional[subprocess.Popen[bytes]] = None
        with open(home / "stdout", "wb") as out, open(home / "stderr", "wb") as err:
            self.popen = subprocess.Popen(command, env=environment, cwd=home, stdin=subprocess.DEVNULL, stdout=out,
                                          stderr=err, start_new_session=True)
        if strace is not None:
            self.trace(strace, home)

    def trace(self, options: list[str], home: pathlib.Path) -> None:
        """Attaches strace after the loader has finished: failures in the loader are not under test."""
        stat = pathlib.Path(f"/proc/{self.popen.pid}/stat")
        while stat.read_text().rpartition(")")[2].split()[0] != "T":
            if self.popen.poll() is not None:
                raise SystemExit(f"faults: a program does not load:\n{(home / 'stderr').read_text()}")
            time.sleep(0.002)
        with open(home / "strace", "wb") as err:
            self.tracer = subprocess.Popen(["strace", "-f", "-o", str(home / "trace"), "-s", "60", *options,
                                            "-p", str(self.popen.pid)], stdin=subprocess.DEVNULL, stderr=err)
        while " attached" not in (said := (home / "strace").read_text()):
            if self.tracer.poll() is not None:
                self.kill()
                raise SystemExit(f"faults: strace cannot trace:\n{said}")
            time.sleep(0.002)
        os.kill(self.popen.pid, signal.SIGCONT)

    def members(self) -> list[tuple[int, str, int]]:
        """Returns the process, the state and the processor time of all threads of the session."""
        result = []
        for entry in os.listdir("/proc"):
            if not entry.isdigit():
                continue
            try:
                fields = pathlib.Path(f"/proc/{entry}/stat").read_text().rpartition(")")[2].split()
                if int(fields[3]) != self.popen.pid:
                    continue
                for task in os.listdir(f"/proc/{entry}/task"):
                    own = pathlib.Path(f"/proc/{entry}/task/{task}/stat").read_text().rpartition(")")[2].split()
                    result.append((int(entry), own[0], int(own[11]) + int(own[12])))
            except OSError:
                pass
        return result

    def signal(self, number: int) -> None:
        self.popen.send_signal(number)

    def wait(self) -> bool:
        """Waits for the end of the program. Kills it and returns False if it hangs."""
        start = last = time.monotonic()
        used = -1
        pause = 0.005
        while True:
            try:
                self.popen.wait(pause)
                self.ended.set()
                # strace ends with the last process that it traces.
                if self.tracer:
                    self.tracer.wait(pause)
                return True
            except subprocess.TimeoutExpired:
                pause = min(0.5, pause * 1.5)
            now = time.monotonic()
            if now - start < 2:
                continue
            members = self.members()
            # The time that strace uses counts as the program's own.
            time_used = sum(ticks for _, _, ticks in members) + (ticks_of(self.tracer.pid) if self.tracer else 0)
            if time_used != used or any(state in "RD" for _, state, _ in members):
                used, last = time_used, now
            if now - last > IDLE_SECONDS or time_used > CPU_SECONDS * TICKS or now - start > WALL_SECONDS:
                self.note_stacks()
                self.kill()
                return False

    def note_stacks(self) -> None:
        """Makes each thread write its stack to the notes."""
        tgkill = 234
        libc = ctypes.CDLL(None)
        for pid in sorted({pid for pid, _, _ in self.members()}):
            for task in sorted(os.listdir(f"/proc/{pid}/task"), key=int):
                libc.syscall(tgkill, pid, int(task), int(signal.SIGUSR2))
                time.sleep(0.05)
        time.sleep(0.5)

    def kill(self) -> None:
        while pids := {pid for pid, state, _ in self.members() if state not in "ZX"}:
            for pid in pids:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            self.popen.poll()
            time.sleep(0.01)
        self.popen.wait()
        if self.tracer:
            self.tracer.wait()
        self.ended.set()


class Harness:
    def __init__(self, build: pathlib.Path, work: pathlib.Path, preload: Optional[pathlib.Path] = None) -> None:
        self.work = work
        self.preload = preload or build / "tests/faults/libfaults-preload.so"
        self.numbers = itertools.count()
        self.lock = threading.Lock()

    def run(self, target: Target, fault: Optional[Fault], strace: Optional[list[str]] = None,
            sites: bool = False) -> tuple[Run, list[int]]:
        """Runs a target once. `strace` has additional options; if it is not None, strace runs without a fault, too."""
        with self.lock:
            number = next(self.numbers)
        home = self.work / f"{target.name}-{number}"
        home.mkdir()
        try:
            return self.run_in(home, number, target, fault, strace, sites)
        finally:
            shutil.rmtree(home, ignore_errors=True)

    def run_in(self, home: pathlib.Path, number: int, target: Target, fault: Optional[Fault],
               strace: Optional[list[str]], sites: bool) -> tuple[Run, list[int]]:
        state = home / "state"
        with open(state, "wb") as file:
            file.truncate(STATE_SIZE)
        command, more = target.prepare(home, number)
        environment = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "LC_ALL": "C", "TZ": "UTC", **more}
        own = {"FAULTS_STATE": str(state)}
        if sites:
            own["FAULTS_SITES"] = "1"
        if fault and fault.call == ALLOCATION:
            own["FAULTS_ALLOCATION"] = f"{fault.number}{'+' if fault.lasting else ''}"
            if fault.error == OWN:
                own["FAULTS_FROM"] = target.own
        if sites and strace == [OWN]:
            own["FAULTS_FROM"] = target.own
            strace = None
        environment |= own | {"LD_PRELOAD": str(self.preload)}
        options = None
        if strace is not None or (fault is not None and fault.call != ALLOCATION):
            environment["FAULTS_WAIT"] = "1"
            options = [*injection(fault), *(strace or [])]
        process = Process(command, environment, home, options)
        facts: list[str] = []

        def use() -> None:
            facts.extend(target.use(home, number, process))
        user = threading.Thread(target=use)
        user.start()
        run = Run()
        run.hung = not process.wait()
        user.join()
        run.status = process.popen.returncode
        self.look(run, target, home, fault, facts)
        return run, read_sites(state) if sites else []

    @staticmethod
    def look(run: Run, target: Target, home: pathlib.Path, fault: Optional[Fault], facts: list[str]) -> None:
        with open(home / "state", "rb") as file:
            _, failed, length = struct.unpack("<QQQ", file.read(24))
            run.notes = file.read(min(length, STATE_TEXT)).decode("utf-8", "replace").rstrip("\0")
        if (home / "trace").exists():
            run.trace = (home / "trace").read_text("utf-8", "replace")
            run.killed = KILLED.findall(run.trace)
        elif run.status < 0:
            run.killed = [signal.Signals(-run.status).name]
        if fault:
            run.reached = failed > 0 if fault.call == ALLOCATION else "(INJECTED)" in run.trace
        run.errors = (home / "stderr").read_text("utf-8", "replace")
        # Adds the lines that the program tried to write: only their output failed, so they count as
        # reported.
        run.errors += "".join(text.replace("\\n", "\n") + "\n" for text in REFUSED.findall(run.trace))
        for line in run.errors.splitlines():
            run.said["standard error", target.plain(line, home)] += 1
        for name, path in target.files(home):
            for line in path.read_text("utf-8", "replace").splitlines():
                plain = target.plain(line, home)
                run.facts[name, plain] += 1
                if REPORT.search(plain):
                    run.said[name, plain] += 1
        for fact in facts:
            plain = target.plain(fact, home) if target.name != "gateway" else fact
            run.facts["user", plain] += 1
            if REPORT.search(plain):
                run.said["user", plain] += 1


def injection(fault: Optional[Fault]) -> list[str]:
    if fault is None or fault.call == ALLOCATION:
        return []
    when = f"{fault.number}{'+' if fault.lasting else ''}"
    # A failed brk returns the end of the memory, and callers would take an error number for an
    # address. So the result is 0.
    how = "retval=0" if fault.call == "brk" else f"error={fault.error}"
    return ["-e", f"trace={fault.call}", "-e", f"inject={fault.call}:{how}:when={when}"]


def read_sites(state: pathlib.Path) -> list[int]:
    """Returns the number of the first allocation of each place that allocates."""
    with open(state, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as memory:
        count = min(int.from_bytes(memory[:8], "little"), STATE_SITES)
        stacks = struct.unpack_from(f"<{count}Q", memory, 65536)
    first: dict[int, int] = {}
    for number, stack in enumerate(stacks, 1):
        first.setdefault(stack, number)
    return sorted(first.values())


# --- Results ----------------------------------------------------------------------------------------------------------

class Baseline:
    """The facts on which the runs without a fault agree."""

    def __init__(self, runs: list[Run]) -> None:
        self.status = runs[0].status
        self.facts: Facts = runs[0].facts.copy()
        self.said: Facts = collections.Counter()
        for run in runs:
            if run.hung or run.killed or run.status != self.status:
                raise SystemExit(f"faults: a run without a fault fails with status {run.status}:\n{run.errors}")
            self.facts &= run.facts
            self.said |= run.said


def judge(run: Run, baseline: Baseline) -> Verdict:
    if not run.reached:
        return Verdict(UNREACHED, [])
    if run.hung:
        return Verdict(HUNG, ["nothing moves any more"])
    if "SIGALRM" in run.killed:
        return Verdict(HUNG, ["ended by its own SIGALRM"])
    report = CRASH.search(run.errors)
    if run.killed or report or run.status < 0 or "\ncrash" in "\n" + run.notes:
        return Verdict(CRASHED, [*run.killed, *([report[0]] if report else [])])
    new = sorted(f"{name}: {line}" for (name, line), count in (run.said - baseline.said).items())
    said = [f"exit code {run.status}"] if run.status != baseline.status else []
    said += [line for line in new if line]
    missing = baseline.facts - run.facts
    lost = [f"{name}: {line[:200]}" + (f" ({count} times)" if count > 1 else "")
            for (name, line), count in sorted(missing.items())]
    lost += [f"{name}: {line}" for name, line in run.facts if line.startswith("LOST ")]
    if said:
        return Verdict(REPORTED, said + [f"missing: {line}" for line in lost])
    if lost:
        return Verdict(LOST, lost)
    return Verdict(UNAFFECTED, [])


@dataclasses.dataclass(frozen=True)
class Known:
    """One line of known.list."""

    outcome: str
    target: str
    call: str
    error: str
    symbols: tuple[str, ...]
    line: int

    def fits(self, outcome: str, target: str, fault: Fault, stack: list[str]) -> bool:
        return (self.outcome == outcome.split()[0] and fnmatch.fnmatchcase(target, self.target)
                and fnmatch.fnmatchcase(fault.call, self.call) and fnmatch.fnmatchcase(fault.error, self.error)
                and bool(stack) and all(self.holds(symbol, stack) for symbol in self.symbols))

    @staticmethod
    def holds(symbol: str, stack: list[str]) -> bool:
        if symbol.startswith("!"):
            return not any(name.startswith(symbol[1:]) for name in stack)
        return symbol in stack


def read_known(path: pathlib.Path) -> list[Known]:
    result = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        fields = line.split(None, 4)
        if len(fields) != 5 or fields[0] not in {outcome.split()[0] for outcome in FINDINGS}:
            raise SystemExit(f"{path}:{number}: not a line such as: crashed minimal openat EMFILE function")
        result.append(Known(fields[0], fields[1], fields[2], fields[3],
                            tuple(symbol.strip() for symbol in fields[4].split(" & ")), number))
    return result


class Symbols:
    """Names of functions by file and offset, without parameters and template arguments."""

    def __init__(self) -> None:
        self.names: dict[tuple[str, str], list[str]] = {}

    def frames(self, places: Iterable[tuple[str, str, str]]) -> list[str]:
        return [name for place in places for name in self.frame(*place)]

    def frame(self, file: str, offset: str, symbol: str) -> list[str]:
        if (file, offset) not in self.names:
            found = subprocess.run(["addr2line", "-fiC", "-e", file, offset], capture_output=True, text=True)
            names = [name for name in found.stdout.splitlines()[::2] if name != "??"]
            if not names and symbol != "?":
                names = subprocess.run(["c++filt", symbol], capture_output=True, text=True).stdout.split("\n")[:1]
            if not names:
                names = [f"{pathlib.Path(file).name}+0x{offset}"]
            # The C library uses internal aliases for calls of its own functions.
            self.names[file, offset] = [bare(name).removeprefix("__GI_") for name in names]
        return self.names[file, offset]

    def of_notes(self, notes: str) -> list[tuple[str, list[str]]]:
        result: list[tuple[str, list[str]]] = []
        origins: dict[int, str] = {}
        for line in notes.splitlines():
            fields = line.split()
            if not line.startswith("  "):
                result.append((line, []))
            elif line.strip() == BEFORE_MAIN:
                result[-1][1].append(BEFORE_MAIN)
            elif len(fields) == 3 and result and "libfaults-preload" not in fields[0]:
                result[-1][1].extend(self.frame(*fields))
                if not RUN_TIME.search(fields[0]):
                    origins.setdefault(len(result) - 1, f"{{{result[-1][0]} in {pathlib.Path(fields[0]).name}}}")
        for index, origin in origins.items():
            result[index][1].append(origin)
        for what, stack in result:
            # If a noexcept function stops the exception, std::terminate is not called from the
            # throw.
            throws = [stack[place + 1] for place, name in enumerate(stack[:-1]) if name == "std::terminate"]
            if what == "crash" and throws and throws[-1] in ("__cxa_throw", "__cxa_rethrow") and "main" in stack:
                stack.append(LEAVES_MAIN)
        return result

    def of_trace(self, trace: str) -> list[str]:
        """Returns the stack of the first injected call, which strace -k prints below it."""
        after = trace.partition("(INJECTED)")[2].splitlines()[1:]
        result = []
        for line in itertools.takewhile(lambda text: re.match(r"(\d+ +)?>", text.strip()) or text.startswith(" >"), after):
            if match := re.search(r"> ([^(]+)\((.*)\+0x[0-9a-f]+\) \[0x([0-9a-f]+)\]", line):
                result += self.frame(match[1], match[3], match[2] or "?")
            elif match := re.search(r"> ([^(]+)\(.*\) \[0x([0-9a-f]+)\]", line):
                result += self.frame(match[1], match[2], "?")
        return result


def bare(name: str) -> str:
    """Returns the bare name of a function: "a::b" for "void a::b<int>(char) const"."""
    name = re.sub(r" *\[[^\]]*\]", "", name.replace("(anonymous namespace)", "{anonymous}"))
    depth, kept = 0, ""
    operator = re.search(r"\boperator\W+?(?=\()", name)
    if operator:
        return name[:operator.end()].split(" ", name[:operator.start()].count(" "))[-1]
    for character in name:
        if character in "<(":
            depth += 1
        elif character in ">)":
            depth -= 1
        elif depth == 0:
            kept += character
    kept = re.sub(r" (const|volatile|noexcept|&&?)$", "", kept.strip())
    return kept.split(" ")[-1] if kept else name


# --- Which faults ---------------------------------------------------------------------------------------------------

TRACE_LINE = re.compile(r"^(\d+) +(\w+)\(")


def places_of_calls(trace: str) -> dict[str, list[int]]:
    """Returns the numbers that each call has in any thread."""
    counts: collections.Counter[tuple[str, str]] = collections.Counter()
    places: dict[str, set[int]] = collections.defaultdict(set)
    for line in trace.splitlines():
        if match := TRACE_LINE.match(line):
            thread, call = match.groups()
            counts[thread, call] += 1
            places[call].add(counts[thread, call])
    return {call: sorted(numbers) for call, numbers in places.items()}


def faults_of(harness: Harness, target: Target, calls: Optional[list[str]], errors: Optional[list[str]]) -> list[Fault]:
    result = []
    if calls is None or calls != [ALLOCATION]:
        trace = harness.run(target, None, strace=["-e", f"trace={','.join('?' + call for call in ERRORS)}"])[0].trace
        for call, numbers in places_of_calls(trace).items():
            result += [Fault(call, error, number, lasting) for error in ERRORS[call] for number in numbers
                       for lasting in (False, True) if not (lasting and error in ONLY_ONCE)]
    if calls is None or ALLOCATION in calls:
        for whose in target.allocations:
            numbers = harness.run(target, None, strace=[OWN] if whose == OWN else None, sites=True)[1]
            result += [Fault(ALLOCATION, whose, number, lasting) for number in numbers for lasting in (False, True)]
    return [fault for fault in result
            if (calls is None or fault.call in calls) and (errors is None or fault.error in errors)]


def limited(faults: list[Fault], limit: Optional[int], chance: random.Random) -> list[Fault]:
    groups: dict[tuple[str, str, bool], list[Fault]] = collections.defaultdict(list)
    for fault in faults:
        groups[fault.call, fault.error, fault.lasting].append(fault)
    return [fault for group in groups.values()
            for fault in (group if limit is None or len(group) <= limit else chance.sample(group, limit))]


def in_turn(jobs: Iterable[tuple[Target, Fault]], chance: random.Random) -> list[tuple[Target, Fault]]:
    """Returns the jobs in an order in which each prefix covers as many targets, calls and errors as possible."""
    groups: dict[tuple[str, str, str], list[tuple[Target, Fault]]] = collections.defaultdict(list)
    for target, fault in jobs:
        groups[target.name, fault.call, fault.error].append((target, fault))
    keyed = []
    for group in groups.values():
        chance.shuffle(group)
        begin = chance.random()
        step = 1 / ALLOCATIONS_FOR_A_CALL if group[0][1].call == ALLOCATION else 1
        keyed += [(place * step + begin, job) for place, job in enumerate(group)]
    return [job for _, job in sorted(keyed, key=lambda entry: entry[0])]


# --- Driver -----------------------------------------------------------------------------------------------------------

class Findings:
    def __init__(self, harness: Harness, known: list[Known], options: str) -> None:
        self.harness, self.known, self.options = harness, known, options
        self.symbols = Symbols()
        self.table: dict[tuple[str, str], collections.Counter[str]] = collections.defaultdict(collections.Counter)
        self.used: collections.Counter[int] = collections.Counter()
        self.groups: dict[tuple[str, ...], list[str]] = collections.defaultdict(list)
        self.lock = threading.Lock()

    def stacks(self, target: Target, fault: Fault, run: Run) -> list[tuple[str, list[str]]]:
        stacks = self.symbols.of_notes(run.notes)
        # The notes of a hang have its stack, and the repeated run would hang as well.
        if fault.call != ALLOCATION and not run.hung:
            again = self.harness.run(target, fault, strace=["-k"])[0]
            stacks.insert(0, ("failed", self.symbols.of_trace(again.trace)))
        return stacks

    def take(self, target: Target, fault: Fault, run: Run, verdict: Verdict) -> None:
        known = None
        stacks: list[tuple[str, list[str]]] = []
        if verdict.outcome in FINDINGS:
            stacks = self.stacks(target, fault, run)
            names = [name for _, stack in stacks for name in stack]
            known = next((entry for entry in self.known if entry.fits(verdict.outcome, target.name, fault, names)), None)
        with self.lock:
            outcome = verdict.outcome
            if known:
                self.used[known.line] += 1
                outcome = "known"
            self.table[fault.call, fault.error][outcome] += 1
            if verdict.outcome in FINDINGS and not known:
                self.groups[self.signature(verdict, stacks)].append(f"{target.name} {fault}")
                print(self.describe(target, fault, run, verdict, stacks), flush=True)

    @staticmethod
    def signature(verdict: Verdict, stacks: list[tuple[str, list[str]]]) -> tuple[str, ...]:
        # With a lasting fault, the failed call is only the first of several.
        ends = [entry for entry in stacks if entry[0] != "failed" and entry[1] != [BEFORE_MAIN]] or stacks
        machinery = r"std::|_|abort$|raise$|new$|operator|futex_wait|lll_|lib(c|stdc)\S*\.so"
        return (verdict.outcome, *[f"{what}: " + " < ".join([name for name in stack if not re.match(machinery, name)][:6])
                                   for what, stack in ends[-1:]])

    def describe(self, target: Target, fault: Fault, run: Run, verdict: Verdict,
                 stacks: list[tuple[str, list[str]]]) -> str:
        text = f"\n{verdict.outcome}: scripts/faults{self.options} --run {target.name} {fault}\n"
        text += "".join(f"    {line}\n" for line in verdict.why[:12])
        if run.errors and verdict.outcome != LOST:
            text += "".join(f"    standard error: {line[:300]}\n" for line in run.errors.splitlines()[-4:])
        for what, stack in stacks[:1] + stacks[1:][-5:]:
            text += f"    {what}\n" + "".join(f"        {name}\n" for name in stack[:30])
        return text

    def print_table(self) -> bool:
        columns = [*OUTCOMES[:3], "known", *OUTCOMES[3:]]
        print(f"\n{'system call':<18}{'error':<14}{'runs':>7}" + "".join(f"{name:>15}" for name in columns))
        total: collections.Counter[str] = collections.Counter()
        for (call, error), counts in sorted(self.table.items()):
            counts = collections.Counter({name: count for name, count in counts.items() if name != UNREACHED})
            if counts.total() == 0:
                continue
            total += counts
            print(f"{call:<18}{error:<14}{counts.total():>7}" + "".join(f"{counts[name]:>15}" for name in columns))
        print(f"{'all':<32}{total.total():>7}" + "".join(f"{total[name]:>15}" for name in columns))
        if self.groups:
            print("\nFindings that known.list does not have, by where they come from:")
            for signature, runs in sorted(self.groups.items(), key=lambda entry: -len(entry[1])):
                print(f"\n  {len(runs)} {signature[0]}, such as {runs[0]}")
                for line in signature[1:]:
                    print(f"    {line}")
        return not self.groups


def targets_in(build: pathlib.Path) -> list[Target]:
    return [Minimal(build), ExerciserLibrary(build), ExerciserPython(build), Gateway(build)]


def run_one(harness: Harness, target: Target, fault: Fault, known: list[Known]) -> int:
    baseline = Baseline([harness.run(target, None)[0] for _ in range(3)])
    run = harness.run(target, fault)[0]
    verdict = judge(run, baseline)
    findings = Findings(harness, known, "")
    stacks = findings.stacks(target, fault, run)
    print(f"{verdict.outcome}; exit code {run.status}")
    for line in verdict.why:
        print(f"    {line}")
    print("standard error:\n" + "".join(f"    {line[:500]}\n" for line in run.errors.splitlines()))
    for what, stack in stacks:
        print(what + "\n" + "".join(f"    {name}\n" for name in stack))
    names = [name for _, stack in stacks for name in stack]
    for entry in known:
        if entry.fits(verdict.outcome, target.name, fault, names):
            print(f"known.list has it in line {entry.line}")
            return 0
    return 1 if verdict.outcome in FINDINGS else 0


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/dev", help="where the programs were built")
    parser.add_argument("--target", action="append", help="minimal, library, python or gateway; may be repeated")
    parser.add_argument("--call", action="append", help='a call of the kernel, or "allocation"; may be repeated')
    parser.add_argument("--error", action="append", help='an error, or "own" or "any" of allocations; may be repeated')
    parser.add_argument("--limit", type=int, help="how many places of each call and error are taken, of each target")
    parser.add_argument("--sample", type=float, metavar="SECONDS", help="how long it takes; nothing new begins after it")
    parser.add_argument("--seed", type=int, default=None, help="chooses what --limit and --sample take")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="runs at a time")
    parser.add_argument("--run", nargs=2, metavar=("TARGET", "FAULT"), help="this run only")
    arguments = parser.parse_args()
    begin = time.monotonic()
    build = (ROOT / arguments.build).resolve()
    options = "" if arguments.build == "build/dev" else f" --build {arguments.build}"
    targets = {target.name: target for target in targets_in(build)}
    chosen = [arguments.run[0]] if arguments.run else arguments.target or list(targets)
    for name in chosen:
        if name not in targets:
            parser.error(f"no target {name}; there are {', '.join(targets)}")
        for needed in ["tests/faults/libfaults-preload.so", *targets[name].needed()]:
            if not (build / needed).exists():
                raise SystemExit(f"faults: {build / needed} has not been built")
    known = read_known(HERE / "known.list")
    seed = random.randrange(1000000) if arguments.seed is None else arguments.seed
    chance = random.Random(seed)
    with tempfile.TemporaryDirectory(prefix="faults-") as place:
        work = pathlib.Path(place)
        harness = Harness(build, work)
        for name in chosen:
            if isinstance(target := targets[name], ExerciserPython):
                target.make_tree(work)
        if arguments.run:
            return run_one(harness, targets[chosen[0]], Fault.parse(arguments.run[1]), known)
        print(f"faults: seed {seed}", flush=True)
        findings = Findings(harness, known, options)
        baselines: dict[str, Baseline] = {}
        jobs: list[tuple[Target, Fault]] = []
        for name in chosen:
            baselines[name] = Baseline([harness.run(targets[name], None)[0] for _ in range(3)])
            of_target = limited(faults_of(harness, targets[name], arguments.call, arguments.error), arguments.limit, chance)
            jobs += [(targets[name], fault) for fault in of_target]
        jobs = in_turn(jobs, chance)
        print(f"faults: {len(jobs)} faults of {', '.join(chosen)}", flush=True)
        waiting = iter(jobs)
        done = 0

        def work_on() -> None:
            nonlocal done
            while True:
                with harness.lock:
                    over = arguments.sample is not None and time.monotonic() - begin > arguments.sample
                    job = None if over else next(waiting, None)
                    done += 0 if job is None else 1
                    if job is not None and done % 500 == 0:
                        print(f"faults: {done} of {len(jobs)} after {time.monotonic() - begin:.0f} s", flush=True)
                if job is None:
                    return
                run = harness.run(*job)[0]
                findings.take(*job, run, judge(run, baselines[job[0].name]))

        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for future in [pool.submit(work_on) for _ in range(arguments.jobs)]:
                future.result()
        clean = findings.print_table()
    print(f"\nfaults: seed {seed}, {done} of {len(jobs)} faults, {time.monotonic() - begin:.0f} s")
    return 0 if clean else 1


if __name__ == "__main__":
    sys.exit(main())
