#!/usr/bin/env python3
"""Runs every sh block of README and guides, page by page, in a folder with pictures and scripts that they speak of.
BUILD, the first argument, holds the programs. Fails at the first line of a block that fails."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from guides import listCommands, pages, root

# Blocks that are not run here, to the letter, and why.
notRun = {
    "scripts/demo\nscripts/test\n": "the scripts themselves; scripts/test calls this test",
    """cmake -S . -B build/package -DQUILLORNE_TESTS=OFF
cmake --build build/package --parallel
(cd build/package && cpack)
sudo apt install ./build/package/quillorne_*.deb ./build/package/quillorne-tools_*.deb
sudo apt remove quillorne quillorne-tools
""": "scripts/test-packages installs the packages, and removes them, in a root of its own",
}


def makeFolder(build, folder):
    """jupiter/*.png; demo/planet; a script with its frames and a picture beside them, in folder."""
    def makeFrames(name, *options):
        maker = build / "demonstration/make_demonstration"
        subprocess.run([maker, folder / name, "--count", "12", *options], check=True, stdout=subprocess.DEVNULL)
    makeFrames("jupiter", "--format", "png")
    makeFrames("demo/planet")
    for frame in (folder / "demo/planet").glob("frame*.bmp"):
        shutil.copy(frame, folder)
    shutil.copy(folder / "jupiter/frame1.png", folder / "picture.png")
    (folder / "old.txt").write_bytes(b"Reference: frame1.bmp\r\nQuitter:\r\n")
    (folder / "script.txt").write_text("Reference: frame1.bmp\nTranslation: 10\nCompositage: sum\n"
                                       "Sourcesbmp: frame aligned 1 12\nQuitter:\n")


class Commands(unittest.TestCase):
    def testEveryBlockRunsOrIsListed(self):
        environment = dict(os.environ, PATH=f"{build}:{os.environ['PATH']}", LC_ALL="C.UTF-8")
        met, ran = set(), 0
        with tempfile.TemporaryDirectory() as name:
            seed = Path(name) / "seed"
            makeFolder(build, seed)
            for page in pages:
                folder = Path(name) / "page"
                shutil.copytree(seed, folder)
                for block in listCommands(page):
                    if block in notRun:
                        met.add(block)
                        continue
                    with self.subTest(page=str(page.relative_to(root)), block=block):
                        place = folder / "demo/planet" if "first.txt" in block else folder
                        done = subprocess.run(["bash", "-e", "-o", "pipefail", "-c", block], cwd=place, env=environment,
                                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
                        # The companion program's 1: finished, with something left out or doubtful, and named.
                        usable = (0, 1) if "quillorne-tools" in block else (0,)
                        self.assertIn(done.returncode, usable, done.stdout.decode(errors="replace"))
                        ran += 1
                shutil.rmtree(folder)
        self.assertEqual(met, set(notRun), "a block of the list is in no page any more")
        self.assertGreater(ran, 10)


if __name__ == "__main__":
    build = Path(sys.argv.pop(1)).resolve()
    unittest.main()
