# SPDX-License-Identifier: BSD-2-Clause
"""Tests of scripts/messages, on small trees of sources and a page."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Tuple

SCRIPT = Path(__file__).resolve().parents[2] / "scripts" / "messages"
LOGGER = 'VELMORA_FILE_SCOPE_LOGGER("keswardin.test")\n'
PAGE = "# Messages\n\n## velmora/room\n\n| Message | Level | Logger | Cause | Cure |\n|---|---|---|---|---|\n"


class Messages(unittest.TestCase):
    def setUp(self) -> None:
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.root = Path(self.directory.name)
        for folder in ("velmora/room", "examples/gateway", "docs"):
            (self.root / folder).mkdir(parents=True)
        self.page()

    def source(self, text: str) -> None:
        (self.root / "velmora/room/Foo.cpp").write_text(LOGGER + text)

    def page(self, *rows: str) -> None:
        (self.root / "docs/messages.md").write_text(PAGE + "".join(f"{row}\n" for row in rows))

    def run_script(self, *arguments: str) -> Tuple[int, str]:
        result = subprocess.run([sys.executable, str(SCRIPT), "--root", str(self.root), *arguments],
                                capture_output=True, text=True, check=False)
        return result.returncode, result.stdout + result.stderr

    def listed(self, source: str) -> str:
        """Returns the messages of a source, without their places."""
        self.source(source)
        output = self.run_script("--list")[1]
        return "\n".join(line.partition(": ")[2] for line in output.splitlines())

    def test_a_message_without_a_row_fails(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("no room"); }')
        code, output = self.run_script()
        self.assertEqual(1, code)
        self.assertIn('velmora/room/Foo.cpp:2: no row of docs/messages.md describes this message of velmora/room: '
                      'WARN keswardin.test "no room"', output)

    def test_a_message_with_a_row_passes(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("no room in " << name); }')
        self.page("| `no room in <hotel>` | WARN | keswardin.test | it is full | build |")
        self.assertEqual((0, "messages: 1 rows describe the 1 places that log at WARN and above\n"), self.run_script())

    def test_a_row_without_a_message_fails(self) -> None:
        self.page("| `no room` | WARN | keswardin.test | it is full | build |")
        self.source("")
        code, output = self.run_script()
        self.assertEqual(1, code)
        self.assertIn('docs/messages.md:7: no source logs this message with this level and logger: "no room"', output)

    def test_another_level_logger_or_room_is_no_row_of_the_message(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("no room"); }\n'
                    'const char* other = "keswardin.other";')
        for row in ("| `no room` | ERROR | keswardin.test | full | build |",
                    "| `no room` | WARN | keswardin.other | full | build |",
                    "## velmora/other\n\n| `no room` | WARN | keswardin.test | full | build |"):
            self.page(row)
            self.assertEqual(1, self.run_script()[0], row)

    def test_an_empty_cell_fails(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("no room"); }')
        self.page("| `no room` | WARN | keswardin.test | it is full | |")
        code, output = self.run_script()
        self.assertEqual(1, code)
        self.assertIn("docs/messages.md:7: a row has the cells message, level, logger, cause and cure", output)

    def test_a_logger_that_does_not_exist_fails(self) -> None:
        self.source('void f() { VELMORA_LOG_WARN("no room"); }')
        self.page("| `no room` | WARN | keswardin.tset | it is full | build |")
        self.assertIn("docs/messages.md:7: no logger has the name keswardin.tset", self.run_script()[1])

    def test_a_row_is_printed_for_each_message_without_one(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("cat | dog " << c); VELMORA_FILE_LOG_ERROR("bad"); }')
        self.page("| `bad` | ERROR | keswardin.test | evil | good |")
        self.assertEqual((0, "\n## velmora/room\n\n| `cat \\| dog <...>` | WARN | keswardin.test | | |\n"),
                         self.run_script("--rows"))

    def test_a_bar_in_a_message_is_escaped_in_its_row(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("a | b"); }')
        self.page("| `a \\| b` | WARN | keswardin.test | cause | cure |")
        self.assertEqual(0, self.run_script()[0])

    def test_a_row_may_have_a_text_for_a_placeholder(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN("no room: " << reason() << "; wait"); }')
        self.page("| `no room: it is <why>; wait` | WARN | keswardin.test | it is full | build |")
        self.assertEqual(0, self.run_script()[0])

    def test_a_message_of_placeholders_needs_a_row_of_its_own(self) -> None:
        self.source('void f() { VELMORA_FILE_LOG_WARN(a << " " << b); }')
        self.page("| `no room` | WARN | keswardin.test | it is full | build |")
        self.assertEqual(1, self.run_script()[0])
        self.page("| `<text>` | WARN | keswardin.test | it is full | build |")
        self.assertEqual(0, self.run_script()[0])

    def test_texts_are_joined_and_read_as_the_compiler_does(self) -> None:
        self.assertEqual('WARN keswardin.test - one two \\n "three" R(4) 5\'',
                         self.listed('void f() { VELMORA_FILE_LOG_WARN("one " /* no */ "two \\n"\n'
                                     '    " \\"three\\"" << R"x( R(4))x" << " 5" << \'\\\'\'); }'))

    def test_comments_and_directives_log_nothing(self) -> None:
        self.assertEqual("", self.listed('// VELMORA_FILE_LOG_WARN("a");\n/* VELMORA_FILE_LOG_WARN("b"); */\n'
                                         '#define X \\\n    VELMORA_FILE_LOG_WARN("c")\n'))

    def test_a_digit_separator_begins_no_character(self) -> None:
        self.assertEqual("WARN keswardin.test - it's",
                         self.listed("int i = 8'192; void f() { VELMORA_FILE_LOG_WARN(\"it's\"); }"))

    def test_constants_and_choices_are_resolved(self) -> None:
        self.assertEqual("WARN keswardin.test - set a.b to on\nWARN keswardin.test - set a.b to off",
                         self.listed('constexpr const char* s_szName = "a.b";\n'
                                     'void f() { VELMORA_FILE_LOG_WARN("set " << s_szName << " to " '
                                     '<< (b ? "on" : "off")); }'))

    def test_a_text_in_a_variable_is_found(self) -> None:
        self.assertEqual("ERROR any - no room for <...>",
                         self.listed('void f() { std::string strText = "no room for "; strText += name;\n'
                                     '    logger.log(ERROR_LOG_LEVEL, strText); }'))

    def test_an_exception_that_is_caught_is_a_message(self) -> None:
        self.assertEqual("ERROR keswardin.test - exception while it ends : <...>",
                         self.listed('void f() { withoutThrowing(::liveFileScopeLogger(), '
                                     '"exception while it ends", [] { end(); }); }'))

    def test_a_caught_exception_with_a_text_that_is_not_found_needs_a_row(self) -> None:
        self.assertEqual("ERROR any - <...>",
                         self.listed('void f() { withoutThrowing(&getLogger(), what(), [] { end(); }); }'))

    def test_an_exception_that_is_thrown_is_a_message(self) -> None:
        self.assertEqual("any any - no room for <...>\nany any - lost: <...>",
                         self.listed('void f() { throw Full("no room for " + name); }\n'
                                     'void g() { throw std::system_error(errno, generic_category(), "lost"); }\n'
                                     'void h() { throw BadSessionDescription("no audio"); throw; }'))

    def test_lines_below_warn_are_no_messages(self) -> None:
        self.assertEqual("", self.listed('void f() { VELMORA_FILE_LOG_INFO("a"); '
                                         'VELMORA_LOG(logger, DEBUG_LOG_LEVEL, "b"); }'))

    def test_a_macro_that_takes_a_level_logs_its_last_argument(self) -> None:
        self.assertEqual("WARN any - first\nany any - second\nany keswardin.test - third",
                         self.listed('void f() { VELMORA_LOG_PROBLEM(keeper, WARN_LOG_LEVEL, "first"); '
                                     'VELMORA_LOG(logger, levelOf(x), "second"); '
                                     'VELMORA_FILE_LOG(in_level, "third"); '
                                     'VELMORA_LOG_PROBLEM(keeper, INFO_LOG_LEVEL, "fourth"); }'))

    def test_standard_error_is_a_logger(self) -> None:
        self.assertEqual("WARN standard error - use <...>",
                         self.listed('void f() { log4cplus::helpers::getLogLog().warn("use " + name); }'))


if __name__ == "__main__":
    unittest.main()
