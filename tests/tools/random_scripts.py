"""Random scripts with their pictures, as bad as real nights: missing and damaged files, other sizes, ties, results that
cannot be written. Equal seeds give equal cases."""

import random

from whole_runs import *


def make_picture(source, rows):
    """The reference's scene, moved and noisy; sometimes a flat picture, whose candidates all tie."""
    if source.random() < 0.1:
        return [[(40, 50, 60)] * len(row) for row in rows]
    dx, dy = source.randint(-6, 6), source.randint(-6, 6)
    moved = shift_rows(rows, dx, dy, (9, 9, 9))
    noise = source.randint(0, 12)
    moved = [[tuple(min(255, byte + source.randint(0, noise)) for byte in pixel) for pixel in row] for row in moved]
    if source.random() < 0.15:  # another size
        moved = [row[:source.randint(20, len(row))] for row in moved[:source.randint(16, len(moved))]]
        moved = [row[:min(map(len, moved))] for row in moved]
    return moved


def damage(source, picture):
    kind = source.random()
    if kind < 0.05:
        return picture[:source.randint(60, len(picture) - 1)]
    if kind < 0.08:
        return picture[:28] + b"\x08" + picture[29:]  # 8 bits: no picture at all
    return picture


def make_settings(source):
    lines = []
    if source.random() < 0.4:
        lines.append(source.choice(["Angle -1 1 0.5", "Angle 0 2 1", "Angle -2 0 0.3", "Angle 1 1"]))
    if source.random() < 0.6:
        lines.append(source.choice(["Translation 3 1", "Translation 8 2", "Translation 5", "Translation 0"]))
    if source.random() < 0.5:
        lines.append("OptiTranslation %i" % source.randint(1, 4))
    if source.random() < 0.4:
        lines.append(source.choice(["Bloc 10 4 1 1", "Bloc 12 3 2 0.5", "Bloc 9 4 2 0.25"]))
    return lines + source.choice([[], ["Dimension Libre"], ["nonsense"], ["Reference gone.bmp"]])


def make_case(seed, most=12):
    """A script, the files of its folder, and the number of its images."""
    source = random.Random(seed)
    many = source.random() < 0.08
    width, height = (24, 20) if many else (source.randint(28, 60), source.randint(24, 48))
    rows = [[(min(255, 3 * (x // 4) % 97 + source.randint(0, 140)), source.randint(0, 200), (5 * y) % 256)
             for x in range(width)] for y in range(height)]
    files = {"ref.bmp": make_bmp(rows)}
    pictures = [f"vue{i}.bmp" for i in range(6)] + ["\u00cel\u00e9\u00e0.bmp"]
    for name in pictures:
        files[name] = damage(source, make_bmp(make_picture(source, rows)))
    lines = make_settings(source)
    lines.append("Reference ref.bmp" + source.choice(["", f" {width // 2} {height // 3}"]))
    if source.random() < 0.85:
        lines.append("Compositage " + source.choice(["sum", "sum.bmp", "no/sum", "\u00e9t\u00e9"]))
    count = source.randint(128, 140) if many else source.randint(1, most)
    for i in range(count):
        name = source.choice(pictures + ["ref.bmp", "gone.bmp"])
        result = f"r{i}.bmp" if source.random() < 0.93 else f"no/r{i}.bmp"
        origin = f" {source.randint(5, 25)}" + source.choice(["", f" {source.randint(5, 20)}"])
        lines.append(f"Source {name} {result}" + (origin if source.random() < 0.2 else ""))
    lines.append("Quitter:")
    return ("\n".join(lines) + "\n").encode(), files, count
