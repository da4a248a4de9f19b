"""The report on a run, from outside: its table against what is known of the frames, its page in a browser."""

import csv
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "runs"))
from browser import open_browser
from whole_runs import make_bmp, make_header

quillorne, tools = os.environ["QUILLORNE"], os.environ["QUILLORNE_TOOLS"]
width, height = 160, 120
environment = {**os.environ, "LC_ALL": "C.UTF-8"}
nasty = '</script><img src=http://example.org/x onerror=alert(1)> "été", a'


def make_frame(x0, y0, seed, level=200):
    """A banded disc with its centre at (x0, y0), and noise."""
    source = random.Random(seed)
    rows = []
    for y in range(height):
        noise = source.randbytes(width)
        row = []
        for x in range(width):
            inside = (x - x0) ** 2 + (y - y0) ** 2 <= 30 ** 2
            value = (level * (1 - 0.4 * ((y - y0) // 7 % 2)) - (x - x0) / 2 if inside else 10) + noise[x] % 9
            row.append((int(value / 2), int(value), int(value)))
        rows.append(row)
    return make_bmp(rows)


class Frame:
    """Where the disc is and which origin the script gives; what the table has to say."""

    def __init__(self, number, offset=(0, 0), flags="", kept=True, level=200, file=True):
        self.centre = (78 + 2 * number, 66 - number)
        self.origin = (self.centre[0] - offset[0], self.centre[1] - offset[1])
        self.number, self.flags, self.kept, self.level, self.file = number, flags, kept, level, file


frames = [Frame(1, flags="reference"), Frame(2, (1, -2)), Frame(3, (-1, 1)),
          Frame(4, (40, 3), "limit jump different"),             # beyond the shifts that are tried
          Frame(5, (0, 2)), Frame(6, flags="missing", kept=False, file=False),
          Frame(7, (1, 1), "different", level=90),  # a cloud before it
          Frame(8, flags="cut", kept=False),      # left out by hand, not in the script
          Frame(9, (11, 1), "jump"), Frame(10, (1, 0)), Frame(11, (-1, 0)), Frame(12, (0, 1))]


def write_run(folder, chosen, with_table):
    """Frames, script and frames.csv; the run itself, whose console comes back."""
    folder.mkdir(parents=True, exist_ok=True)
    lines = [f"Reference: frame1.bmp {frames[0].origin[0]} {frames[0].origin[1]}", "Translation: 12 1",
             "OptiTranslation: 2", "Compositage: sum.bmp"]
    for frame in chosen:
        if frame.file:
            (folder / f"frame{frame.number}.bmp").write_bytes(make_frame(*frame.centre, frame.number, frame.level))
        if frame.flags != "cut":
            lines.append("Source: frame{0}.bmp aligned{0}.bmp {1} {2}".format(frame.number, *frame.origin))
    (folder / "script.txt").write_text("\n".join(lines) + "\nQuitter:\n")
    if with_table:
        with open(folder / "frames.csv", "w", newline="", encoding="utf-8") as file:
            table = csv.writer(file)
            table.writerow("number,source,frame,kept,sharpness,origin_x,origin_y,flags,angle".split(","))
            for frame in chosen:
                known = frame.flags if frame.flags in ("reference", "cut") else ""
                table.writerow([frame.number, f"{nasty} {frame.number}.png", f"frame{frame.number}.bmp",
                                "no" if known == "cut" else "yes", 1.5, *frame.origin, known, 0])
    return subprocess.run([quillorne, "script.txt"], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                          check=True).stdout


def report(*arguments):
    process = subprocess.run([tools, "report", *map(str, arguments)], env=environment, stdin=subprocess.DEVNULL,
                             capture_output=True, text=True, timeout=120)
    return process.returncode, process.stdout, process.stderr


def read_table(folder):
    with open(folder / "table.csv", newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


class Reports(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.base = pathlib.Path(cls.temporary.name)
        cls.folder = cls.base / "une nuit é"
        cls.console = write_run(cls.folder, frames, with_table=True)
        (cls.folder / "script.log").write_text(cls.console.decode("mac_roman"), encoding="utf-8")
        cls.status, cls.output, cls.errors = report(cls.folder)

    def test_table_says_what_is_known_of_each_frame(self):
        self.assertEqual((self.status, self.errors), (1, ""))
        header = (self.folder / "table.csv").read_text(encoding="utf-8").split("\n")[0]
        self.assertEqual(header, "number,source,result,kept,sharpness,origin_x,origin_y,shift_x,shift_y,angle,before,"
                                 "after,flags")
        rows = read_table(self.folder)
        self.assertEqual([int(row["number"]) for row in rows], [frame.number for frame in frames])
        for row, frame in zip(rows, frames):
            with self.subTest(frame=frame.number):
                self.assertEqual((row["source"], row["flags"]), (f"{nasty} {frame.number}.png", frame.flags))
                self.assertEqual(row["kept"], "yes" if frame.kept else "no")
                if not frame.kept:
                    self.assertEqual([row[name] for name in ("shift_x", "angle", "before", "after")], [""] * 4)
                    continue
                found = [int(row["origin_" + axis]) + int(row["shift_" + axis]) for axis in "xy"]
                if "limit" not in frame.flags:
                    self.assertEqual(found, list(frame.centre))
                if frame.flags == "":
                    self.assertLess(float(row["after"]), float(row["before"]) / 2)
        self.assertIn("frame 6 left out (missing)", self.output)
        self.assertIn("frame 4 doubtful (limit, jump, different)", self.output)

    def test_console_may_come_in_any_encoding(self):
        consoles = {"as it came": self.console, "with carriage returns": self.console.replace(b"\n", b"\r\n")}
        for what, console in consoles.items():
            with self.subTest(what):
                (self.base / "console").write_bytes(console)
                output = self.base / what
                output.mkdir()
                status = report(self.folder / "script.txt", "--log", self.base / "console", "-o", output)[0]
                self.assertEqual((status, read_table(output)), (1, read_table(self.folder)))

    def test_plain_run(self):
        folder = self.base / "plain"
        good = [frame for frame in frames if frame.flags in ("", "reference")]
        console = write_run(folder, good, with_table=False)
        (folder / "script.log").write_bytes(console)
        self.assertEqual(report(folder / "script.txt")[0], 0)
        rows = read_table(folder)
        self.assertEqual([(row["source"], row["flags"]) for row in rows],
                         [(f"frame{frame.number}.bmp", frame.flags) for frame in good])
        self.assertTrue(all(float(row["sharpness"]) > 0 for row in rows))

        # Half a console: the frames behind its end were not summed, whatever lies in the folder.
        (folder / "script.log").write_bytes(console[:console.index(b"Traitement de l'image 4")])
        self.assertEqual(report(folder / "script.txt", "--force")[0], 1)
        self.assertEqual([row["kept"] for row in read_table(folder)], ["yes"] * 3 + ["no"] * (len(good) - 3))

    def test_files_that_are_damaged_since_cost_only_themselves(self):
        folder = self.base / "damaged"
        good = [frame for frame in frames if frame.flags in ("", "reference")]
        (folder.parent / "damaged.log").write_bytes(write_run(folder, good, with_table=False))
        damage = {2: make_header(width, height, bits=8) + bytes(width * height), 3: b"BM", 5: make_header(-5, 7),
                  10: make_header(2 ** 31 - 1, 2 ** 31 - 1), 11: make_header(width, height, compression=1)}
        for number, content in damage.items():
            (folder / f"frame{number}.bmp").write_bytes(content)
            (folder / f"aligned{number}.bmp").write_bytes(content)
        (folder / "sumR.fit").write_bytes((folder / "sumR.fit").read_bytes()[:5000])
        self.assertEqual(report(folder / "script.txt", "--log", self.base / "damaged.log")[0], 0)
        for row in read_table(folder):
            damaged = int(row["source"][5:-4]) in damage
            self.assertEqual(row["after"] == "", damaged, row)

    def test_nothing_is_written_over_or_in_vain(self):
        before = (self.folder / "report.html").read_bytes()
        status, output, errors = report(self.folder)
        self.assertEqual((status, output), (2, ""))
        self.assertIn("--force", errors)
        self.assertEqual((self.folder / "report.html").read_bytes(), before)
        empty = self.base / "empty"
        empty.mkdir()
        for target in (empty, self.base / "nowhere", self.folder / "frame1.bmp"):
            self.assertEqual(report(target)[0], 2, target)
        self.assertEqual(list(empty.iterdir()), [])

    def test_exported_colour_file_has_no_fault(self):
        subprocess.run([tools, "export", self.folder / "sum", "-o", self.base / "colour"], env=environment,
                       capture_output=True)
        verified = subprocess.run(["fitsverify", self.base / "colour.fits"], capture_output=True, text=True)
        self.assertIn("Verification found 0 warning(s) and 0 error(s)", verified.stdout)

    def test_page_blinks_and_asks_for_nothing(self):
        page = (self.folder / "report.html").absolute().as_uri()
        with tempfile.TemporaryDirectory() as profile, open_browser(profile) as browser:
            browser.open("about:blank")
            browser.requested()  # what the browser asked for before
            browser.open(page)
            self.check_contents(browser)
            self.check_blinking(browser)
            for scheme in ("light", "dark"):
                self.check_readable(browser, scheme)
            self.assertEqual(browser.console(), [])
            self.assertEqual([url for url in browser.requested() if not url.startswith("data:")], [page])

    def check_contents(self, browser):
        shown = browser.ask("return [...document.images].map(i => i.complete && (i.naturalWidth > 0 || !i.src))")
        self.assertGreaterEqual(len(shown), 2 + 2 + 10)
        self.assertNotIn(False, shown)
        self.assertEqual(browser.ask("return document.querySelectorAll('svg .gridline').length > 0 && "
                                     "document.querySelectorAll('svg').length"), 3)
        self.assertIn(nasty, browser.ask("return document.querySelector('table').textContent"))
        first = browser.ask("return document.querySelector('h2 + ul li').textContent")
        self.assertIn(f"Frame 4: {nasty} 4.png", first)

    def check_blinking(self, browser):
        def state():
            return browser.ask("return [document.getElementById('frame').hidden ? 'reference' : 'frame', "
                               "document.querySelector('.thumbs [aria-pressed=true]').dataset.number]")

        steps = [("click", "#view", "reference", "1"), ("click", "#view", "frame", "1"),
                 ("press", "space", "reference", "1"),  # the picture has the focus: one flip, not two
                 ("click", ".thumbs [data-number='3']", "frame", "3"), ("press", "space", "reference", "3"),
                 ("click", ".thumbs [data-number='3']", "frame", "3"), ("press", "right", "frame", "4"),
                 ("press", "left", "frame", "3"), ("press", "left", "frame", "2"), ("click", "#toggle", "reference", "2"),
                 ("click", "#next", "frame", "3"), ("click", "[data-frame='9']", "frame", "9"),
                 ("click", "#previous", "frame", "7")]
        for kind, what, side, number in steps:
            getattr(browser, kind)(what)
            self.assertEqual(state(), [side, number], (kind, what))
        browser.ask("document.activeElement.blur()")
        browser.press("space")
        self.assertEqual(state(), ["reference", "7"])
        pictures = browser.ask("return [document.getElementById('frame').src !== document.getElementById('reference').src"
                               ", document.getElementById('caption').textContent]")
        self.assertEqual(pictures, [True, "The reference: frame1.bmp"])
        browser.press("b")
        seen = set()
        end = time.monotonic() + 20
        while len(seen) < 2 and time.monotonic() < end:
            seen.add(state()[0])
        browser.press("b")
        self.assertEqual(seen, {"frame", "reference"})

    def check_readable(self, browser, scheme):
        """On a phone: nothing wider than the screen, and text, in plots too, that stands out of the paper."""
        browser.command("Emulation.setDeviceMetricsOverride",
                        {"width": 360, "height": 740, "deviceScaleFactor": 2, "mobile": True})
        browser.command("Emulation.setEmulatedMedia",
                        {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.assertEqual(browser.ask("return document.documentElement.scrollWidth"), 360)
        brightness = browser.ask(
            "const level = c => c.match(/\\d+/g).slice(0, 3).reduce((sum, v) => sum + Number(v), 0) / 3;"
            "return [getComputedStyle(document.body).backgroundColor, getComputedStyle(document.body).color,"
            "getComputedStyle(document.querySelector('svg text')).fill,"
            "getComputedStyle(document.querySelector('td')).color].map(level)")
        paper, *inks = brightness
        self.assertEqual(paper < 60, scheme == "dark", brightness)
        for ink in inks:
            self.assertGreater(abs(ink - paper), 150, brightness)


if __name__ == "__main__":
    unittest.main()
