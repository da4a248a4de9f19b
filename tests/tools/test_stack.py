"""From pictures to a finished sum, judged against the scenes that the pictures were made from."""

import csv
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest

tools, maker, judge, checker = (os.environ[name] for name in
                                ("QUILLORNE_TOOLS", "MAKE_DEMONSTRATION", "JUDGE_SUM", "CHECK_POSES"))
environment = {**os.environ, "LC_ALL": "C.UTF-8"}


def run(*command):
    return subprocess.run([str(word) for word in command], env=environment, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, errors="replace")


def make_series(folder, *options):
    made = run(maker, folder, "--format", "png", *options)
    assert made.returncode == 0, made.stderr
    return folder


def read_table(folder):
    with open(folder / "table.csv", newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


class Stack(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)
        self.series = self.place / "les images"

    def stack(self, name, *options, status=0):
        folder = self.place / name
        done = run(tools, "stack", self.series, "-o", folder, *options)
        self.assertIn(done.returncode, status if isinstance(status, tuple) else (status,), done.stderr + done.stdout)
        return folder, done

    def measure(self, *pictures):
        """How far each picture is from the true scene."""
        judged = run(judge, self.series / "truth/scene.fits", *pictures)
        self.assertEqual(judged.returncode, 0, judged.stderr)
        return [float(line.split()[0]) for line in judged.stdout.splitlines()]

    def check_poses(self, folder):
        checked = run(checker, self.series / "truth/poses.csv", folder / "table.csv", 1, 0.1)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)

    def test_second_pass_is_closer_to_the_truth(self):
        for kind in ("planet", "surface", "disc"):
            with self.subTest(kind):
                make_series(self.series, "--kind", kind, "--count", 12, "--width", 280, "--height", 220, "--noise", 0.5,
                            "--seeing", 1.5)
                one, _ = self.stack(f"{kind} one", "--passes", 1, status=(0, 1))
                two, done = self.stack(f"{kind} two")
                self.assertTrue(done.stdout.endswith(f"12 of 12 frames summed. Sum: {two}/sum.png\n"), done.stdout)
                self.assertIn("\nBloc: ", (two / "pass2/script.txt").read_text())
                frame, first, second, exact = self.measure(one / "frame1.bmp", one / "sumR.fit", two / "sumR.fit",
                                                           two / "sum.fits")
                self.assertLess(first, 0.8 * frame)
                self.assertLess(second, 0.9 * first)
                self.assertLess(abs(exact - second), 0.1 * second)
                for name in ("sum.bmp", "sum.sums.fit", "sum.tif", "sum16.png", "report.html", "aligned12.bmp"):
                    self.assertGreater((two / name).stat().st_size, 1000, name)
                self.assertEqual((two / "aligned3.bmp").stat().st_size, (two / "frame3.bmp").stat().st_size)

    def test_blurred_frames_are_left_out_after_the_first_pass(self):
        make_series(self.series, "--count", 10, "--width", 240, "--height", 200, "--noise", 0.5, "--blur", 0.8, 3)
        folder, _ = self.stack("sum", "--keep", "50%", "--no-bend", "--enlarge", 1, status=1)
        with open(self.series / "truth/poses.csv", newline="") as file:
            blurs = sorted((float(row["blur"]), int(row["number"])) for row in csv.DictReader(file))
        numbers = {int(row["source"].rsplit("frame", 1)[1][:-4]): row for row in read_table(folder)}
        kept = {number for number, row in numbers.items() if row["kept"] == "yes"}
        self.assertEqual(len(kept), 5)
        self.assertLessEqual(len(kept - {number for _, number in blurs[:6]}), 0, blurs)
        for number in set(numbers) - kept:
            self.assertIn("rank", numbers[number]["flags"].split())
        script = (folder / "pass2/script.txt").read_text()
        self.assertNotIn("Bloc:", script)
        self.assertEqual(script.count("\nSource: ../frame"), 5)
        # A report by hand says the same; that of the first script, run again by hand, says what that summed.
        table = (folder / "table.csv").read_text()
        self.assertEqual(run(tools, "report", folder, "--force").returncode, 1)
        self.assertEqual((folder / "table.csv").read_text(), table)
        done = run("env", "-C", folder, tools, "run", "script.txt", "--force")
        self.assertEqual(done.returncode, 0, done.stderr)
        run(tools, "report", folder, "--force")
        self.assertEqual([row["kept"] for row in read_table(folder)], 10 * ["yes"])

    def test_table_holds_the_shifts_of_the_last_pass(self):
        """Half pixels, in enlarged frames."""
        make_series(self.series, "--count", 9, "--width", 240, "--height", 200, "--noise", 0.5, "--seeing", 0.2)
        folder, _ = self.stack("sum", "--no-bend", status=(0, 1))
        places = [tuple(2 * (int(row[f"origin_{axis}"]) + float(row[f"shift_{axis}"])) for axis in "xy")
                  for row in read_table(folder)]
        sources = re.findall(r"^Source: frame\d+.bmp \S+ (\S+) (\S+)", (folder / "pass2/script.txt").read_text(), re.M)
        shifts = (folder / "pass2/shift.lst").read_text().split("\n")
        expected = [tuple(int(a) + int(b) for a, b in zip(source, shift.split()))
                    for source, shift in zip(sources, shifts)]
        self.assertEqual(places, expected)
        self.assertTrue(any(place % 2 for frame in places for place in frame), places)

    def test_frames_that_cannot_be_used_are_named(self):
        """Cut by the border; of 16 bits among ones of 8."""
        scene = ("--kind", "disc", "--count", 9, "--width", 270, "--height", 140, "--drift", 25, 0, "--seeing", 0.2)
        make_series(self.series, *scene)
        run(maker, self.place / "deep", "--format", "png16", *scene)
        (self.place / "deep/frame3.png").rename(self.series / "frame3.png")
        folder, done = self.stack("sum", status=1)
        flags = [row["flags"].split() for row in read_table(folder)]
        self.assertEqual([i + 1 for i, words in enumerate(flags) if "cut" in words], [1, 9])
        self.assertIn("6 of 9 frames summed; frame 1 left out (cut); frame 3 left out (depth); frame 9 left out (cut).",
                      done.stdout)
        self.check_poses(folder)

    def test_stars_take_one_pass(self):
        make_series(self.series, "--kind", "stars", "--count", 5, "--width", 320, "--height", 240, "--seeing", 0,
                    "--blur", 0.6, 1, "--drift", 6.3, -4.1, "--noise", 0.5)
        folder, _ = self.stack("sum")
        self.assertFalse((folder / "pass2").exists())
        self.check_poses(folder)

    def test_turning_stars_are_turned_back_as_measured(self):
        make_series(self.series, "--kind", "stars", "--count", 8, "--width", 400, "--height", 300, "--seeing", 0,
                    "--blur", 0.6, 1, "--drift", 6.3, -4.1, "--turn", 0.4)
        folder = self.place / "sum"
        done = run(tools, "stack", "--turn", self.series, "-o", folder)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.check_poses(folder)
        turns = [float(row["angle"]) for row in read_table(folder)]
        self.assertGreater(max(turns) - min(turns), 2.6)
        turned, (frame, exact) = read_table(folder)[0], self.measure(folder / "frame4.bmp", folder / "sum.fits")
        self.assertLess(exact, frame)
        # Compared with what the run read, not with what it was before it was turned back.
        self.assertLessEqual(float(turned["after"]), 1.05 * float(turned["before"]))

    def test_nothing_is_done(self):
        self.series.mkdir()
        self.stack("no pictures", status=2)
        (self.series / "frame1.png").write_bytes(b"\x89PNG broken")
        self.stack("no picture that can be read", status=2)
        make_series(self.series, "--kind", "disc", "--count", 3, "--width", 160, "--height", 140, "--seeing", 0)
        self.stack("not a number", "--keep", "many", status=2)
        (self.place / "mine").mkdir()
        (self.place / "mine/sum.png").write_text("mine")
        folder, done = self.stack("mine", status=2)
        self.assertIn("--force", done.stderr)
        self.assertEqual([file.name for file in folder.iterdir()], ["sum.png"])
        self.stack("mine", "--force")
        self.assertTrue((folder / "sum.png").read_bytes().startswith(b"\x89PNG"))

    def test_interrupt_ends_it_for_that_signal(self):
        """As from a terminal: to all its processes. Nothing is half written, and the next run takes its place."""
        make_series(self.series, "--count", 40, "--width", 640, "--height", 480)
        folder = self.place / "sum"
        ends = []
        for seconds in (0.3, 0.6, 1, 1.5, 2):
            with self.subTest(seconds=seconds):
                started = subprocess.Popen([tools, "stack", self.series, "-o", folder, "--force"],
                                           start_new_session=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                try:
                    started.wait(seconds)
                except subprocess.TimeoutExpired:
                    os.killpg(started.pid, signal.SIGINT)
                started.communicate(timeout=60)
                ends.append(started.returncode)
                for picture in folder.rglob("*.bmp"):
                    self.assertEqual(picture.stat().st_size, int.from_bytes(picture.read_bytes()[2:6], "little"))
        interrupted = {-signal.SIGINT, 128 + signal.SIGINT}  # the latter from a run, which saves its work first
        self.assertIn(ends[0], interrupted)
        self.assertLessEqual(set(ends), interrupted | {0, 1})  # those that had come to their end
        self.stack("sum", "--force", "--no-bend", status=(0, 1))


if __name__ == "__main__":
    unittest.main()
