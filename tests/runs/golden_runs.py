"""golden_runs.py [--write]: whole runs whose console, shift list and pictures must have the bytes whose hashes stand in
golden_hashes.txt, at every level of vector instructions; the pictures by the definitions, too. --write makes that file
anew, at the plain level."""

import hashlib
import os
import subprocess
import sys
import unittest

from whole_runs import *

at_level = [*runner, os.environ.get("QUILLORNE_AT_LEVEL", "")]
hash_file = os.path.join(os.path.dirname(os.path.abspath(__file__)), "golden_hashes.txt")


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


scene, long, large = make_scene(121, 90), make_texture(1100, 12), make_scene(300, 300)
tiles = [[(x % 4 * 50, y % 4 * 50, 99) for x in range(96)] for y in range(64)]
pictures = {
    "ref": scene, "same": move(scene, 5, -3), "turned": turn(scene, 4095, 93, -4, 2), "far": move(scene, 20, 20),
    "small": turn(scene, 4096, -43, 1, 1)[20:70], "noise": make_texture(121, 90), "dot": [[(200, 100, 50)]],
    "odd": make_texture(7, 5), "tiles": tiles, "tiles2": move(tiles, 1, 2), "black": [[(0, 0, 0)] * 70] * 50,
    "white": [[(255, 255, 255)] * 61] * 47, "long": long, "long2": move(long, 5, -3), "large": large,
    "larger": turn(make_scene(310, 330), 4094, 120, 3, 1), "wide": move(make_scene(420, 280), -6, 4)}
files = {name + ".bmp": make_bmp(rows) for name, rows in pictures.items()}
files["cut.bmp"] = files["same.bmp"][:20000]  # the pixels that it lacks have no data
files["top.bmp"] = make_header(121, -90) + files["same.bmp"][54:]


def make_script(settings, reference, sources):
    """Lines of settings; the reference and the sources are names of pictures, with an origin or without."""
    lines = [settings, "Compositage sum", "Reference {}.bmp {}".format(*reference.partition(" ")[::2])]
    for number, source in enumerate(sources.split(", ")):
        name, _, origin = source.partition(" ")
        lines.append(f"Source {name}.bmp {number}{name}.bmp {origin}")
    return "\n".join(lines).encode() + b"\n"


usual = "same, turned, small 60 25, noise, dot, odd -3 9"
settings = {
    "default": "", "far": "Translation 25 1\nOptiTranslation 2", "step": "Translation 20 3\nOptiTranslation 1",
    "turned": "Angle -2 2 0.1\nTranslation 5", "little turned": "Angle 0.3 1.7 0.01\nTranslation 6 2",
    "turned by a fixed angle": "Angle 7 7 1", "whole blocks": "Bloc 12 5 2 1", "step of two": "Bloc 9 4 3 2",
    "half blocks": "Bloc 14 4 2 0.5", "odd blocks": "Bloc 11 3 1 0.3",
    "everything": "Angle -2 2 0.2\nTranslation 4\nBloc 10 4 1 1.5"}
runs = {f"{what}, {reference}": (settings[what], reference, usual)
        for reference in ("ref", "turned 50 40", "odd") for what in settings}
runs |= {
    "the last coarse shift": ("Translation 16\nOptiTranslation 1", "ref", "far"),
    "ties": ("Translation 12\nOptiTranslation 2", "tiles", "tiles, tiles2, black, white"),
    "ties with angles": ("Angle -3 3 1\nTranslation 9 2", "tiles", "tiles2, white, black"),
    "ties of blocks": ("Bloc 16 5 4 1", "tiles", "tiles2, white"),
    "ties of half blocks": ("Bloc 16 5 3 0.5", "tiles", "tiles2, white"),
    "no data": ("Translation 9\nBloc 12 4 2 0.5", "cut", "cut, same, top"),
    "no data, whole blocks": ("Angle -1 1 0.2\nTranslation 9\nBloc 12 4 2 1", "cut", "cut, same, top"),
    "long rows": ("Translation 9", "long", "long2, long"),
    "three sizes": ("Bloc 40 6 1 1", "large", "larger, large, wide, larger 150 150, same"),
    "three sizes turned": ("Angle -1 2 0.3\nTranslation 3", "large", "wide, larger, large, wide"),
    "sum of many": ("OptiTranslation 1", "odd", ", ".join(["odd", "dot"] * 70)),
    "empty angles": ("Angle 2 -2 0.2\nTranslation 4", "ref", "same"),
    "resolution wider than the range": ("Angle -3 0 57.3", "ref", "turned"),
    "quarter blocks": ("Bloc 20 6 1 0.25", "ref", "same, turned"),
    "tenth blocks": ("Bloc 30 5 1 0.1", "ref", "turned"),
    "three quarters": ("Bloc 15 6 2 0.75", "same", "turned, small"),
    "one row of blocks": ("Bloc 4 40 2 1", "ref", "same, turned"),
    "large blocks": ("Bloc 50 100 1 1", "large", "larger, wide"),
    "blocks one by one": ("Bloc 60 6 60 1.5", "large", "wide"),
    "blocks of one pixel": ("Bloc 10 0 2 1", "ref", "same"),
    "blocks of none": ("Bloc 10 -1 1 1", "ref", "same"),
    "huge grid": ("Bloc 2147483647 8 2 1", "ref", "same"),
    "every command": ("Rem: all\nDimension non\noptitranslation 3\nangle 1 1\ntranslation: 7, 2\nbloc 20 5 1 1\nbogus\n"
                      "Sourcesbmp s r 1 3\nQuitter ", "ref", "same, turned"),
    "shifts backward": ("Translation -3\nAngle -1 1 0.5", "ref", "same"),
}
endless = {  # by the definitions
    "every shift there is": ("Translation 2147483647 7", "ref", "same, small, dot"),
    "angle finer than numbers": ("Angle 40 41 0.0000001", "ref", "turned"),
    "step beyond the range": ("Bloc 20 5 3 1e30", "ref", "same"),
    "huge blocks": ("Bloc 1 2147483647 2147483647 1", "ref", "same"),
}


def hash_parts(outcome):
    """By part: console with notices, shift list, pictures with their names."""
    pictures = b"".join(name.encode() + b"\n" + outcome.files[name] for name in sorted(outcome.files)
                        if name != "shift.lst")
    parts = {"console": outcome.console + outcome.notices, "shift list": outcome.files.get("shift.lst", b""),
             "pictures": pictures}
    return {part: hashlib.sha256(content).hexdigest() for part, content in parts.items()}


def run_at(level, name):
    return run(make_script(*(runs | endless)[name]), files, command=[*at_level, level])


class GoldenRuns(unittest.TestCase):
    def test_bytes(self):
        golden = {}
        with open(hash_file) as file:
            for name, part, value in (line.strip().rsplit(": ", 2) for line in file):
                golden.setdefault(name, {})[part] = value
        self.assertEqual(set(golden), set(runs | endless))
        levels = subprocess.run(at_level, capture_output=True, text=True).stdout.split()
        self.assertIn("plain", levels)
        for level, names in [(level, runs | endless) for level in levels] + [("definition", runs)]:
            for name in names:
                with self.subTest(level=level, run=name):
                    outcome = run_at(level, name)
                    found = hash_parts(outcome)
                    self.assertEqual(outcome.status, 0)
                    for part in ["pictures"] if level == "definition" else found:
                        self.assertEqual(found[part], golden[name][part], f"{part}; {outcome.console!r}")


if __name__ == "__main__":
    if sys.argv[1:] == ["--write"]:
        with open(hash_file, "w") as file:
            for name in runs | endless:
                for part, value in hash_parts(run_at("plain", name)).items():
                    print(name, part, value, sep=": ", file=file)
    else:
        unittest.main()
