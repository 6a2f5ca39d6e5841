# SPDX-License-Identifier: BSD-2-Clause

"""Tests which names and values a configuration can hold. The library's own reader is asked in InstalledModelTest."""

import random
import unittest

from velmora.infra.model.rules import are_plain, fault_of_name, fault_of_value


class RulesTest(unittest.TestCase):
    def test_a_value_may_hold_what_the_reader_of_a_line_keeps(self) -> None:
        for value in ("", "5", "a=b", "#", "a # b", '"quoted"', "'", "a\\b", "a\tb", "x;y", "ü\u2028\U0001f600", "{a}"):
            self.assertIsNone(fault_of_value(value), value)

    def test_a_value_that_would_not_stay_as_it_is_has_a_fault(self) -> None:
        for value, fault in (("a\nb", "it holds an end of a line"), ("a\rb", "it holds an end of a line"),
                             ("a\0b", "it holds a NUL"), ("a\x1bb", "it holds the control character U+001B"),
                             ("a\vb", "it holds the control character U+000B"), ("\ud800", "it holds half a surrogate pair"),
                             (" a", "it begins or ends with a blank"), ("a\t", "it begins or ends with a blank"),
                             ("a$b", 'it holds a "$" that begins no tag such as ${NAME}'),
                             ("a$", 'it holds a "$" that begins no tag such as ${NAME}'),
                             ("${a", 'it holds a "$" that begins no tag such as ${NAME}'),
                             ("${}", 'it holds a "$" that begins no tag such as ${NAME}'),
                             ("${HOME}/x", "it holds a tag, which would be replaced")):
            self.assertEqual(fault, fault_of_value(value), repr(value))

    def test_tags_are_permitted_where_they_are_wanted(self) -> None:
        self.assertIsNone(fault_of_value("${a.b}/x/${HOME}", tags=True))
        self.assertEqual('it holds a "$" that begins no tag such as ${NAME}', fault_of_value("${a}$", tags=True))

    def test_a_name_may_hold_what_the_reader_of_a_line_keeps(self) -> None:
        for name in ("a", "keswardin.exitTimeoutSec", "log4cplus.logger.my logger", "a#b", "ü", "a.\"b\""):
            self.assertIsNone(fault_of_name(name), name)

    def test_a_name_that_would_not_stay_as_it_is_has_a_fault(self) -> None:
        for name, fault in (("", "it is empty"), ("a=b", 'it holds "="'), ("a$b", 'it holds "$"'),
                            ("#a", 'it begins with "#"'), (" a", "it begins or ends with a blank"),
                            ("a\nb", "it holds an end of a line"), ("a\0", "it holds a NUL"),
                            ("a.", 'a part of it between "." is empty'), ("a..b", 'a part of it between "." is empty'),
                            ("\ufeffa", "it begins with a byte order mark")):
            self.assertEqual(fault, fault_of_name(name), repr(name))

    def test_what_is_plain_at_a_glance_has_no_fault(self) -> None:
        choice = random.Random(7)
        characters = "ab= #$.{}\n\t\r\0\ufeff\u2028\ud800\xa0ü"
        texts = ["".join(choice.choices(characters, [9] * 2 + [1] * 16, k=choice.randint(0, 5))) for _ in range(20000)]
        plain = 0
        for name, value in zip(texts, reversed(texts)):
            if are_plain(["first", name, "last"], ["", value, "x"]):
                plain += 1
                self.assertEqual((None, None), (fault_of_name(name), fault_of_value(value)), (name, value))
        self.assertGreater(plain, 1000)

    def test_no_name_is_needed_but_no_name_is_empty(self) -> None:
        self.assertTrue(are_plain([], []))
        self.assertFalse(are_plain([""], [""]))
        self.assertTrue(are_plain(["a"], [""]))


if __name__ == "__main__":
    unittest.main()
