"""What a run on Windows may do otherwise than elsewhere: file names, line ends, the end by a fatal error."""

import unittest

from whole_runs import *

rows = make_texture(40, 30)
files = {"référence_1.bmp": make_bmp(rows), "月.bmp": make_bmp(shift_rows(rows, 3, -2, (0, 0, 0)))}
script = "Reference référence_1.bmp\nTranslation 5\nOptiTranslation 1\nSource 月.bmp étoile.bmp\nCompositage sömme\n"


class Windows(unittest.TestCase):
    def test_names_in_utf_8(self):
        outcome = run(b"Rem: nothing", {**files, "séance.txt": script.encode()}, arguments=["séance.txt"])
        self.assertEqual(outcome.status, 0, outcome.console)
        self.assertEqual(set(outcome.files), {"shift.lst", "étoile.bmp", "sömme.bmp", "sömmeR.fit", "sömmeV.fit",
                                              "sömmeB.fit"})
        self.assertIn("étoile.bmp FIN\n".encode(), outcome.console)
        self.assertEqual(outcome.files["shift.lst"].split(), [b"3", b"-2"])

    def test_line_feeds_alone(self):
        outcome = run(script.encode() + b"Source none.bmp none2.bmp\n", files)
        self.assertIn(b"none.bmp", outcome.console)
        self.assertNotIn(b"\r", outcome.console + outcome.notices + outcome.files["shift.lst"])

    def test_fatal_error_ends_abnormally_and_at_once(self):
        outcome = run(b"Compositage sum\n", {})
        self.assertEqual((outcome.status, outcome.notices), (3, b""))
        self.assertTrue(outcome.console.endswith(fatal_lines), outcome.console)

    def test_closed_streams(self):
        whole = run(script.encode(), files)
        for stream in ("<&-", ">&-", "2>&-"):
            with self.subTest(closed=stream):
                closed = run(script.encode(), files, command=["sh", "-c", f'exec "$@" {stream}', "-", *program])
                self.assertEqual((closed.status, closed.files), (0, whole.files))


if __name__ == "__main__":
    unittest.main()
