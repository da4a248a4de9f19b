"""Whole runs of the program from outside: what it prints, what it leaves behind, how it ends."""

import os
import pathlib
import resource
import signal
import stat
import struct
import subprocess
import tempfile
import threading
import time
import unittest

from whole_runs import *

reference_rows = make_texture(64, 48)
reference = make_bmp(reference_rows)
moved = make_bmp(shift_rows(reference_rows, 3, -2, (9, 9, 9)))
# Brought back, the moved picture has what it still shows of the reference in its place, and no data beside.
restored = make_bmp(shift_rows(shift_rows(reference_rows, 3, -2, (9, 9, 9)), -3, 2, (0, 0, 0)))
far = make_bmp(shift_rows(reference_rows, 10, 4, (9, 9, 9)))

banner = (b"**************************************\n"
          b"****        Quillorne v2.1        ****\n"
          b"****      L'equipe Quillorne      ****\n"
          b"****        24 Avril 2002         ****\n"
          b"**************************************\n"
          b"****        Portage Linux         ****\n"
          b"****        voir README.md        ****\n"
          b"**************************************\n\n")
start = banner + b"Lecture des parametres\n\nFichier de script : script\n\n\n"
ruler = b"-" * 50 + b"\n"
search = b"Recherche de la meilleure translation : \n" + ruler + b"(Temps Phase1 : T)\nAjustement global : \n" + ruler
bound_reached = b"\n!!! Attention : la valeur maximum de decalage autoris\x8ee a ete atteinte.\n"
end = b"\nTemps pour l'ensemble du calcul: T secondes\nFin de l'execution de Quillorne\n"
out_of_memory = b"Erreur : pas assez de memoire \n"
incomplete = b"Attention : fichier incomplet, les pixels manquants sont sans donnees\n"
unsupported = b"Erreur fatale: mode d'image non supporte\n"
compressed = b"Fichier BMP compresse: chargement impossible\n"


def heading(entry, name):
    return b"\n" + b"*" * 50 + b"\nTraitement de l'image %i (%s)\n" % (entry, name)


def cannot_write(name):
    return b"Erreur : impossible d'ecrire le fichier " + name + b"\n"


class EndToEnd(unittest.TestCase):
    def test_console_shift_list_and_pictures(self):
        outcome = run(b"Reference ref.bmp\nAngle 0\nBloc 0\nCompositage ./sum.bmp\nSource moved.bmp a.bmp 32 24\n"
                      b"bogus\nSource gone.bmp b.bmp\nSource far.bmp c.bmp\n",
                      {"ref.bmp": reference, "moved.bmp": moved, "far.bmp": far})
        self.assertEqual(outcome.console, start + b"Image de reference: ref.bmp\nAngle min=0.000000  \n"
                         b"Largeur de grille=0  \nImage compositee: ./sum.bmp\n"
                         b"Image source: moved.bmp Fichier resultat: a.bmp Point x0=32 y0=24\n"
                         b"*********** Commande inconnue ligne 6\n"
                         b"Image source: gone.bmp Fichier resultat: b.bmp\n"
                         b"Image source: far.bmp Fichier resultat: c.bmp\n"
                         b"Chargement du fichier ref.bmp" + heading(1, b"moved.bmp") +
                         b"Chargement du fichier moved.bmp" + search + b"\nDeltaX=3   DeltaY=-2\n"
                         b"Temps total de calcul pour l'image: T secondes\nSauvegarde d'une image a.bmp FIN\n" +
                         heading(2, b"gone.bmp") +
                         b"Chargement du fichier gone.bmpErreur : impossible d'ouvrir l'image gone.bmp\n" +
                         heading(3, b"far.bmp") +
                         b"Chargement du fichier far.bmp" + search + b"\nDeltaX=10   DeltaY=4\n" + bound_reached +
                         b"Temps total de calcul pour l'image: T secondes\nSauvegarde d'une image c.bmp FIN\n"
                         b"Sauvegarde de l'image compositee : ./sum.bmp\nSauvegarde d'une image .bmp FIN\n" + end)
        self.assertEqual(outcome.status, 0)
        self.assertEqual(outcome.files["shift.lst"], b"3 -2 \n10 4   Non optimal\n")
        self.assertEqual(outcome.files["a.bmp"], restored)
        self.assertEqual(sorted(outcome.files), [".bmp", "B.fit", "R.fit", "V.fit", "a.bmp", "c.bmp", "shift.lst"])

    def test_composite_bytes(self):
        # Twice the same picture and one that is missing: sums of two, means over three.
        rows = [[(3, 60, 120), (90, 30, 255)], [(0, 6, 200), (33, 99, 150)]]
        outcome = run(b"Reference ref.bmp\nOptiTranslation 1\nCompositage sum.dir/x.bmp\n"
                      b"Source ref.bmp a.bmp\nSource ref.bmp b.bmp\nSource gone.bmp c.bmp\n", {"ref.bmp": make_bmp(rows)})
        self.assertEqual(outcome.files["a.bmp"], make_bmp(rows))
        means = [[tuple(2 * byte // 3 for byte in pixel) for pixel in row] for row in rows]
        self.assertEqual(outcome.files["sum.bmp"], make_bmp(means))
        cards = [("SIMPLE", "T"), ("BITPIX", "16"), ("NAXIS", "2"), ("NAXIS1", "2"), ("NAXIS2", "2"), ("MIPS-HI", "768"),
                 ("MIPS-LO", "0")]
        header = ("".join(f"{keyword:8}={value:>21}{'':50}" for keyword, value in cards) + "END").ljust(2880)
        samples = {"sumB.fit": (0, 66, 6, 180), "sumV.fit": (12, 198, 120, 60), "sumR.fit": (400, 300, 240, 510)}
        for name, values in samples.items():
            self.assertEqual(outcome.files[name], header.encode() + struct.pack(">4h", *values), name)

    def test_rotation_steps(self):
        rows = [[((3 * x + y) % 256, (5 * y) % 256, 128 + 100 * (x // 8 + y // 8) % 128) for x in range(64)] for y in range(48)]
        outcome = run(b"Reference ref.bmp\nAngle -1 1 0.1\nTranslation 2\nSource ref.bmp a.bmp\n", {"ref.bmp": make_bmp(rows)})
        # One star, nine at half the range, seventeen at its end, which rounding may lose; then eight steps of three.
        found = re.search(rb"Ajustement global : \n-{50}\n\*{9}(\*{8})?\*{24}\ntheta=(\S+)  DeltaX=0   DeltaY=0\n",
                          outcome.console)
        self.assertIsNotNone(found, outcome.console)
        self.assertLess(abs(float(found[2])), 0.1)
        self.assertEqual(outcome.status, 0)
        self.assertEqual(outcome.files["shift.lst"], b"0 0 \n")

    def test_command_line(self):
        files = {"ref.bmp": reference, "ScriptQuillorne2.txt": b"Reference ref.bmp\n"}
        wait = b"Appuyez sur entree pour quitter\n"
        outcome = run(b"", files, arguments=())
        self.assertEqual((outcome.status, outcome.console[-len(wait):]), (0, wait))
        outcome = run(b"", files, arguments=("ScriptQuillorne2.txt", "other"))
        self.assertEqual(outcome.status, 0)
        self.assertTrue(outcome.console.startswith(
            b"Trop de fichiers : seul le premier fichier pourra \x90tre traite\n"
            b"Veuillez faire un script pour lancer plusieurs fois Quillorne\n" + banner))
        self.assertTrue(outcome.console.endswith(end))

    def test_waits_for_a_key_behind_its_messages(self):
        for script, last_line in ((b"Reference ref.bmp\n", b"Appuyez sur entree pour quitter\n"),
                                  (b"Reference gone.bmp\n", b"Fatal error. Press return.\n")):
            with tempfile.TemporaryDirectory() as directory:
                write_files(directory, {"ref.bmp": reference, "ScriptQuillorne2.txt": script})
                process = subprocess.Popen([program], cwd=directory, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
                timer = threading.Timer(30, process.kill)  # when the line does not come
                timer.start()
                for line in process.stdout:
                    if line == last_line:
                        break
                timer.cancel()
                self.assertIsNone(process.poll(), last_line)
                process.communicate(b"\n", timeout=30)

    def test_fatal_errors(self):
        def occupy_shift_list(directory):
            os.mkdir(os.path.join(directory, "shift.lst"))

        files = {"ref.bmp": reference}
        one_too_many = b"".join(b"Source a b\n" for _ in range(30000))
        long_path = "./" * 256
        cases = (
            ("no reference", b"", {}, b"Erreur : pas d'image de reference\n"),
            ("no script", b"", {"arguments": ("%s",)}, b"Impossible d'ouvrir le fichier %s\n"),
            ("script is a folder", b"", {"arguments": (".",)}, b"Impossible d'ouvrir le fichier .\n"),
            ("512 characters of path", b"", {"arguments": (long_path,)},
             b"Erreur : chemin du script trop long (511 caracteres au plus)\n"),
            ("511 characters of path", b"", {"arguments": (long_path[:511],)},
             b"Impossible d'ouvrir le fichier " + long_path[:511].encode() + b"\n"),
            ("no such reference", b"Reference %n.bmp\n", {},
             b"Chargement du fichier %n.bmpErreur : impossible d'ouvrir l'image %n.bmp\n"),
            ("resolution 0", b"Reference ref.bmp\nAngle 0 0 0\nSource ref.bmp a.bmp\n", {},
             b"Erreur : resolution angulaire nulle"),
            ("30000 lines", one_too_many, {}, b"Erreur : trop d'images \x88 traiter\n"),
            ("30000 numbers", b"Sourcesbmp a b 1 30000\n", {}, b"Trop d'images \x88 traiter\n"),
            ("all numbers", b"Sourcesbmp a b -2147483647 2147483647\n", {}, b"Trop d'images \x88 traiter\n"),
            ("shift.lst cannot be", b"Reference ref.bmp\n", {"prepare": occupy_shift_list},
             b"Erreur : impossible de creer le fichier shift.lst\n"),
        )
        for what, script, options, message in cases:
            with self.subTest(what):
                outcome = run(script, files, **options)
                self.assertEqual(outcome.status, -signal.SIGABRT)
                self.assertTrue(outcome.console.endswith(message + fatal_lines), outcome.console[-200:])


class BadFiles(unittest.TestCase):
    def check_picture(self, what, message, fatal, prepare=None, name=b"bad.bmp", **files):
        """A source that message is printed for: the run ends there, or goes on to the picture behind it."""
        with self.subTest(what):
            script = b"Reference ref.bmp\nSource " + name + b" bad_out.bmp\nSource moved.bmp a.bmp\n"
            outcome = run(script, {"ref.bmp": reference, "moved.bmp": moved, **files}, prepare=prepare)
            loading = b"Chargement du fichier " + name + message
            self.assertIn(loading + (fatal_lines if fatal else b""), outcome.console)
            self.assertEqual(outcome.status, -signal.SIGABRT if fatal else 0)
            self.assertEqual(outcome.files.get("a.bmp"), None if fatal else restored)
            return outcome

    def test_pictures(self):
        rows = reference[54:]
        cases = [(f"header cut at {cut}", unsupported if cut < 29 else incomplete, cut < 29, reference[:cut])
                 for cut in range(55)]
        cases += [(f"bits {bits}", unsupported, True, make_header(64, 48, bits) + rows) for bits in (0, 1, 4, 16, 32)]
        cases += [(f"size {width} x {height}", out_of_memory, True, make_header(width, height) + rows)
                  for width, height in ((65536, 65536), (2**31 - 1, 1), (1, 2**31 - 1), (2**31 - 1, 2**31 - 1),
                                        (2**31 - 1, -2**31), (-64, 48), (-2**31, 0), (1, -2**31))]
        cases += [(f"size {width} x {height}", b"Recherche", False, make_header(width, height))
                  for width, height in ((0, 0), (0, 5), (5, 0), (2**31 - 1, 0))]
        cases += [
            ("one pixel", b"Recherche", False, make_bmp([[(1, 2, 3)]])),
            ("offset behind the end", incomplete, False, make_header(64, 48, offset=10**6) + rows),
            ("offset in the header", incomplete, False, make_header(64, 50, offset=0) + rows),
            ("rows cut", incomplete, False, reference[:5000]),
            ("last byte cut", incomplete, False, reference[:-1]),
            ("8 bits", b"La sauvegarde en N&B n'est pas encore possible\n" * 100 + b"Recherche", False,
             make_header(64, 48, 8) + rows),
            ("compressed", compressed, True, make_header(64, 48, compression=1) + rows),
            ("no picture at all", compressed, True, b"GIF89a is what this file begins with, and then come words"),
        ]
        for what, message, fatal, content in cases:
            self.check_picture(what, message, fatal, **{"bad.bmp": content})

    def test_other_shapes(self):
        """Rows stored from the top; a part of the picture, laid on the reference's origin and not on its own middle."""
        upward = make_header(64, -48) + make_bmp(list(reversed(reference_rows)))[54:]
        part = make_bmp([row[:58] for row in reference_rows[:42]])
        outcome = run(b"Reference ref.bmp\nSource up.bmp a.bmp\nSource part.bmp b.bmp\n",
                      {"ref.bmp": reference, "up.bmp": upward, "part.bmp": part})
        self.assertEqual(outcome.files, {"a.bmp": reference, "b.bmp": part, "shift.lst": b"0 0 \n0 0 \n"})

    def test_not_plain_files(self):
        def make_folder(directory):
            os.mkdir(os.path.join(directory, "bad.bmp"))

        def make_pipe(content):
            def prepare(directory):
                path = os.path.join(directory, "bad.bmp")
                os.mkfifo(path)
                threading.Thread(target=pathlib.Path(path).write_bytes, args=(content,), daemon=True).start()
            return prepare

        cannot_open = b"Erreur : impossible d'ouvrir l'image bad.bmp\n"
        self.check_picture("folder", cannot_open, False, prepare=make_folder)
        self.check_picture("pipe that ends early", incomplete, False, prepare=make_pipe(reference[:5000]))
        outcome = self.check_picture("whole pipe", b"Recherche", False, prepare=make_pipe(moved))
        self.assertEqual(outcome.files["bad_out.bmp"], restored)

    def test_no_permission(self):
        def forbid(directory):
            os.chmod(os.path.join(directory, "moved.bmp"), 0)

        as_user = {"preexec_fn": lambda: os.setuid(65534)} if os.getuid() == 0 else {}
        try:
            outcome = run(b"Reference ref.bmp\nSource moved.bmp a.bmp\n", {"ref.bmp": reference, "moved.bmp": moved},
                          prepare=forbid, **as_user)
        except PermissionError:
            self.skipTest("the program lies where only root can run it")
        self.assertIn(b"moved.bmpErreur : impossible d'ouvrir l'image moved.bmp\n", outcome.console)
        self.assertEqual((outcome.status, "a.bmp" in outcome.files), (0, False))

    def test_odd_names(self):
        for name in (b"100%s%n.bmp", b"\xe9\x8e\xff.bmp", b"a:b.bmp", b"cr.bmp\r"):
            with self.subTest(name):
                outcome = run(b"Reference ref.bmp\nSource " + name + b" out" + name + b"\n",
                              {"ref.bmp": reference, os.fsdecode(name): moved})
                self.assertIn(b"(" + name + b")\nChargement du fichier " + name + b"Recherche", outcome.console)
                self.assertEqual(outcome.files[os.fsdecode(b"out" + name)], restored)

    def test_scripts(self):
        """A good command behind the odd part still counts."""
        good = b"Reference ref.bmp\nSource moved.bmp a.bmp"
        unknown = b"*********** Commande inconnue ligne %i\n"
        many = b"".join(b"Source gone.bmp b%i.bmp\n" % i for i in range(29998))
        cases = (
            ("no line end", b"", good, b"Fichier resultat: a.bmp\n"),
            ("binary", bytes(range(1, 256)) + b"\n", good, unknown % 1 + unknown % 2),
            ("zero bytes", b"\0\0Source a\0 b\nSou\0rce a b\n", good, unknown % 2),
            ("line of 10 MB", b"x" * 10**7 + b"\n", good, unknown % 10011 + b"Image de reference"),
            ("29999 images", many, good, b"Traitement de l'image 29999 (moved.bmp)\n"),
            ("carriage returns", b"Rem\r\nQuitter\r\nTranslation 0\r\n", good, unknown % 1 + unknown % 2 + b"Decalage"),
        )
        for what, odd, then, message in cases:
            with self.subTest(what):
                outcome = run(odd + then, {"ref.bmp": reference, "moved.bmp": moved})
                self.assertIn(message, outcome.console)
                self.assertEqual((outcome.status, outcome.files.get("a.bmp")), (0, restored))

    def test_files_that_meet(self):
        files = {"ref.bmp": reference, "moved.bmp": moved}
        overwritten = run(b"Reference ref.bmp\nSource moved.bmp moved.bmp\nSource ref.bmp ref.bmp\n"
                          b"Source moved.bmp ref.bmp\n", files)
        self.assertEqual(overwritten.files["moved.bmp"], restored)
        self.assertEqual(overwritten.files["shift.lst"], b"3 -2 \n0 0 \n0 0 \n")
        composite = run(b"Reference ref.bmp\nCompositage a\nSource moved.bmp a.bmp\n", files)
        self.assertEqual(composite.files["a.bmp"], restored)
        self.assertEqual(composite.console.count(b"Sauvegarde d'une image a.bmp FIN\n"), 2)
        itself = run(b"Reference ref.bmp\nSource script a.bmp\nSource moved.bmp script\n", files)
        self.assertEqual((itself.status, itself.files), (-signal.SIGABRT, {"shift.lst": b""}))


full_script = (b"Reference ref.bmp\nCompositage sum\nBloc 10 4 1 1\n"
               b"Source moved.bmp a.bmp\nSource moved.bmp b.bmp\n")
full_files = {"ref.bmp": reference, "moved.bmp": moved}


class Faults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.whole = run(full_script, full_files)

    def test_full_disk(self):
        """Each limit is just enough for some files: 9270 bytes a picture, 9024 a channel, 12 the shift list."""
        for limit in (9270, 9269, 9023, 4096, 54, 11, 7, 0):
            with self.subTest(limit):
                outcome = run(full_script, full_files,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
                self.assertEqual(outcome.status, 0 if limit == 9270 else 1)
                self.assertTrue(outcome.console.endswith(end))
                for name, content in self.whole.files.items():
                    cut = len(content) > limit
                    part = content[:limit] if name == "shift.lst" else None  # a picture is whole or gone, lines stay
                    self.assertEqual(outcome.files.get(name), part if cut else content, name)
                    self.assertEqual(cannot_write(name.encode()) in outcome.console, cut, name)

    def test_outputs_that_cannot_be(self):
        for name in (b"/dev/full", b"no/such/folder.bmp", b".", b"link"):
            with self.subTest(name):
                outcome = run(b"Reference ref.bmp\nSource moved.bmp " + name + b"\nSource moved.bmp b.bmp\n", full_files,
                              prepare=lambda directory: os.symlink("/dev/full", os.path.join(directory, "link")))
                self.assertIn(b"Sauvegarde d'une image " + name + cannot_write(name) + heading(2, b"moved.bmp"),
                              outcome.console)
                self.assertEqual((outcome.status, outcome.files["b.bmp"]), (1, restored))
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))

    def check_refused(self, outcome, whole, what):
        """The run is whole, or says what it lacks and ends as a fatal error does. Returns whether it is whole."""
        refused = outcome.status == -signal.SIGABRT and outcome.console.endswith(out_of_memory + fatal_lines)
        if outcome != whole and not refused:
            with self.subTest(what):
                self.fail(f"status {outcome.status}, {outcome.console[-200:]}")
        return outcome == whole

    @unittest.skipIf(sanitized, "a sanitizer takes address space for itself")
    def test_address_space_limited(self):
        files = {"ref.bmp": make_bmp(make_texture(320, 240))}
        script = b"Reference ref.bmp\nCompositage sum\nBloc 10 4 1 0.5\nOptiTranslation 20\nSource ref.bmp a.bmp\n"
        whole, good = run(script, files), []
        for kilobytes in range(12000, 0, -16):
            limit = kilobytes * 1024
            outcome = run(script, files, stderr=subprocess.DEVNULL,
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))
            if outcome.status == 127:  # the libraries have no room: the program does not even start
                break
            good.append(self.check_refused(outcome, whole, f"{kilobytes} KiB"))
        self.assertEqual((good[0], good[-1]), (True, False))

    @unittest.skipIf(sanitized, "a sanitizer brings allocations of its own")
    def test_every_allocation_refused(self):
        for settings in (b"Bloc 20 4 1 0.5\n", b"Bloc 20 4 1 1\n", b"Angle -1 1 0.5\nTranslation 2\n"):
            script, number, good_in_a_row = full_script.replace(b"Bloc 10 4 1 1\n", settings), 0, 0
            whole = run(script, full_files)
            while good_in_a_row < 20:  # behind the last allocation; the C library makes up for few of its own
                number += 1
                outcome = run(script, full_files,
                              env={"LD_PRELOAD": os.environ["REFUSE_MEMORY"], "REFUSE": str(number)})
                good = self.check_refused(outcome, whole, f"{settings}, allocation {number}")
                good_in_a_row = good_in_a_row + 1 if good else 0
            self.assertGreater(number, 50)

    def test_standard_streams_gone(self):
        reading, writing = os.pipe()
        os.close(reading)
        closed = {"stdin": None, "stdout": None, "preexec_fn": lambda: os.closerange(0, 3)}
        cases = {"all closed": closed, "output closed": {"stdout": None, "preexec_fn": lambda: os.close(1)},
                 "nobody reads": {"stdout": writing}, "full": {"stdout": open("/dev/full", "wb")}}
        for what, options in cases.items():
            with self.subTest(what):
                outcome = run(full_script, full_files, **options)
                self.assertEqual((outcome.status, outcome.files), (0, self.whole.files))
        os.close(writing)
        cases["full"]["stdout"].close()
        fatal = run(b"", {}, stdin=None, preexec_fn=lambda: os.close(0))
        self.assertEqual((fatal.status, fatal.console.endswith(fatal_lines)), (-signal.SIGABRT, True))

    def test_killed(self):
        script = b"Reference ref.bmp\nBloc 4 4 2 0.5\n" + b"".join(b"Source moved.bmp r%i.bmp\n" % i for i in range(2000))
        whole = run(b"Reference ref.bmp\nBloc 4 4 2 0.5\nSource moved.bmp r.bmp\n", full_files).files["r.bmp"]
        for signal_number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(signal_number), tempfile.TemporaryDirectory() as directory:
                write_files(directory, {"script": script, **full_files})
                process = subprocess.Popen([program, "script"], cwd=directory, stdout=subprocess.DEVNULL)
                deadline = time.monotonic() + 100
                while not os.path.exists(os.path.join(directory, "r7.bmp")) and time.monotonic() < deadline:
                    time.sleep(0.001)
                process.send_signal(signal_number)
                self.assertEqual(process.wait(30), -signal_number)
                files = read_files(directory)
                results = sum(f"r{i}.bmp" in files for i in range(2000))
                self.assertGreaterEqual(results, 8)
                for i in range(results - 1):  # the last one may be unfinished
                    self.assertEqual(files[f"r{i}.bmp"], whole, i)
                self.assertIn(files["shift.lst"], (b"3 -2 \n" * results, b"3 -2 \n" * (results + 1)))


class Load(unittest.TestCase):
    def measure(self, count):
        """Peak memory in KiB of a run of that many images, and its files. The program waits at its end: read it there."""
        with tempfile.TemporaryDirectory() as directory:
            script = b"Reference ref.bmp\nCompositage sum\n" + b"Source moved.bmp a.bmp\n" * count
            write_files(directory, {"ScriptQuillorne2.txt": script, **full_files})
            process = subprocess.Popen([program], cwd=directory, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            for line in process.stdout:
                if line.startswith(b"Appuyez sur entree pour quitter"):
                    break
            with open(f"/proc/{process.pid}/status") as status:
                peak = int(re.search(r"VmHWM:\s+(\d+)", status.read())[1])
            process.communicate(b"\n", timeout=30)
            return peak, read_files(directory)

    def test_memory_does_not_grow_with_the_images(self):
        few, _ = self.measure(50)
        many, files = self.measure(5000)
        self.assertEqual(files["shift.lst"], b"3 -2 \n" * 5000)
        self.assertEqual(files["a.bmp"], restored)
        # Samples are scaled to 127 images; the last row of the restored picture is that of the reference, shortened.
        blue, _, red = reference_rows[47][0]
        for name, value in (("sumB.fit", blue), ("sumR.fit", red)):
            self.assertEqual(files[name][2880:2882], struct.pack(">h", 127 * value), name)
        if not sanitized:
            self.assertLess(many - few, 1024)  # the names and the text of the script alone


if __name__ == "__main__":
    unittest.main()
