"""The files of the manual: as many pages as promised, small, with bookmarks and embedded fonts, and equal bytes when set
again.

    manual_files.py FACTS.JSON FOLDER
"""

import re
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "docs/manual/tools"))
import manual  # noqa: E402

FOLDER = Path(sys.argv.pop())
FACTS = Path(sys.argv.pop())
LARGEST = 5_000_000  # bytes, both together


class Files(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = {name: (FOLDER / file).read_bytes() for name, file in manual.BOOKS.items()}

    def objects(self, name):
        """The file's text with its streams unpacked, as far as they are text."""
        data = self.files[name]
        unpacked = [data]
        for stream in re.findall(rb"stream\r?\n(.*?)\r?\nendstream", data, re.S):
            try:
                unpacked.append(zlib.decompress(stream))
            except zlib.error:
                pass
        return b"\n".join(unpacked)

    def pages(self, name):
        return max(int(count) for count in re.findall(rb"/Count (\d+)\s*/Kids|/Type /Pages[^>]*?/Count (\d+)",
                                                      self.objects(name))[0] if count)

    def test_length(self):
        self.assertTrue(15 <= self.pages("manual") <= 36, self.pages("manual"))
        self.assertEqual(self.pages("quickstart"), 2)

    def test_size(self):
        self.assertLess(sum(len(data) for data in self.files.values()), LARGEST)

    def test_bookmarks_and_fonts(self):
        content = self.objects("manual")
        self.assertIn(b"/Outlines", content)
        self.assertIn(b"Inter", content)
        self.assertIn(b"/FontFile", content)

    def test_no_path_of_the_machine(self):
        for name in self.files:
            self.assertNotIn(str(ROOT).encode(), self.objects(name))

    def test_set_again(self):
        import json
        with tempfile.TemporaryDirectory() as folder:
            facts = json.loads(FACTS.read_text(encoding="utf-8"))
            self.assertEqual(manual.build(facts, Path(folder), list(manual.BOOKS)), 0)
            for name, file in manual.BOOKS.items():
                self.assertTrue((Path(folder) / file).read_bytes() == self.files[name], f"{file} differs")


if __name__ == "__main__":
    unittest.main()
