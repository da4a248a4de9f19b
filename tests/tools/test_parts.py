"""part, merge and run of quillorne-tools from outside: the same bytes as the program's own run, whatever happens."""

import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "runs"))

from random_scripts import make_case, make_picture
from whole_runs import *

tools = os.environ.get("QUILLORNE_TOOLS", "")
random_scripts = int(os.environ.get("QUILLORNE_RANDOM_SCRIPTS", "25"))  # more by hand
kills = int(os.environ.get("QUILLORNE_KILLS", "12"))

rows = make_texture(48, 36)
reference = make_bmp(rows)
moved = [make_bmp(shift_rows(rows, dx, dy, (9, 9, 9))) for dx, dy in ((3, -2), (1, 1), (-4, 0), (2, 5))]
usual_files = {"ref.bmp": reference, **{f"f{i}.bmp": picture for i, picture in enumerate(moved)}}
usual_script = (b"Reference ref.bmp\nOptiTranslation 1\nCompositage sum\n" +
                b"".join(b"Source f%i.bmp a%i.bmp\n" % (i % 4, i) for i in range(10)) + b"Quitter:\n")
letters = ((b"autoris\x8ee", "autorisée"), (b"\x90tre", "être"), (b"m\x90me", "même"), (b"\x88 traiter", "à traiter"))


def to_utf8(console):
    for raw, text in letters:
        console = console.replace(raw, text.encode())
    return console


class Folder:
    """A scratch folder with a script and its pictures, in which the tools are called."""

    def __init__(self, script=usual_script, files=usual_files):
        self.temporary = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.temporary.name)
        self.files = {"script": script, **files}
        write_files(self.path, self.files)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.temporary.cleanup()

    def call(self, *arguments, **options):
        return subprocess.run([tools, *map(str, arguments)], cwd=self.path, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=300, **options)

    def left(self):
        return {name: content for name, content in read_files(self.path).items() if self.files.get(name) != content}


def read_sums(content):
    """Header cards and the four planes, top row first, of a file of exact sums."""
    cards = {}
    for at in range(0, len(content), 80):
        card = content[at:at + 80].decode()
        if card.rstrip() == "END":
            break
        cards[card[:8].rstrip()] = card[10:].split("/")[0].strip()
    width, height = int(cards["NAXIS1"]), int(cards["NAXIS2"])
    start = (at // 2880 + 1) * 2880
    values = struct.unpack(f">{4 * width * height}i", content[start:start + 16 * width * height])
    planes = [values[p * width * height:(p + 1) * width * height] for p in range(4)]
    return cards, planes


class SameBytes(unittest.TestCase):
    def check_run(self, folder, plain, what):
        left = folder.left()
        self.assertEqual(without_times(left.pop("script.log")), to_utf8(plain.console), what)
        self.assert_same(left, plain, what)

    def assert_same(self, left, plain, what):
        left = {name: content for name, content in left.items()
                if not name.endswith((".sums.fit", ".log")) and "part" not in name}
        self.assertEqual(sorted(left), sorted(plain.files), what)
        for name, content in plain.files.items():
            self.assertEqual(left[name], content, f"{what}: {name}")

    def test_random_scripts(self):
        for seed in range(random_scripts):
            script, files, count = make_case(seed)
            plain = run(script, files)
            for processes in (1, 2, 5):
                with Folder(script, files) as folder:
                    done = folder.call("run", "script", "-j", processes)
                    self.assertIn(done.returncode, (0, 1), (seed, done.stderr))
                    self.check_run(folder, plain, f"seed {seed}, {processes} processes")
            with Folder(script, files) as folder:
                self.merge_slices(folder, plain, seed, count)

    def merge_slices(self, folder, plain, seed, count):
        """Cut anywhere, in any order, some of the parts merged before."""
        source = random.Random(seed)
        cuts = sorted({0, count, *(source.randint(0, count) for _ in range(source.randint(0, 4)))})
        parts = []
        for first, last in source.sample(list(zip(cuts, cuts[1:])), len(cuts) - 1):
            parts.append(f"part{first}.fit")
            done = folder.call("part", "script", "--entries", f"{first + 1}-{last}", "-o", parts[-1])
            self.assertIn(done.returncode, (0, 1), (seed, done.stderr))
        while len(parts) > 1 and source.random() < 0.7:
            source.shuffle(parts)
            chosen, parts = parts[:2], parts[2:] + [f"part-{len(parts)}.fit"]
            self.assertEqual(folder.call("merge", "script", *chosen, "-o", parts[-1]).returncode, 0)
        source.shuffle(parts)
        done = folder.call("merge", "script", *parts)
        self.assertIn(done.returncode, (0, 1), (seed, done.stderr))
        self.assertEqual(without_times(done.stdout), plain.console, f"seed {seed}, merged")
        self.assert_same(folder.left(), plain, f"seed {seed}, merged")

    def test_exact_sums(self):
        """Beyond 127 images, too, where the channel files are scaled."""
        with Folder(b"Reference ref.bmp\nOptiTranslation 1\nCompositage sum.dir/x\nSource gone.bmp g.bmp\n" +
                    b"".join(b"Source f0.bmp a%i.bmp\n" % i for i in range(130)) + b"Quitter:\n") as folder:
            self.assertEqual(folder.call("run", "script", "-j", 3).returncode, 1)
            cards, planes = read_sums(folder.left()["sum.sums.fit"])
        self.assertEqual((cards["NIMAGES"], cards["NSUMMED"]), ("131", "130"))
        # The picture brought back: the reference where it still shows it, no data beside.
        restored = shift_rows(shift_rows(rows, 3, -2, (9, 9, 9)), -3, 2, None)
        bottom_first = [pixel for row in reversed(restored) for pixel in row]
        for plane, channel in ((0, 2), (1, 1), (2, 0)):
            self.assertEqual(planes[plane], tuple(130 * p[channel] if p else 0 for p in bottom_first))
        self.assertEqual(planes[3], tuple(130 if p else 0 for p in bottom_first))

    def test_by_gnu_parallel(self):
        plain = run(usual_script, usual_files)
        with Folder() as folder:
            subprocess.run(["parallel", "--will-cite", "-j2", tools, "part", "script", "--part", "{}/4", ":::", "1", "2",
                            "3", "4"], cwd=folder.path, check=True, capture_output=True, timeout=120)
            done = folder.call("merge", "script", *sorted(folder.path.glob("*.part-*.fit")), "--log", "console.txt")
            self.assertEqual((done.returncode, without_times(done.stdout)), (0, plain.console))
            self.assertEqual(without_times((folder.path / "console.txt").read_bytes()), to_utf8(plain.console))
            self.assert_same({name: content for name, content in folder.left().items() if name != "console.txt"}, plain,
                             "parallel")

    def test_images_that_depend_on_each_other(self):
        def link_result(folder):
            os.symlink("f1.bmp", folder.path / "link.bmp")
            os.link(folder.path / "f2.bmp", folder.path / "hard.bmp")
            os.mkdir(folder.path / "sub")

        def prepare(directory):
            link_result(type("F", (), {"path": pathlib.Path(directory)}))

        head = b"Reference ref.bmp\nOptiTranslation 1\nCompositage sum\n"
        for lines in (b"Source f0.bmp a.bmp\nSource a.bmp b.bmp\n", b"Source f0.bmp link.bmp\nSource f1.bmp b.bmp\n",
                      b"Source f0.bmp sub/../a.bmp\nSource f1.bmp ./a.bmp\n", b"Source hard.bmp b.bmp\nSource f1.bmp f2.bmp\n",
                      b"Source f0.bmp ref.bmp\nSource ref.bmp b.bmp\n", b"Source f0.bmp shift.lst\nSource f1.bmp b.bmp\n",
                      b"Source f0.bmp f0.bmp\nSource f1.bmp b.bmp\n", b"Source f0.bmp a.bmp\nSource sum.bmp b.bmp\n",
                      b"Source f0.bmp sumR.fit\nSource f1.bmp a.bmp\n", b"Source f0.bmp script\nSource f1.bmp a.bmp\n"):
            with self.subTest(lines):
                plain = run(head + lines, usual_files, prepare=prepare)
                with Folder(head + lines) as folder:
                    link_result(folder)
                    refused = folder.call("part", "script", "--part", "1/2")
                    self.assertEqual((refused.returncode, folder.left().keys() & {"a.bmp", "b.bmp", "sumR.fit"}), (2, set()))
                    done = folder.call("run", "script", "-j", 2)
                    self.assertIn(b"in one part", done.stderr)
                    self.check_run(folder, plain, lines)


class Endings(unittest.TestCase):
    def test_statuses_and_summary(self):
        for line, status, words in ((b"Source f0.bmp b.bmp\n", 0, b"11 of 11 images used"),
                                    (b"Source gone.bmp b.bmp\n", 1, b"not opened, and so left out:\n  gone.bmp\n"),
                                    (b"Source f0.bmp no/b.bmp\n", 1, b"could not be written:\n  f0.bmp\n"),
                                    (b"Source f0.bmp b.bmp 40 10\n", 1, b"allow larger shifts:\n  f0.bmp\n")):
            with self.subTest(line), Folder(usual_script + line) as folder:
                done = folder.call("run", "script", "-j", 2)
                self.assertEqual(done.returncode, status, done.stderr)
                self.assertIn(words, done.stdout)

    def test_not_run(self):
        with Folder() as folder:
            for arguments in (("run", "gone"), ("part", "script", "--entries", "5-11"), ("part", "gone", "--part", "1/2"),
                              ("part", "script", "--part", "3/2"), ("part", "script"), ("merge", "script", "gone.fit"),
                              ("run", "script", "--log", "no/folder.log")):
                done = folder.call(*arguments)
                self.assertEqual((done.returncode, folder.left()), (2, {}), (arguments, done.stderr))
                self.assertNotEqual(done.stderr, b"")

    def test_fatal_errors(self):
        """The first in script order ends it, with the console of the plain run and the images before it."""
        compressed = make_header(48, 36, compression=1)
        slow = make_bmp(make_texture(700, 500))  # the fatal picture behind it is found first
        files = {**usual_files, "bad.bmp": compressed, "bad2.bmp": make_header(48, 36, 16), "slow.bmp": slow}
        lines = [b"Source f%i.bmp a%i.bmp" % (i % 4, i) for i in range(10)]
        for script in (b"Reference gone.bmp\n", b"\n", b"Reference bad.bmp\n",
                       b"\n".join([b"Reference ref.bmp", b"Compositage sum", b"OptiTranslation 1", *lines[:4], b"Source slow.bmp s.bmp",
                                   b"Source bad2.bmp x.bmp", b"Source bad.bmp y.bmp", *lines[4:]]) + b"\n",
                       b"Reference ref.bmp\nAngle 0 0 0\n" + lines[0] + b"\n" + lines[1] + b"\n"):
            plain = run(script, files)
            self.assertEqual(plain.status, -signal.SIGABRT)
            for processes in (1, 2, 5):
                with self.subTest(script), Folder(script, files) as folder:
                    done = folder.call("run", "script", "-j", processes)
                    left = folder.left()
                    self.assertEqual(done.returncode, 134, done.stderr)
                    self.assertEqual(without_times(left.pop("script.log")), to_utf8(plain.console))
                    for name, content in plain.files.items():
                        self.assertEqual(left[name], content, name)
                    self.assertNotIn("sum.bmp", left)

    def test_mended_and_resumed(self):
        script = usual_script.replace(b"Source f3.bmp a3.bmp\n", b"Source bad.bmp a3.bmp\n")
        files = {**usual_files, "bad.bmp": make_header(48, 36, 16)}
        with Folder(script, files) as folder:
            self.assertEqual(folder.call("run", "script", "-j", 1).returncode, 134)
            mended = {**files, "bad.bmp": moved[3]}
            write_files(folder.path, {"bad.bmp": moved[3]})
            self.assertEqual(folder.call("run", "script").returncode, 2)  # neither --resume nor --force
            done = folder.call("run", "script", "-j", 2, "--resume")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertIn(b"3 of 10 images are done already", done.stderr)
            plain = run(script, mended)
            self.assertEqual({name: folder.left().get(name) for name in plain.files}, plain.files)
            self.assertFalse((folder.path / "script.parts").exists())

    def test_full_disk(self):
        """Of 4 kB a file no picture can be written; mended, the run goes on."""
        import resource
        plain = run(usual_script, usual_files)
        for limit in (4096, 5500, 0):
            with self.subTest(limit), Folder() as folder:
                limited = folder.call("run", "script", "-j", 2, "--save-every", 0,
                                      preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
                self.assertIn(limited.returncode, (1, 2))
                done = folder.call("run", "script", "-j", 2, "--resume")
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual({name: folder.left().get(name) for name in plain.files}, plain.files)

    def test_crashed_process(self):
        """A process of the pool that is killed costs its images, nothing else."""
        script = usual_script + b"Translation 40 1\nSource slow.bmp s.bmp\n"
        files = {**usual_files, "slow.bmp": make_bmp(make_texture(500, 400))}
        plain = run(script, files)
        with Folder(script, files) as folder:
            process = subprocess.Popen([tools, "run", "script", "-j", "2"], cwd=folder.path, stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            workers = []
            while len(workers) < 2 and process.poll() is None:
                engines = children(process.pid)
                workers = children(engines[0]) if engines else []
            if workers:
                os.kill(workers[-1], signal.SIGKILL)
            process.communicate(timeout=120)
            self.assertIn(process.returncode, (0, 1))
            self.assertEqual({name: folder.left().get(name) for name in plain.files}, plain.files)


def children(process):
    try:
        return [int(child) for child in pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]
    except OSError:
        return []


class Kills(unittest.TestCase):
    def test_killed_and_resumed(self):
        script = (b"Reference ref.bmp\nCompositage sum\nOptiTranslation 1\n" +
                  b"".join(b"Source f%i.bmp a%i.bmp\n" % (i % 2, i) for i in range(50)) + b"Quitter:\n")
        scene = make_texture(160, 120)
        files = {"ref.bmp": make_bmp(scene), "f0.bmp": make_bmp(shift_rows(scene, 3, -2, (9, 9, 9))),
                 "f1.bmp": make_bmp(shift_rows(scene, -4, 1, (9, 9, 9)))}
        plain = run(script, files)
        source = random.Random(1)
        stopped = resumed = 0
        for kill in range(kills):
            with Folder(script, files) as folder:
                for _ in range(3):
                    ending = source.choice((signal.SIGKILL, signal.SIGKILL, signal.SIGTERM, signal.SIGINT))
                    process = subprocess.Popen([tools, "run", "script", "-j", str(source.randint(1, 3)), "--resume",
                                                "--save-every", str(source.choice((0, 0.02)))], cwd=folder.path,
                                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    if source.random() < 0.5:  # later on a slow machine: when there is something to go on with
                        while process.poll() is None and not list(folder.path.glob("script.parts/part*.fit")):
                            time.sleep(0.005)
                    time.sleep(source.random() * 0.15)
                    process.send_signal(ending)
                    output = process.communicate(timeout=120)
                    stopped += process.returncode in (-ending, 128 + ending)
                    self.assertIn(process.returncode, (0, -ending, 128 + ending), output)
                done = folder.call("run", "script", "-j", 2, "--resume")
                self.assertEqual(done.returncode, 0, done.stderr)
                resumed += b"are done already" in done.stderr
                left = folder.left()
                self.assertEqual(without_times(left.pop("script.log")), to_utf8(plain.console))
                self.assertTrue(left.pop("sum.sums.fit"))
                self.assertEqual(left, plain.files)
                self.assertFalse((folder.path / "script.parts").exists())
        self.assertGreater(stopped, 0)
        self.assertGreater(resumed, 0)
        print(f"{stopped} of {3 * kills} stopped in their middle, {resumed} times work was there to go on with")


class BadParts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Folder()
        for k in (1, 2):
            cls.folder.call("part", "script", "--part", f"{k}/2", "-o", f"p{k}.fit")
        cls.good = (cls.folder.path / "p2.fit").read_bytes()
        (cls.folder.path / "shift.lst").write_bytes(b"not touched\n")
        cls.before = cls.folder.left()

    @classmethod
    def tearDownClass(cls):
        cls.folder.temporary.cleanup()

    def refuse(self, words, *arguments):
        done = self.folder.call("merge", "script", *arguments)
        self.assertEqual(done.returncode, 2, (arguments, done.stderr))
        self.assertIn(words, done.stderr)
        self.assertEqual(done.stdout, b"")
        left = self.folder.left()
        self.assertEqual({name: left.get(name) for name in self.before}, self.before)

    def test_missing_and_double(self):
        self.refuse(b"no part holds these images: 6-10.", "p1.fit")
        self.refuse(b"image 1 (f0.bmp) is in p1.fit and again in p1.fit", "p1.fit", "p1.fit", "p2.fit")
        self.refuse(b"gone.fit", "p1.fit", "gone.fit")

    def test_damaged(self):
        source = random.Random(2)
        cases = [self.good[:source.randrange(len(self.good))] for _ in range(12)]
        cases += [self.good[:cut] for cut in (0, 2880, len(self.good) - 2880, len(self.good) - 1)]
        for _ in range(25):
            flipped = bytearray(self.good)
            for _ in range(source.randint(1, 3)):
                flipped[source.randrange(len(flipped))] ^= 1 << source.randrange(8)
            cases.append(bytes(flipped))
        for case in cases:
            if case == self.good:
                continue
            (self.folder.path / "bad.fit").write_bytes(case)
            self.refuse(b"bad.fit is damaged or not a whole part", "p1.fit", "bad.fit")

    def test_of_another_run(self):
        other_script = usual_script.replace(b"OptiTranslation 1", b"OptiTranslation 2")
        for words, script, files in ((b"of another script", other_script, usual_files),
                                     (b"another reference", usual_script, {**usual_files, "ref.bmp": moved[0]})):
            with Folder(script, files) as other:
                other.call("part", "script", "--part", "2/2", "-o", "bad.fit")
                shutil.copy(other.path / "bad.fit", self.folder.path)
            self.refuse(words, "p1.fit", "bad.fit")

    def test_existing_part_stays(self):
        for arguments in (("part", "script", "--part", "2/2", "-o", "p1.fit"),
                          ("merge", "script", "p2.fit", "-o", "p1.fit")):
            self.assertEqual(self.folder.call(*arguments).returncode, 2)
        self.assertEqual({name: self.folder.left().get(name) for name in self.before}, self.before)


if __name__ == "__main__":
    unittest.main()
