"""Pictures and whole runs of the program: what the cases of test_runs.py are made of."""

import hashlib
import os
import pathlib
import re
import shlex
import struct
import subprocess
import tempfile
import threading
from contextlib import contextmanager
from typing import NamedTuple

runner = shlex.split(os.environ.get("QUILLORNE_RUNNER", ""))  # an emulator that runs the program, and its arguments
program = [*runner, os.environ.get("QUILLORNE", "")]
sanitized = os.environ.get("QUILLORNE_SANITIZED", "") != ""  # then address space and peak memory say nothing
waiting_line = b"Appuyez sur entree pour quitter\n"
fatal_lines = b"Erreur fatale, appuyez sur entree.\nFatal error. Press return.\n"


def make_header(width, height, bits=24, compression=0, offset=54):
    size = 54 + (3 * width + 3) // 4 * 4 * abs(height)
    return b"BM" + struct.pack("<IIIIiiHHIIiiII", size & 0xFFFFFFFF, 0, offset, 40, width, height, 1, bits, compression,
                               0, 2840, 2840, 0, 0)


def make_bmp(rows):
    """The file of a picture: rows from the top down, each a list of (blue, green, red)."""
    padding = bytes(-3 * len(rows[0]) % 4)
    return make_header(len(rows[0]), len(rows)) + b"".join(
        bytes(byte for pixel in row for byte in pixel) + padding for row in reversed(rows))


def make_texture(width, height):
    """Rows in which no place looks like another."""
    noise = hashlib.shake_128(b"sky").digest(3 * width * height)
    return [[tuple(noise[at:at + 3]) for at in range(3 * width * y, 3 * width * (y + 1), 3)] for y in range(height)]


def shift_rows(rows, dx, dy, beside):
    """The picture moved by (dx, dy), as far as it stays inside; the rest is beside."""
    height, width = len(rows), len(rows[0])
    return [[rows[y - dy][x - dx] if 0 <= x - dx < width and 0 <= y - dy < height else beside for x in range(width)]
            for y in range(height)]


class Outcome(NamedTuple):
    status: int
    console: bytes
    notices: bytes  # on standard error
    files: dict     # those that the run left behind, by name


def write_files(directory, files):
    for name, content in files.items():
        with open(os.path.join(os.fsencode(directory), os.fsencode(name)), "wb") as file:
            file.write(content)


def read_files(directory):
    return {path.name: path.read_bytes() for path in pathlib.Path(directory).iterdir() if path.is_file()}


def run(script, files, arguments=("script",), command=program, prepare=lambda directory: None, **options):
    """Runs the program, or what stands for it, in a folder of its own. prepare is called there before; options are
    those of subprocess.run."""
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o777)
        files = {"script": script, **files}
        write_files(directory, files)
        prepare(directory)
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        process = subprocess.run([*command, *arguments], cwd=directory, **{"timeout": 120, **streams})
        left = {name: content for name, content in read_files(directory).items() if files.get(name) != content}
        return Outcome(process.returncode, without_times(process.stdout or b""), process.stderr or b"", left)


@contextmanager
def waiting_run(script, files, last_line, prepare=lambda directory: None):
    """A run of the standard script, which waits behind that line of its console; killed if none comes."""
    with tempfile.TemporaryDirectory() as directory:
        write_files(directory, {"ScriptQuillorne2.txt": script, **files})
        prepare(directory)
        with subprocess.Popen(program, cwd=directory, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
            timer = threading.Timer(30, process.kill)
            timer.start()
            came = last_line in process.stdout  # reads up to it
            timer.cancel()
            if not came:
                raise AssertionError(f"the console ended without {last_line!r}")
            yield process


def without_times(console):
    return re.sub(rb"(: )\d+( secondes|\))", rb"\1T\2", console)
