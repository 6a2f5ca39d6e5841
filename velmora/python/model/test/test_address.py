# SPDX-License-Identifier: BSD-2-Clause

"""Tests the parts of a URL, and what is refused in it."""

import unittest

from velmora.infra.model.address import Address, parse
from velmora.infra.model.failure import SourceError


def refusal(url: str) -> str:
    """Returns why a URL is refused."""
    try:
        parse(url)
    except SourceError as error:
        assert error.__suppress_context__
        return str(error)
    return "it is not refused"


PASSWORD = ("the URL holds a password or a user in front of the host; write user= into the query, and the password into "
            "the file that PGPASSFILE names (~/.pgpass) or into the service of PGSERVICEFILE that service= names")


class AddressTest(unittest.TestCase):
    def test_the_path_behind_the_host_is_absolute(self) -> None:
        for host in ("localhost", ""):
            self.assertEqual("/etc/gateways.db", parse(f"sqlite://{host}/etc/gateways.db?sets=a").path)
        self.assertEqual("/etc/gateways.db", parse("sqlite:////etc/gateways.db?sets=a").path)

    def test_sets_and_hosts_keep_their_order(self) -> None:
        address = parse("sqlite://localhost/x?sets=b,a,b&hostnames=GW2,gw1")
        self.assertEqual((("b", "a"), ("gw2", "gw1")), (address.sets, address.hostnames))

    def test_what_the_query_does_not_name_has_a_default(self) -> None:
        url = "sqlite://localhost/x?sets=a"
        self.assertEqual(Address(url, "sqlite", "localhost", "/x", ("a",), (), 5.0, None, {}), parse(url))

    def test_the_query_names_the_deadline_and_the_snapshot(self) -> None:
        address = parse("sqlite://localhost/x?sets=a&deadline=0.5&snapshot=/var/last.cfg")
        self.assertEqual((0.5, "/var/last.cfg"), (address.deadline, address.snapshot))

    def test_parts_are_decoded(self) -> None:
        address = parse("sqlite://localhost/a%20b%3Fc?sets=a%2Cb,c")
        self.assertEqual(("/a b?c", ("a,b", "c")), (address.path, address.sets))

    def test_postgresql_takes_the_options_of_its_library(self) -> None:
        address = parse("postgresql://db.example/gateways?sets=a&service=gw&user=reader&port=5433")
        self.assertEqual(("db.example", "gateways", {"service": "gw", "user": "reader", "port": "5433"}),
                         (address.host, address.path, address.options))

    def test_what_is_read_is_named_without_how_it_is_reached(self) -> None:
        address = parse("postgresql://db/my%20gateways?sets=a%2Cb,c&port=5433&user=gw&deadline=1&snapshot=/x")
        self.assertEqual("postgresql://db/my%20gateways?sets=a%2Cb,c&hostnames=gw1,gw2&port=5433",
                         address.subject(("gw1", "gw2")))

    def test_a_password_is_refused_and_not_repeated(self) -> None:
        for url, shown in (
                ("postgresql://gw:hunter2@db/x?sets=a", "postgresql://gw:***@db/x?sets=a"),
                ("postgresql://gw@db/x?sets=a", "postgresql://gw@db/x?sets=a"),
                ("postgresql://db/x?sets=a&password=hunter2", "postgresql://db/x?sets=a&password=***"),
                ("postgresql://db/x?p%61ssword=hunter2", "postgresql://db/x?p%61ssword=***"),
                ("postgresql://db/x?SSLPASSWORD=hunter2", "postgresql://db/x?SSLPASSWORD=***"),
                ("sqlite://localhost/x?password=hunter2", "sqlite://localhost/x?password=***")):
            self.assertEqual(f"cannot read the configuration from {shown}: {PASSWORD}", refusal(url))

    def test_what_is_wrong_is_named_with_what_to_write(self) -> None:
        for url, reason in (
                ("gateways.db", "it is no URL of a database; write one such as "
                                "sqlite://localhost/etc/gateways.db?sets=common"),
                ("mysql://db/x?sets=a", 'the scheme "mysql" is unknown; write sqlite:// or postgresql://'),
                ("sqlite://localhost/x", "it names no set; add sets= to the query, with one name or more"),
                ("sqlite://db.example/etc/x?sets=a", "an SQLite file is on this machine, not on db.example; "
                                                     "write sqlite://localhost/etc/x"),
                ("sqlite://localhost/x?sets=", "sets= is empty; write what it stands for, or remove it"),
                ("sqlite://localhost/x?sets=a,,b", "sets= has an empty element; "
                                                   "write names with one comma between them"),
                ("sqlite://localhost/x?sets=a&sets=b", "the query holds sets= twice; write it once"),
                ("sqlite://localhost/x?sets=a&user=b", 'the query holds an unknown "user"; '
                                                       "use deadline, hostnames, sets, snapshot"),
                ("sqlite://localhost/x?sets", 'the query holds an unknown "sets"; '
                                              "use deadline, hostnames, sets, snapshot"),
                ("sqlite://localhost/x?sets=a&deadline=0", "deadline=0 is no number of seconds up to 3600; "
                                                           "write one such as deadline=5"),
                ("sqlite://localhost/x?sets=a&deadline=nan", "deadline=nan is no number of seconds up to 3600; "
                                                             "write one such as deadline=5"),
                ("sqlite://localhost/x?sets=a&snapshot=last", "snapshot=last is not absolute; "
                                                              "write a path that begins with /"),
                ("sqlite://localhost/x%00y?sets=a", "the path holds a NUL; correct the URL"),
                ("sqlite://localhost/x?sets=%ff", "sets= is no UTF-8 behind its percent signs; correct the URL"),
                ("postgresql://db/x?sets=a&host=b", "it names the host twice; "
                                                    "remove host= from the query, or the host in front of the path")):
            self.assertEqual(f"cannot read the configuration from {url}: {reason}", refusal(url))


if __name__ == "__main__":
    unittest.main()
