"""compare_builds.py COMMAND COMMAND ...: whole runs by several builds of the program must agree in every byte."""

import math
import os
import shlex
import sys

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "runs"))
from whole_runs import *


def turn(rows, degrees, x0, y0):
    """The picture turned about its middle and moved, nearest pixels, black beside."""
    height, width = len(rows), len(rows[0])
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))

    def pixel(x, y):
        u, v = x - width // 2 - x0, y - height // 2 - y0
        sx, sy = round(width // 2 + c * u - s * v), round(height // 2 + s * u + c * v)
        return rows[sy][sx] if 0 <= sx < width and 0 <= sy < height else (0, 0, 0)
    return [[pixel(x, y) for x in range(width)] for y in range(height)]


def make_scene(width, height):
    """A banded disc with noise on a dark sky."""
    def pixel(x, y, noise):
        inside = (x - width // 2)**2 + (y - height // 2)**2 < (min(width, height) * 2 // 5)**2
        base = 90 + 60 * (y // 5 % 2) + x % 23 if inside else 8
        return tuple(min(255, base * weight // 4 + byte % 16) for weight, byte in zip((3, 4, 5), noise))
    return [[pixel(x, y, noise) for x, noise in enumerate(row)] for y, row in enumerate(make_texture(width, height))]


scene = make_scene(121, 90)
files = {"ref.bmp": make_bmp(scene), "same.bmp": make_bmp(turn(scene, 0, 5, -3)), "turned.bmp": make_bmp(turn(scene, 1.3, -4, 2)),
         "small.bmp": make_bmp(turn(scene, -0.6, 1, 1)[20:70]), "noise.bmp": make_bmp(make_texture(121, 90)),
         "dot.bmp": make_bmp([[(200, 100, 50)]]), "odd.bmp": make_bmp(make_texture(7, 5))}
images = (b"Compositage sum\nSource same.bmp a.bmp\nSource turned.bmp b.bmp\nSource small.bmp c.bmp 60 25\nSource noise.bmp d.bmp\n"
          b"Source dot.bmp e.bmp\nSource odd.bmp f.bmp -3 9\n")
settings = {
    "default": b"", "far": b"Translation 25 1\nOptiTranslation 2\n", "step": b"Translation 20 3\nOptiTranslation 1\n",
    "turned": b"Angle -2 2 0.1\nTranslation 5\n", "little turned": b"Angle 0.3 1.7 0.01\nTranslation 6 2\n",
    "turned by a fixed angle": b"Angle 7 7 1\n", "whole blocks": b"Bloc 12 5 2 1\n", "step of two": b"Bloc 9 4 3 2\n",
    "half blocks": b"Bloc 14 4 2 0.5\n", "odd blocks": b"Bloc 11 3 1 0.3\n", "everything": b"Angle -2 2 0.2\nTranslation 4\nBloc 10 4 1 1.5\n",
}

commands = sys.argv[1:]
failures = 0
for reference in (b"Reference ref.bmp\n", b"Reference turned.bmp 50 40\n", b"Reference odd.bmp\n"):
    for what, setting in settings.items():
        first, *others = [run(reference + setting + images, files, command=shlex.split(command)) for command in commands]
        assert first.status == 0 and len(first.files) == 11, first
        for command, other in zip(commands[1:], others):
            differing = [name for name in first.files if first.files[name] != other.files.get(name)]
            if other != first:
                failures += 1
                print(f"{reference.decode().strip()}, {what}: {command} differs from {commands[0]}: {differing or 'console'}")
print(f"{3 * len(settings)} runs by each of {len(commands)} programs, {failures} differences")
sys.exit(failures != 0 or len(commands) < 2)
