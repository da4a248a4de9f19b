"""golden_runs.py [--write]: the whole runs of golden_runs.txt, whose console, shift list and pictures must have the
bytes whose hashes stand in golden_hashes.txt, at every level of vector instructions; the pictures by the definitions,
too. --write makes the hashes anew, at the plain level."""

import hashlib
import os
import subprocess
import sys
import unittest

from whole_runs import *

at_level = [*runner, os.environ.get("QUILLORNE_AT_LEVEL", "")]
folder = os.path.dirname(os.path.abspath(__file__))


def turn(rows, c, s, x0, y0):
    """The picture turned by the angle of cosine c / 4096 and sine s / 4096 and moved, nearest pixels, black beside: in
    integers, so that it has the same bytes everywhere."""
    height, width = len(rows), len(rows[0])

    def pixel(x, y):
        u, v = x - width // 2 - x0, y - height // 2 - y0
        sx, sy = width // 2 + (c * u - s * v + 2048) // 4096, height // 2 + (s * u + c * v + 2048) // 4096
        return rows[sy][sx] if 0 <= sx < width and 0 <= sy < height else (0, 0, 0)
    return [[pixel(x, y) for x in range(width)] for y in range(height)]


def move(rows, x0, y0):
    return turn(rows, 4096, 0, x0, y0)


def make_scene(width, height):
    """A banded disc with noise on a dark sky."""
    def pixel(x, y, noise):
        inside = (x - width // 2)**2 + (y - height // 2)**2 < (min(width, height) * 2 // 5)**2
        base = 90 + 60 * (y // 5 % 2) + x % 23 if inside else 8
        return tuple(min(255, base * weight // 4 + byte % 16) for weight, byte in zip((3, 4, 5), noise))
    return [[pixel(x, y, noise) for x, noise in enumerate(row)] for y, row in enumerate(make_texture(width, height))]


scene, noise, long, large = make_scene(121, 90), make_texture(121, 90), make_texture(1100, 40), make_scene(300, 300)
tiles = [[(x % 4 * 50, y % 4 * 50, 99) for x in range(96)] for y in range(64)]
pictures = {
    "ref": scene, "same": move(scene, 5, -3), "turned": turn(scene, 4095, 93, -4, 2), "far": move(scene, 20, 20),
    "small": turn(scene, 4096, -43, 1, 1)[20:70], "noise": noise, "left": move(noise, -10, 1), "low": move(noise, 1, 10),
    "dot": [[(200, 100, 50)]],
    "odd": make_texture(7, 5), "tiles": tiles, "tiles2": move(tiles, 1, 2), "black": [[(0, 0, 0)] * 70] * 50,
    "white": [[(255, 255, 255)] * 61] * 47, "long": long, "large": large,
    "long2": [[tuple(byte * 3 // 4 for byte in pixel) for pixel in row] for row in move(long, 5, -3)],
    "larger": turn(make_scene(310, 330), 4094, 120, 3, 1), "wide": move(make_scene(420, 280), -6, 4)}
files = {name + ".bmp": make_bmp(rows) for name, rows in pictures.items()}
files["cut.bmp"] = files["same.bmp"][:20000]  # the pixels that it lacks have no data
files["top.bmp"] = make_header(121, -90) + files["same.bmp"][54:]


def read_runs():
    """Files and scripts of the runs of golden_runs.txt."""
    for line in read_lines("golden_runs.txt"):
        name, references, sources, settings = (field.strip() for field in line.split("|"))
        for reference in references.split("; "):
            script = ["Compositage sum", "Reference {}.bmp {}".format(*reference.partition(" ")[::2])]
            for number, source in enumerate(sources.split(", ")):
                picture, _, origin = source.partition(" ")
                script.append(f"Source {picture}.bmp {number}{picture}.bmp {origin}")
            yield f"{name}, {reference}", "\n".join(settings.split("; ") + script).encode() + b"\n"


def read_lines(name):
    with open(os.path.join(folder, name)) as file:
        return [line for line in file.read().splitlines() if not line.startswith("#")]


def hash_parts(outcome):
    """By part: console with notices, shift list, pictures with their names."""
    pictures = b"".join(name.encode() + b"\n" + outcome.files[name] for name in sorted(outcome.files)
                        if name != "shift.lst")
    parts = {"console": outcome.console + outcome.notices, "shift list": outcome.files.get("shift.lst", b""),
             "pictures": pictures}
    return {part: hashlib.sha256(content).hexdigest() for part, content in parts.items()}


def run_at(level, name):
    return run(runs[name], files, command=[*at_level, level])


class GoldenRuns(unittest.TestCase):
    def test_bytes(self):
        golden = dict(line.rsplit(": ", 1) for line in read_lines("golden_hashes.txt"))
        self.assertEqual({key.split(": ")[0] for key in golden}, set(runs))
        levels = subprocess.run(at_level, capture_output=True, text=True).stdout.split()
        self.assertIn("plain", levels)
        for level in [*levels, "definition"]:
            for name in runs:
                if level == "definition" and "(undefined)" in name:
                    continue
                with self.subTest(level=level, run=name):
                    outcome = run_at(level, name)
                    found = hash_parts(outcome)
                    self.assertEqual(outcome.status, 0)
                    for part in ["pictures"] if level == "definition" else found:
                        self.assertEqual(found[part], golden[f"{name}: {part}"], f"{part}; {outcome.console!r}")


runs = dict(read_runs())
if __name__ == "__main__":
    if sys.argv[1:] == ["--write"]:
        with open(os.path.join(folder, "golden_hashes.txt"), "w") as file:
            for name in runs:
                for part, value in hash_parts(run_at("plain", name)).items():
                    print(name, part, value, sep=": ", file=file)
    else:
        unittest.main()
