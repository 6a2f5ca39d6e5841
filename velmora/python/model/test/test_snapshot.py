# SPDX-License-Identifier: BSD-2-Clause

"""Tests the file from which a program starts while its database is away."""

import os
import re
import signal
import stat
import subprocess
import sys
import unittest

from support import ModelTest, read, run
from velmora.infra.model.store import Change

GET = """
import sys
from velmora.infra.ConfigPropertiesModel import getPropertyNameValuesForGivenSetsAndHostnames as get
print(get(sys.argv[1]))
"""


def fill(change: Change) -> None:
    """Makes a set of two values."""
    change.create_set("a")
    change.set("a", "x", "1 = # 2")
    change.set("a", "y", "")


class SnapshotTest(ModelTest):
    def setUp(self) -> None:
        super().setUp()
        self.shop = self.store(fill)
        self.snapshot = self.folder / "last.cfg"
        self.query = f"sets=a&hostnames=gw1&snapshot={self.snapshot}"

    def away(self) -> str:
        """Takes the database away, and returns the beginning of the text about it."""
        self.file.unlink(missing_ok=True)
        return (f"cannot read the configuration from {self.url(self.query)}: {self.file}: No such file or directory; ")

    def test_a_good_read_is_kept_for_its_user_alone(self) -> None:
        self.addCleanup(os.umask, os.umask(0))
        read(self.url(self.query))
        self.assertEqual(0o600, stat.S_IMODE(self.snapshot.stat().st_mode))
        self.assertRegex(self.snapshot.read_text(),
                         f"^# velmora snapshot of sqlite://localhost{self.file}\\?sets=a&hostnames=gw1\n"
                         r"# 20\d\d-\d\d-\d\dT\d\d:\d\d:\d\dZ, parameters: 2" "\nx=1 = # 2\ny=\n$")
        self.assertEqual({"gateways.db", "last.cfg"}, {path.name for path in self.folder.iterdir()})

    def test_the_program_starts_from_it_with_a_warning_while_the_database_is_away(self) -> None:
        read(self.url(self.query))
        moment = re.search(r"20\S+Z", self.snapshot.read_text())
        assert moment is not None
        away = self.away()
        done = run(GET, self.url(self.query))
        self.assertEqual("", done.stderr)
        self.assertEqual(f"WARN - {away}correct the path, or make the file with velmora-config init; the snapshot "
                         f"{self.snapshot} of {moment.group()}, which is N s old, takes its place\n"
                         "[('x', '1 = # 2'), ('y', '')]\n", re.sub(r"is \d+ s old", "is N s old", done.stdout))

    def test_its_age_is_that_of_the_read(self) -> None:
        read(self.url(self.query))
        self.away()
        for ago, age in ((5, "5 s"), (125, "2 min 5 s"), (7500, "2 h 5 min"), (180_000, "2 d 2 h"), (-3000, "0 s")):
            done = run(f"""
                import datetime, sys
                from velmora.infra.model import snapshot
                class Clock(datetime.datetime):
                    @classmethod
                    def now(cls, zone): return found.moment + datetime.timedelta(seconds={ago})
                found = snapshot.read(sys.argv[1], sys.argv[2])
                snapshot.datetime = Clock
                print(found.age())
            """, str(self.snapshot), f"sqlite://localhost{self.file}?sets=a&hostnames=gw1")
            self.assertEqual((age + "\n", ""), (done.stdout, done.stderr))

    def test_it_is_used_whether_or_not_the_full_name_of_the_machine_is_found(self) -> None:
        script = "import socket\nsocket.gethostname = lambda: 'gw1'\n"
        query = f"sets=a&snapshot={self.snapshot}"
        found = run(script + "socket.getaddrinfo = lambda *_, **__: [(0, 0, 0, 'gw1.example', ())]\n" + GET,
                    self.url(query))
        self.away()
        lost = run(script + "def fail(*_, **__): raise socket.gaierror(socket.EAI_AGAIN, 'try later')\n"
                   "socket.getaddrinfo = fail\n" + GET, self.url(query))
        self.assertEqual((found.stdout, ""), (lost.stdout.splitlines(True)[-1], lost.stderr))

    def test_what_the_database_answers_is_never_hidden_by_it(self) -> None:
        read(self.url(self.query))
        with self.shop.change() as change:
            change.create_set("b")
        query = self.query.replace("sets=a", "sets=a,c")
        self.assertEqual('there is no set "c"; correct sets= in the URL, or make the set with velmora-config',
                         self.fault(query))

    def test_one_of_another_url_is_not_used(self) -> None:
        read(self.url(self.query))
        away = self.away()
        old = f"sqlite://localhost{self.file}?sets=a&hostnames=gw1"
        self.query = self.query.replace("sets=a", "sets=b")
        away = away.replace("sets=a", "sets=b")
        self.assertEqual(f"{away.rstrip('; ')}; and the snapshot {self.snapshot} cannot take its place: it is one of {old}; "
                         "correct the path, or make the file with velmora-config init",
                         self.refusal(lambda: read(self.url(self.query))))

    def test_one_that_cannot_be_used_is_named(self) -> None:
        read(self.url(self.query))
        content = self.snapshot.read_text()
        away = self.away().rstrip("; ")

        def refused() -> str:
            text = self.refusal(lambda: read(self.url(self.query)))
            beginning = f"{away}; and the snapshot {self.snapshot} cannot take its place: "
            end = "; correct the path, or make the file with velmora-config init"
            self.assertEqual((beginning, end), (text[:len(beginning)], text[-len(end):]))
            return text[len(beginning):-len(end)]
        for text, reason in (("", "it is no snapshot"), ("x=1\n", "it is no snapshot"),
                             (content[:-3], "it does not hold its 2 parameters"),
                             (content + "z=1\n", "it does not hold its 2 parameters"),
                             (content.replace("y=", "=y"), "the parameter name '' cannot be in a configuration: "
                                                           "it is empty")):
            self.snapshot.write_text(text)
            self.assertEqual(reason, refused())
        self.snapshot.write_bytes(b"\xff")
        self.assertEqual("it is no UTF-8", refused())
        self.snapshot.write_text(content)
        self.snapshot.chmod(0o620)
        self.assertEqual("others than root and the user of this process may write to it", refused())
        self.snapshot.unlink()
        self.assertEqual("No such file or directory", refused())
        os.mkfifo(self.snapshot, 0o600)
        self.assertEqual("it is no regular file", refused())
        self.snapshot.unlink()
        self.snapshot.symlink_to("/etc/hostname")
        self.assertEqual("Too many levels of symbolic links", refused())

    def test_one_that_cannot_be_written_is_a_warning(self) -> None:
        query = self.query.replace("/last.cfg", "/nowhere/last.cfg")
        done = run(GET, self.url(query))
        self.assertEqual((f"WARN - cannot write the snapshot {self.folder}/nowhere/last.cfg of {self.url(query)}: No such file "
                          "or directory; let the user of this process write to its directory: without a new snapshot, the "
                          "next start has the parameters of the last one or none while the database is away\n"
                          "[('x', '1 = # 2'), ('y', '')]\n", ""), (done.stdout, done.stderr))

    def test_the_former_one_stays_if_the_disk_is_full(self) -> None:
        read(self.url(self.query))
        content = self.snapshot.read_text()
        done = run("import errno, os\ndef fail(_): raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC))\n"
                   "os.fsync = fail\n" + GET, self.url(self.query))
        self.assertIn("No space left on device", done.stdout)
        self.assertEqual((content, {"gateways.db", "last.cfg"}),
                         (self.snapshot.read_text(), {path.name for path in self.folder.iterdir()}))

    def test_a_disk_that_does_not_answer_holds_up_no_start(self) -> None:
        query = self.query + "&deadline=2"
        done = run("import os, time\nos.fsync = lambda _: time.sleep(30)\n" + GET, self.url(query))
        self.assertIn("the disk does not answer within 2 s", done.stdout)
        self.assertEqual("[('x', '1 = # 2'), ('y', '')]", done.stdout.splitlines()[-1])

    def test_a_program_that_is_killed_while_it_writes_leaves_the_former_one(self) -> None:
        read(self.url(self.query))
        content = self.snapshot.read_text()
        writer = subprocess.Popen(
            [sys.executable, "-c", "import os, time\ndef wait(_): print(flush=True); time.sleep(60)\nos.fsync = wait\n" + GET,
             self.url(self.query + "&deadline=60")], stdout=subprocess.PIPE)
        assert writer.stdout is not None
        writer.stdout.readline()
        writer.send_signal(signal.SIGKILL)
        writer.communicate()
        self.assertEqual(content, self.snapshot.read_text())


if __name__ == "__main__":
    unittest.main()
