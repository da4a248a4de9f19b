"""Whole runs of the program from outside: what it prints, what it leaves behind, how it ends."""

import os
import pathlib
import resource
import signal
import stat
import struct
import threading
import unittest

from whole_runs import *

reference_rows = make_texture(64, 48)
reference = make_bmp(reference_rows)
moved = make_bmp(shift_rows(reference_rows, 3, -2, (9, 9, 9)))
# Brought back, the moved picture has what it still shows of the reference in its place, and no data beside.
restored = make_bmp(shift_rows(shift_rows(reference_rows, 3, -2, (9, 9, 9)), -3, 2, (0, 0, 0)))
far = make_bmp(shift_rows(reference_rows, 10, 4, (9, 9, 9)))
high = make_bmp(shift_rows(reference_rows, 2, -10, (9, 9, 9)))
usual_files = {"ref.bmp": reference, "moved.bmp": moved}

start = (b"Trop de fichiers : seul le premier fichier pourra \x90tre traite\n"
         b"Veuillez faire un script pour lancer plusieurs fois Quillorne\n"
         b"**************************************\n"
         b"****        Quillorne v2.1        ****\n"
         b"****      L'equipe Quillorne      ****\n"
         b"****        24 Avril 2002         ****\n"
         b"**************************************\n"
         b"****        Portage Linux         ****\n"
         b"****        voir README.md        ****\n"
         b"**************************************\n\n"
         b"Lecture des parametres\n\nFichier de script : script\n\n\n")
ruler = b"-" * 50 + b"\n"
search = b"Recherche de la meilleure translation : \n" + ruler + b"(Temps Phase1 : T)\nAjustement global : \n" + ruler
bound_reached = b"\n!!! Attention : la valeur maximum de decalage autoris\x8ee a ete atteinte.\n"
end = b"\nTemps pour l'ensemble du calcul: T secondes\nFin de l'execution de Quillorne\n"
out_of_memory = b"Erreur : pas assez de memoire \n"
incomplete = b"Attention : fichier incomplet, les pixels manquants sont sans donnees : bad.bmp\n"
unsupported = b"Erreur fatale: mode d'image non supporte\n"
compressed = b"Fichier BMP compresse: chargement impossible\n"


def heading(entry, name):
    return b"\n" + b"*" * 50 + b"\nTraitement de l'image %i (%s)\n" % (entry, name)


def cannot_write(name):
    return b"Erreur : impossible d'ecrire le fichier " + name + b"\n"


class EndToEnd(unittest.TestCase):
    def test_console_shift_list_and_pictures(self):
        """With names that a format, another character set or a line end in them could break."""
        outcome = run(b"Reference ref.bmp\nAngle 0\nBloc 0\nCompositage ./sum.bmp\n"
                      b"Source moved.bmp a%n\x8e.bmp\r 32 24\n"
                      b"bogus\nSource gone%s.bmp b.bmp\nSource far%n\xe9.bmp c.bmp\nSource high.bmp d.bmp\n",
                      usual_files | {os.fsdecode(b"far%n\xe9.bmp"): far, "high.bmp": high},
                      arguments=("script", "other"))
        self.assertEqual(outcome.console, start + b"Image de reference: ref.bmp\nAngle min=0.000000  \n"
                         b"Largeur de grille=0  \nImage compositee: ./sum.bmp\n"
                         b"Image source: moved.bmp Fichier resultat: a%n\x8e.bmp\r Point x0=32 y0=24\n"
                         b"*********** Commande inconnue ligne 6\n"
                         b"Image source: gone%s.bmp Fichier resultat: b.bmp\n"
                         b"Image source: far%n\xe9.bmp Fichier resultat: c.bmp\n"
                         b"Image source: high.bmp Fichier resultat: d.bmp\n"
                         b"Chargement du fichier ref.bmp" + heading(1, b"moved.bmp") +
                         b"Chargement du fichier moved.bmp" + search + b"\nDeltaX=3   DeltaY=-2\n"
                         b"Temps total de calcul pour l'image: T secondes\nSauvegarde d'une image a%n\x8e.bmp\r FIN\n" +
                         heading(2, b"gone%s.bmp") +
                         b"Chargement du fichier gone%s.bmpErreur : impossible d'ouvrir l'image gone%s.bmp\n" +
                         heading(3, b"far%n\xe9.bmp") +
                         b"Chargement du fichier far%n\xe9.bmp" + search + b"\nDeltaX=10   DeltaY=4\n" + bound_reached +
                         b"Temps total de calcul pour l'image: T secondes\nSauvegarde d'une image c.bmp FIN\n" +
                         heading(4, b"high.bmp") +
                         b"Chargement du fichier high.bmp" + search + b"\nDeltaX=2   DeltaY=-10\n" + bound_reached +
                         b"Temps total de calcul pour l'image: T secondes\nSauvegarde d'une image d.bmp FIN\n"
                         b"Sauvegarde de l'image compositee : ./sum.bmp\nSauvegarde d'une image .bmp FIN\n" + end)
        self.assertEqual(outcome.status, 0)
        self.assertEqual(outcome.files["shift.lst"], b"3 -2 \n10 4   Non optimal\n2 -10   Non optimal\n")
        self.assertEqual(outcome.files[os.fsdecode(b"a%n\x8e.bmp\r")], restored)
        self.assertEqual(sorted(map(os.fsencode, outcome.files)),
                         [b".bmp", b"B.fit", b"R.fit", b"V.fit", b"a%n\x8e.bmp\r", b"c.bmp", b"d.bmp", b"shift.lst"])

    def test_composite_bytes(self):
        # Twice the same picture and one that is missing: sums of two, means over three.
        rows = [[(3, 60, 120), (90, 30, 255)], [(0, 6, 200), (33, 99, 150)]]
        outcome = run(b"Reference ref.bmp\nOptiTranslation 1\nCompositage sum.dir/x.bmp\n"
                      b"Source ref.bmp a.bmp\nSource ref.bmp b.bmp\nSource gone.bmp c.bmp\n",
                      {"ref.bmp": make_bmp(rows)})
        self.assertEqual(outcome.files["a.bmp"], make_bmp(rows))
        means = [[tuple(2 * byte // 3 for byte in pixel) for pixel in row] for row in rows]
        self.assertEqual(outcome.files["sum.bmp"], make_bmp(means))
        cards = [("SIMPLE", "T"), ("BITPIX", "16"), ("NAXIS", "2"), ("NAXIS1", "2"), ("NAXIS2", "2"),
                 ("MIPS-HI", "768"), ("MIPS-LO", "0")]
        header = ("".join(f"{keyword:8}={value:>21}{'':50}" for keyword, value in cards) + "END").ljust(2880)
        samples = {"sumB.fit": (0, 66, 6, 180), "sumV.fit": (12, 198, 120, 60), "sumR.fit": (400, 300, 240, 510)}
        for name, values in samples.items():
            self.assertEqual(outcome.files[name], header.encode() + struct.pack(">4h", *values), name)

    def test_angles_without_end(self):
        for angles in (b"inf inf 1", b"-inf inf 1", b"nan 1 1", b"0 nan 1"):
            with self.subTest(angles):
                outcome = run(b"Reference ref.bmp\nAngle " + angles + b"\nSource moved.bmp a.bmp\n", usual_files,
                              timeout=30)
                self.assertEqual((outcome.status, outcome.console.endswith(end)), (0, True))

    def test_words_that_ask_for_help(self):
        for word, text in ((b"--help", b"Usage : quillorne [SCRIPT]\n"), (b"--version", b"quillorne ")):
            outcome = run(b"", {}, arguments=(word,))
            self.assertEqual((outcome.status, outcome.console[:len(text)], outcome.files), (0, text, {}))
            self.assertIn(b"Angle min=1", run(b"", {os.fsdecode(word): b"Angle 1"}, arguments=(word,)).console)

    def test_killed_run_keeps_the_console_of_its_pictures(self):
        """The second picture is a pipe that nobody writes to: the run stands still there."""
        with waiting_run(b"Reference ref.bmp\nSource ref.bmp a.bmp\nSource pipe b.bmp\n", usual_files,
                         b"Sauvegarde d'une image a.bmp FIN\n",
                         lambda directory: os.mkfifo(os.path.join(directory, "pipe"))) as process:
            self.assertIsNone(process.poll())
            process.kill()

    def test_waits_for_a_key_behind_its_messages(self):
        for script, last_line, status in ((b"Reference ref.bmp\n", waiting_line, 0),
                                          (b"Reference gone.bmp\n", b"Fatal error. Press return.\n", -signal.SIGABRT)):
            with self.subTest(last_line), waiting_run(script, {"ref.bmp": reference}, last_line) as process:
                self.assertIsNone(process.poll())
                process.communicate(b"\n", timeout=30)
                self.assertEqual(process.returncode, status)

    def test_whole_list(self):
        missing = b"".join(b"Source gone.bmp b%i.bmp\n" % i for i in range(29998))
        outcome = run(missing + b"Reference ref.bmp\nSource moved.bmp a.bmp\n", usual_files)
        self.assertIn(heading(29999, b"moved.bmp"), outcome.console)
        self.assertEqual((outcome.status, outcome.files["a.bmp"]), (0, restored))

    def test_own_results_as_sources(self):
        """A part of the picture, too: it is laid on the reference's origin and not on its own middle."""
        part = make_bmp([row[:58] for row in reference_rows[:42]])
        outcome = run(b"Reference ref.bmp\nSource part.bmp b.bmp\nSource moved.bmp moved.bmp\nSource ref.bmp ref.bmp\n"
                      b"Source moved.bmp ref.bmp\n", usual_files | {"part.bmp": part})
        self.assertEqual((outcome.files["b.bmp"], outcome.files["moved.bmp"]), (part, restored))
        self.assertEqual(outcome.files["shift.lst"], b"0 0 \n3 -2 \n0 0 \n0 0 \n")

    def test_fatal_errors(self):
        def occupy_shift_list(directory):
            os.mkdir(os.path.join(directory, "shift.lst"))

        files = {"ref.bmp": reference}
        one_too_many = b"".join(b"Source a b\n" for _ in range(30000))
        long_path = "./" * 256
        cases = (
            ("no reference", b"", {}, b"Erreur : pas d'image de reference\n"),
            ("no script", b"", {"arguments": ("%s",)}, b"Impossible d'ouvrir le fichier %s\n"),
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
    def check_picture(self, what, message, fatal, files={}, **options):
        """A source that message is printed for: the run ends there, or goes on to the picture behind it."""
        with self.subTest(what):
            script = b"Reference ref.bmp\nSource moved.bmp a.bmp\nSource bad.bmp bad_out.bmp\nSource moved.bmp b.bmp\n"
            outcome = run(script, usual_files | files, **options)
            on_console = b"Recherche" if message == incomplete else message + (fatal_lines if fatal else b"")
            self.assertIn(b"Chargement du fichier bad.bmp" + on_console, outcome.console)
            self.assertEqual(outcome.notices, incomplete if message == incomplete else b"")
            self.assertEqual(outcome.status, -signal.SIGABRT if fatal else 0)
            self.assertEqual(outcome.files.get("b.bmp"), None if fatal else restored)
            self.assertEqual(outcome.files["a.bmp"], restored)  # what was done before stays
            self.assertEqual(outcome.files["shift.lst"].split(b"\n")[0], b"3 -2 ")
            return outcome

    def test_pictures(self):
        rows = reference[54:]
        cases = [(f"header cut at {cut}", message, fatal, reference[:cut]) for cut, message, fatal in
                 ((0, unsupported, True), (28, unsupported, True), (29, incomplete, False), (54, incomplete, False))]
        cases += [(f"bits {bits}", unsupported, True, make_header(64, 48, bits) + rows) for bits in (0, 1, 4, 16, 32)]
        cases += [(f"size {width} x {height}", out_of_memory, True, make_header(width, height) + rows)
                  for width, height in ((65536, 65536), (2**31 - 1, 1), (1, 2**31 - 1), (2**31 - 1, 2**31 - 1),
                                        (2**31 - 1, -2**31), (-64, 48), (-2**31, 0), (1, -2**31))]
        cases += [(f"size {width} x {height}", b"Recherche", False, make_header(width, height) + bytes(3))
                  for width, height in ((0, 0), (0, 5), (5, 0), (2**31 - 1, 0), (1, 1))]
        cases += [("8 bits", b"La sauvegarde en N&B n'est pas encore possible\n" * 100 + b"Recherche", False,
                   make_header(64, 48, 8) + rows),
                  ("compressed", compressed, True, make_header(64, 48, compression=1) + rows)]
        for what, message, fatal, content in cases:
            self.check_picture(what, message, fatal, {"bad.bmp": content})

    def test_not_plain_files(self):
        def make_pipe(directory):
            path = pathlib.Path(directory, "bad.bmp")
            os.mkfifo(path)
            threading.Thread(target=path.write_bytes, args=(moved,), daemon=True).start()

        self.check_picture("folder", b"Erreur : impossible d'ouvrir l'image bad.bmp\n", False,
                           prepare=lambda directory: os.mkdir(os.path.join(directory, "bad.bmp")))
        outcome = self.check_picture("pipe", b"Recherche", False, prepare=make_pipe)
        self.assertEqual(outcome.files["bad_out.bmp"], restored)


full_script = (b"Reference ref.bmp\nCompositage sum\nBloc 10 4 1 1\n"
               b"Source moved.bmp a.bmp\nSource moved.bmp b.bmp\n")


class Faults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.whole = run(full_script, usual_files)

    def test_full_disk(self):
        """Each limit is just enough for some files: 9270 bytes a picture, 9024 a channel, 12 the shift list."""
        for limit in (9270, 9269, 9023, 4096, 54, 11, 7, 0):
            with self.subTest(limit):
                outcome = run(full_script, usual_files,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
                self.assertEqual(outcome.status, 0 if limit == 9270 else 1)
                self.assertTrue(outcome.console.endswith(end))
                for name, content in self.whole.files.items():
                    cut = len(content) > limit
                    part = content[:limit] if name == "shift.lst" else None  # a picture is whole or gone, lines stay
                    self.assertEqual(outcome.files.get(name), part if cut else content, name)
                    self.assertEqual(cannot_write(name.encode()) in outcome.console, cut, name)

    def test_outputs_that_cannot_be(self):
        def prepare(directory):
            full = os.path.join(directory, "full")
            if os.geteuid() == 0:  # who could delete the machine's own device
                try:
                    os.mknod(full, stat.S_IFCHR | 0o666, os.makedev(1, 7))
                except PermissionError:
                    raise unittest.SkipTest("a root that may not make devices")
            else:
                os.symlink("/dev/full", full)
            os.symlink("full", os.path.join(directory, "link"))

        for name in (b"full", b"link", b"no/such/folder.bmp", b"."):
            with self.subTest(name):  # the second time the device is still there
                line = b"Source moved.bmp " + name + b"\n"
                script = b"Reference ref.bmp\n" + line + line + b"Source moved.bmp b.bmp\n"
                outcome = run(script, usual_files, prepare=prepare)
                for entry in (2, 3):
                    self.assertIn(b"Sauvegarde d'une image " + name + cannot_write(name) + heading(entry, b"moved.bmp"),
                                  outcome.console)
                self.assertEqual((outcome.status, outcome.files), (1, {"b.bmp": restored, "shift.lst": 3 * b"3 -2 \n"}))
        composite = run(b"Reference ref.bmp\nCompositage no/sum\nSource moved.bmp b.bmp\n", usual_files)
        self.assertEqual((composite.status, composite.files["b.bmp"]), (1, restored))

    @unittest.skipIf(sanitized, "a sanitizer brings allocations of its own")
    def test_every_allocation_refused(self):
        """The run is whole, or says what it lacks and ends as a fatal error does."""
        for settings in (b"Bloc 20 4 1 0.5\n", b"Bloc 20 4 1 1\n", b"Angle -1 1 0.5\nTranslation 2\n"):
            stage = b"global : " if b"Angle" in settings else b"hauteur."
            first_star_missing = stage + b"\n-{50}\n[^*]"
            script, number, good_in_a_row = full_script.replace(b"Bloc 10 4 1 1\n", settings), 0, 0
            whole = run(script, usual_files)
            while good_in_a_row < 20:  # behind the last allocation; the C library makes up for few of its own
                number += 1
                outcome = run(script, usual_files,
                              env={"LD_PRELOAD": os.environ["REFUSE_MEMORY"], "REFUSE": str(number)})
                good_in_a_row = good_in_a_row + 1 if outcome == whole else 0
                refused = outcome.status == -signal.SIGABRT and outcome.console.endswith(out_of_memory + fatal_lines)
                with self.subTest(settings, allocation=number):
                    self.assertTrue(outcome == whole or refused, f"status {outcome.status}, {outcome.console[-200:]}")
                    self.assertNotRegex(outcome.console, first_star_missing)
            self.assertGreater(number, 50)

    def test_standard_streams_gone(self):
        reading, writing = os.pipe()
        os.close(reading)
        with open("/dev/full", "wb") as full, open(writing, "wb") as unread:
            cases = {"all closed": {"stdin": None, "stdout": None, "preexec_fn": lambda: os.closerange(0, 3)},
                     "output closed": {"stdout": None, "preexec_fn": lambda: os.close(1)},
                     "nobody reads": {"stdout": unread}, "full": {"stdout": full}}
            for what, options in cases.items():
                with self.subTest(what):
                    outcome = run(full_script, usual_files, **options)
                    self.assertEqual((outcome.status, outcome.files), (0, self.whole.files))


if __name__ == "__main__":
    unittest.main()
