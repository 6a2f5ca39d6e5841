# SPDX-License-Identifier: BSD-2-Clause
"""Checks that each link among the documents leads to a file, and to a heading if it names one."""

import re
import unittest
from pathlib import Path
from typing import Iterator, Set, Tuple

ROOT = Path(__file__).resolve().parents[2]
FOLDERS = ("docs", "examples", "tests", "tools", "velmora")


def documents() -> Iterator[Path]:
    yield from ROOT.glob("*.md")
    for folder in FOLDERS:
        yield from (ROOT / folder).rglob("*.md")


def text_of(path: Path) -> str:
    """Returns a document without its blocks of code."""
    return re.sub(r"^```.*?^```", "", path.read_text(), flags=re.MULTILINE | re.DOTALL)


def anchors(path: Path) -> Set[str]:
    """Returns the anchors of the headings, as readers of Markdown make them."""
    headings = re.findall(r"^#+ (.*)$", text_of(path), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def links(path: Path) -> Iterator[Tuple[str, str]]:
    """Yields the file and the anchor of each link that is no address of the web."""
    for target in re.findall(r"\]\(([^)\s]+)\)", text_of(path)):
        if not re.match(r"[a-z]+:", target):
            name, _, anchor = target.partition("#")
            yield name, anchor


class Links(unittest.TestCase):
    def test_each_link_leads_somewhere(self) -> None:
        count = 0
        for document in documents():
            for name, anchor in links(document):
                count += 1
                target = (document.parent / name).resolve() if name else document
                with self.subTest(document=document.relative_to(ROOT).as_posix(), link=f"{name}#{anchor}"):
                    self.assertTrue(target.exists())
                    if anchor:
                        self.assertIn(anchor, anchors(target))
        self.assertGreater(count, 50)


if __name__ == "__main__":
    unittest.main()
