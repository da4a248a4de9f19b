#!/usr/bin/env python3
"""French pages against the English ones they were made from, and every link of every page. With --stamp PAGE... writes
into French pages that they have been brought up to date with their sources."""

import hashlib
import re
import sys
import unittest
from pathlib import Path

from guides import fence, listCommands, listHeadings, pages, readProse, root

translated = ["README", "choosing", "running", "script", "files"]
stampLine = re.compile(r"^<!-- source: (\S+) sha256:([0-9a-f]*) -->$")


def readStamp(page):
    """The source that a French page names, and the digest of what it was made from."""
    stamp = stampLine.match(page.read_text(encoding="utf-8").split("\n", 1)[0])
    if stamp is None:
        raise AssertionError(f"{page}: the first line does not say <!-- source: ... sha256:... -->")
    return (page.parent / stamp[1]).resolve(), stamp[2]


def digest(page):
    return hashlib.sha256(page.read_bytes()).hexdigest()


def stampPage(page):
    source, old = readStamp(page)
    text = page.read_text(encoding="utf-8")
    page.write_text(text.replace(f"sha256:{old}", f"sha256:{digest(source)}", 1), encoding="utf-8")


def makeAnchor(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


class Guides(unittest.TestCase):
    def testFrenchPagesAreAsNewAsTheirSources(self):
        for name in translated:
            with self.subTest(page=name):
                page = root / "docs/fr" / f"{name}.md"
                source, stamped = readStamp(page)
                self.assertEqual(source, root / ("README.md" if name == "README" else f"docs/{name}.md"))
                self.assertEqual(stamped, digest(source), f"{source.name} has changed: translate what is new in "
                                 f"{page}, then tests/guides/test_guides.py --stamp {page.relative_to(root)}")
                self.assertEqual([level for level, _ in listHeadings(page)], [level for level, _ in listHeadings(source)])
                self.assertEqual(len(fence.findall(page.read_text())), len(fence.findall(source.read_text())), "blocks")
                self.assertEqual(len(listCommands(page)), len(listCommands(source)), "blocks of commands")

    def testLinksLeadSomewhere(self):
        found = 0
        for page in pages:
            for link in re.findall(r"\]\(([^)\s]+)\)", readProse(page)):
                if link.startswith(("http:", "https:")):
                    continue
                found += 1
                path, _, anchor = link.partition("#")
                target = (page.parent / path).resolve() if path else page
                with self.subTest(page=page.name, link=link):
                    self.assertTrue(target.exists())
                    if anchor:
                        self.assertIn(anchor, [makeAnchor(title) for _, title in listHeadings(target)])
        self.assertGreater(found, 30)


if __name__ == "__main__":
    if sys.argv[1:2] == ["--stamp"]:
        for name in sys.argv[2:]:
            stampPage(Path(name).resolve())
    else:
        unittest.main()
