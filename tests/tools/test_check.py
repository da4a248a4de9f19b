"""check of quillorne-tools from outside: each mistake that a script can hold, and what is said about it."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "runs"))

from whole_runs import *

tools = os.environ.get("QUILLORNE_TOOLS", "")
packaging = pathlib.Path(__file__).resolve().parents[2] / "packaging"

picture = make_bmp(make_texture(96, 72))
small = make_bmp(make_texture(40, 30))
pictures = {"ref.bmp": picture, "a.bmp": picture, "b.bmp": picture, "small.bmp": small, "pad001.bmp": picture,
            "pad002.bmp": picture, "pad010.bmp": picture, "CASE.BMP": picture, "other.png": b"\x89PNG\r\n\x1a\n" + bytes(60),
            "png.bmp": b"\x89PNG\r\n\x1a\n" + bytes(60), "fits.bmp": b"SIMPLE  =" + bytes(60), "text.bmp": b"no picture",
            "packed.bmp": make_header(96, 72, compression=1), "deep.bmp": make_header(96, 72, bits=32),
            "grey.bmp": make_header(96, 72, bits=8) + bytes(9999), "cut.bmp": picture[:5000],
            "none.bmp": make_header(0, 72)}
good = "Reference: ref.bmp\nSource: a.bmp x.bmp\n"  # two lines, so that what is tried stands in line 3

# What is tried behind the good lines; each finding: line, severity, words of its text. Nothing else may be said.
cases = [
    ("Rem: fine\nAngle: -2 2 0.1\nTranslation: 20, 1\nCompositage: sum.bmp\nDimension libre\nQuitter:\n", []),
    # words
    ("Translaton: 3\n", [(3, "error", "did you mean Translation?")]),
    ("TRANSLATION 3\n", [(3, "error", "did you mean Translation?")]),
    ("Souce: b.bmp y.bmp\n", [(3, "error", "did you mean Source?")]),
    ("Whatever: 3\n", [(3, "error", "Whatever is an unknown command")]),
    ("\tTranslation: 3\n", [(3, "error", "tab")]),
    ("Translation=3\n", [(3, "error", "put a colon or a blank behind Translation")]),
    ("Quitter\n", [(3, "error", "write Quitter: with a colon")]),
    ("Rem\n", [(3, "warning", "write Rem: with a colon")]),
    ("Quitter", []),  # a last line without a line end is known
    ("# one\n// two\n  ; three\n", [(3, "warning", "comments with #"), (4, "warning", "with //"), (5, "warning", "with ;")]),
    # arguments
    ("Source\n", [(3, "error", "alone on its line")]),
    ("Source: b.bmp\n", [(3, "error", "the result file is missing; nothing is added")]),
    ("Sourcesbmp: b y 1\n", [(3, "error", "nothing is added")]),
    ("Bloc: 10 4 2\n", [(3, "error", "the step is missing")]),
    ("Bloc: 10\n", [(3, "error", "single pixels that do not move")]),
    ("Angle: -2 2\n", [(3, "error", "one radian")]),
    ("Compositage: \n", [(3, "error", "name of the sum is missing")]),
    ("Translation: 10px\n", [(3, "error", "the program takes it as 10")]),
    ("Translation: 2.5\n", [(3, "error", "whole number, the program takes it as 2")]),
    ("Translation: ten\n", [(3, "error", "takes it as 0")]),
    ("Angle: -1,5 1,5 0,1\n", [(3, "error", "with a point: -1.5 1.5 0.1")]),
    ("Bloc: 10 4 2 0,5\n", [(3, "error", "with a point: 10 4 2 0.5"), (3, "warning", "not above 0")]),
    ("Angle: -2,2,0.1\n", []),
    ("Source: my picture.bmp y.bmp\n", [(3, "error", "neither blanks nor commas"), (3, "error", "my cannot be opened")]),
    ("Source : b.bmp y.bmp\n", [(3, "error", "second colon"), (3, "error", '"y.bmp" is no number'),
                                (3, "error", ": cannot be opened")]),
    ("Source: b.bmp y.bmp 1 2 3\n", [(3, "warning", 'no argument "3"')]),
    # pictures
    ("Sourcesbmp: pad y 1 2\n", [(3, "error", "pad001.bmp exists; number frames without leading zeros, or let `prepare`")]),
    ("Source: case.bmp y.bmp\n", [(3, "error", "CASE.BMP exists; capitals")]),
    ("Source: other.bmp y.bmp\n", [(3, "error", "other.png exists")]),
    ("Sourcesbmp: gone y 1 500\n", [(3, "error", "with 499 others")]),
    ("Sourcesbmp: a.bmp y 1 1\n", [(3, "error", "without .bmp")]),
    ("Source: png.bmp y.bmp\n", [(3, "error", "png.bmp is a PNG file")]),
    ("Source: fits.bmp y.bmp\n", [(3, "error", "is a FITS file")]),
    ("Source: text.bmp y.bmp\n", [(3, "error", "no BMP file")]),
    ("Source: packed.bmp y.bmp\n", [(3, "error", "compressed")]),
    ("Source: deep.bmp y.bmp\n", [(3, "error", "32 bits")]),
    ("Source: grey.bmp y.bmp\n", [(3, "error", "would be black")]),
    ("Source: cut.bmp y.bmp\n", [(3, "warning", "cut off")]),
    ("Source: none.bmp y.bmp\n", [(3, "error", "damaged")]),
    ("Source: small.bmp y.bmp\n", [(3, "warning", "is 40 x 30, but the reference 96 x 72")]),
    ("Source: sub y.bmp\n", [(3, "error", "cannot be read")]),
    ("Source: b.bmp y.bmp 200 10\n", [(3, "error", "origin 200 10 lies outside")]),
    ("Reference: b.bmp\n", [(3, "warning", "stands in line 1 already")]),
    ("Sourcesbmp: a y 1 29999\n", [(3, "error", "more than 29999")]),
    ("Sourcesbmp: a y 0 -1\n", []),
    # results
    ("Source: b.bmp b.bmp\n", [(3, "error", "overwrite the source of line 3")]),
    ("Source: b.bmp sub/../a.bmp\n", [(3, "error", "overwrite the source of line 2")]),
    ("Source: b.bmp ref.bmp\n", [(3, "error", "overwrite the reference")]),
    ("Source: b.bmp ./x.bmp\n", [(3, "error", "written already by line 2")]),
    ("Source: b.bmp script.txt\n", [(3, "error", "the script itself")]),
    ("Source: b.bmp nowhere/y.bmp\n", [(3, "error", "nowhere does not exist")]),
    ("Compositage: ./out/sum\n", [(3, "error", "becomes R.fit, V.fit, B.fit and .bmp")]),
    ("Compositage: sum.v2.bmp\n", [(3, "warning", "becomes sumR.fit")]),
    ("Compositage: a\n", [(3, "error", "a.bmp would overwrite the source")]),
    ("Compositage: nowhere/sum\n", [(3, "error", "nowhere does not exist")]),
    # settings
    ("Translation: 40\n", [(3, "warning", "beyond half of the picture")]),
    ("Translation: 20 4\n", [(3, "warning", "a shift of 0 is never tried")]),
    ("Translation: 20 5\n", []),
    ("Angle: -1.5 1.5 0.1\nTranslation: 20 3\n", [(4, "warning", "a shift of 0 is never tried")]),
    ("Translation: 20 0\n", [(3, "warning", "replaced by 1")]),
    ("Translation: -5\n", [(3, "error", "negative")]),
    ("OptiTranslation: 12\n", [(3, "warning", "a window of 8 x 6")]),
    ("OptiTranslation: 90\n", [(3, "error", "a window of 1 x 0")]),
    ("Angle: 0 0.5 inf\n", []),
    ("Angle: inf 0.5 0.1\n", [(3, "error", "no usable number"), (3, "error", "reversed")]),
    ("Angle: 2 -2 0.1\n", [(3, "error", "write -2 2")]),
    ("Angle: -2.5 2.5 0.1\n", [(3, "warning", "the last degree, 2.5")]),
    ("Angle: -2 2 0\n", [(3, "error", "the run ends")]),
    ("Angle: -2 2 -1\n", [(3, "error", "one radian")]),
    ("Angle: 2 2 0.1\n", [(3, "warning", "no angle is searched")]),
    ("Bloc: 10 4 2 0\n", [(3, "warning", "not above 0")]),
    ("Bloc: 10 4 2 0.33\n", [(3, "warning", "several times longer")]),
    ("Bloc: 10 40 4 0.5\n", [(3, "error", "no block fits")]),
    ("Bloc: 0 4 2 0.5\n", [(3, "warning", "nothing is bent")]),
    ("Bloc: 10 4 2 0.5\nSource: ref.bmp y.bmp\n", [(3, "warning", "onto a single frame")]),
    # the text
    ("Rem: " + "x" * 1000 + "\n", [(3, "error", "longer than 999")]),
    ("Rem: one\r\nSource: b.bmp y.bmp\r\n", [(3, "error", "2 lines end with a carriage return")]),
    ("Trans\0lation: 3\n", [(3, "error", "NUL")]),
]


class Check(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        (self.folder / "sub").mkdir()
        write_files(self.folder, pictures)

    def check(self, script, *arguments):
        (self.folder / "script.txt").write_bytes(script if isinstance(script, bytes) else script.encode())
        done = subprocess.run([tools, "check", "script.txt", *arguments], cwd=self.folder, capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=60, env={**os.environ, "LC_ALL": "C.UTF-8"})
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def compare(self, script, expected):
        status, output, notices = self.check(script)
        found = [(int(line), kind, text)
                 for line, kind, text in re.findall(r"^script.txt:(\d+): (error|warning): (.*)$", output, re.M)]
        said = f"{script[-120:]!r} gave\n{output}{notices}"
        self.assertEqual(len(found), len(expected), said)
        for line, kind, words in expected:
            self.assertTrue(any(f[:2] == (line, kind) and words in f[2] for f in found), f"{words!r}: {said}")
        self.assertEqual(status, 1 if any(kind == "error" for _, kind, _ in expected) else 0, said)

    def test_each_mistake_is_found_and_nothing_else(self):
        for tried, expected in cases:
            with self.subTest(tried[:60]):
                self.compare(good + tried, expected)
        self.compare("\ufeff" + good, [(1, "error", "byte-order mark"), (1, "error", "no reference")])
        self.compare("Reference: gone.bmp\n", [(1, "error", "gone.bmp cannot be opened"), (1, "error", "no picture")])
        self.compare("Reference: ref.bmp 100 5\nSource: a.bmp x.bmp\n", [(1, "error", "origin 100 5 lies outside")])

    def test_unknown_words_are_those_of_the_program(self):
        script = "\n".join([good] + [tried.rstrip("\n") for tried, _ in cases if len(tried) < 900 and "9999" not in tried])
        script = re.sub("Source.*|Reference.*|.*Angle.*|Bloc.*|Compos.*", "", script) + "\nReference: gone.bmp\n"
        (self.folder / "script.txt").write_bytes(script.encode())
        console = subprocess.run([*program, "script.txt"], cwd=self.folder, capture_output=True, input=b"\n").stdout
        unknown = {int(n) for n in re.findall(rb"Commande inconnue ligne (\d+)", console)}
        _, output, _ = self.check(script)
        said = {int(n) for n in re.findall(r":(\d+): \w+: .*(?:unknown|alone on|NUL)", output)}
        self.assertGreater(len(unknown), 8)
        self.assertEqual(said, unknown)

    def test_good_scripts(self):
        for number in range(1, 13):
            (self.folder / f"frame{number}.bmp").write_bytes(picture)
        self.compare((packaging / "stars.txt").read_text(), [])
        self.compare((packaging / "planet.txt").read_text(), [(7, "warning", "onto a single frame")])
        status, output, _ = self.check((packaging / "stars.txt").read_text())
        subprocess.run([*program, "script.txt"], cwd=self.folder, capture_output=True, check=True)
        written = sum(file.stat().st_size for pattern in ("aligned*", "sum*") for file in self.folder.glob(pattern))
        self.assertIn(f"12 pictures of 96 x 72: {written / 1000:.0f} kB of disk", output)
        self.assertEqual(subprocess.run([tools, "check", self.folder / "gone"], capture_output=True).returncode, 2)

    def test_fix_mends_what_is_mechanical(self):
        script = (b"\xef\xbb\xbfREFERENCE : ref.bmp\r\n# stars\r\n\tTranslaton:\t3\r\nAngle -1,5 1,5 0,1\r\n"
                  b"Whatever 3\r\nSourcesbmp: pad y 1 2\r\nBloc=10 4 2 0.5\r\nTranslation: 20,1\r\nQuitter")
        mended = (b"Reference: ref.bmp\nRem: stars\nTranslation: 3\nAngle: -1.5 1.5 0.1\nWhatever 3\n"
                  b"Source: pad001.bmp y1.bmp\nSource: pad002.bmp y2.bmp\nBloc:10 4 2 0.5\nTranslation: 20,1\nQuitter:\n")
        status, output, _ = self.check(script, "--fix", "mended.txt")
        self.assertEqual((self.folder / "mended.txt").read_bytes(), mended)
        self.assertEqual(status, 1)
        self.assertIn("script.txt:3: mended: Translaton changed to Translation", output)
        self.assertIn("mended.txt:5: error: Whatever is an unknown command", output)
        self.assertEqual(output.count(": error:"), 1)
        status, _, notices = self.check(script, "--fix", "mended.txt")
        self.assertEqual((status, (self.folder / "mended.txt").read_bytes()), (2, mended))
        self.assertIn("mended.txt exists already", notices)


if __name__ == "__main__":
    unittest.main()
