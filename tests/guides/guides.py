"""The guides as the tests read them: their text without fenced blocks, their headings, their commands."""

import re
from pathlib import Path

root = Path(__file__).resolve().parents[2]
pages = [root / "README.md", *sorted((root / "docs").glob("*.md")), *sorted((root / "docs/fr").glob("*.md"))]
fence = re.compile(r"^( *)```(\w*)\n(.*?)^\1```$", re.MULTILINE | re.DOTALL)


def readProse(page):
    return fence.sub("", page.read_text(encoding="utf-8"))


def listCommands(page):
    """The fenced sh blocks of a page, in order."""
    blocks = fence.finditer(page.read_text(encoding="utf-8"))
    return [re.sub("^" + block[1], "", block[3], flags=re.MULTILINE) for block in blocks if block[2] == "sh"]


def listHeadings(page):
    return re.findall(r"^(#+) (.+)$", readProse(page), re.MULTILINE)
