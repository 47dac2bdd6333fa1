"""The check of the manual must find what is wrong in a text: each case is a text with one fault, or with none.

    manual_checks.py FACTS.JSON
"""

import json
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "docs/manual/tools"))
import manual  # noqa: E402

FACTS = json.loads(Path(sys.argv.pop()).read_text(encoding="utf-8"))
SOURCES = manual.Sources()
SEPARATION = manual.Separation()


def book_of(text, facts=FACTS, name="quickstart"):
    return manual.Book(name, facts, SOURCES, SEPARATION, [("text.md", text)])


class Marks(unittest.TestCase):
    def filled(self, text):
        book = book_of(text)
        self.assertEqual(book.errors, [])
        return book.filled[0][1]

    def test_are_filled_with_what_the_program_says(self):
        self.assertIn("<kbd>Ctrl</kbd><kbd>X</kbd>", self.filled("Press {key:exportGroup}."))
        self.assertIn("Export&nbsp;▸ Export Group", self.filled("Take {menu:exportGroup}."))
        self.assertIn("<kbd>Space</kbd>", self.filled("{key:playOrStop}"))
        self.assertIn("<kbd>1</kbd></span> to <span", self.filled("{keys:drumType}"))
        self.assertIn("50\u00a0%", self.filled("{start:focusA}"))
        self.assertIn("HiHat", self.filled("{type:hiHat}"))

    def test_of_keys_that_hold_a_plus(self):
        self.assertIn("<kbd>Ctrl</kbd><kbd>+</kbd>", self.filled("{key:zoomInVertically}"))
        self.assertNotIn("Shift", self.filled("{keys:zoomIn}"))

    def test_inside_a_caption(self):
        text = self.filled("{figure:dock|50%|Press {key:bypass}.}")
        self.assertIn("<kbd>B</kbd>", text)
        self.assertNotIn("{", text)


class Systems(unittest.TestCase):
    TEXT = "{linux:bash }{windows:cmd}\n{linux}\n`man tessivar-cli`\n{end}\n{windows}\nPress {key:nowhere}.\n{end}\n"

    def test_have_their_own_words_and_faults_with_their_lines(self):
        linux, windows = (book_of(self.TEXT, {**FACTS, "system": system}) for system in manual.SYSTEMS)
        self.assertEqual(linux.errors, [])
        self.assertEqual(linux.filled[0][1].split(), ["bash", "`man", "tessivar-cli`"])
        self.assertEqual(windows.filled[0][1].split(), ["cmd", "Press", "."])
        self.assertTrue(windows.errors[0].startswith("text.md:6:"), windows.errors)


class Faults(unittest.TestCase):
    def assert_fault(self, text, part):
        errors = book_of(text).errors
        self.assertEqual(len(errors), 1, errors)
        self.assertIn(part, errors[0])
        self.assertTrue(errors[0].startswith("text.md:1:") or "\n" in text, errors[0])

    def test_in_marks(self):
        self.assert_fault("{key:closeAllGroups}", "nothing like")  # described, but served by nobody
        self.assert_fault("{key:settings}", "nothing like")  # a command without a key
        self.assert_fault("{menu:playStop}", "nothing like")
        self.assert_fault("{ui:Frobnicate the Group}", "nothing like")
        self.assert_fault("{start:focusC}", "nothing like")
        self.assert_fault("{const:noSuchNumber}", "nothing like")
        self.assert_fault("{sep:standard/9/all}", "nothing like")
        self.assert_fault("{ref:nowhere}", "nothing like")
        self.assert_fault("{figure:nowhere|50%|A picture that isn't there}", "nothing like")
        self.assert_fault("{colour:red}", "unknown mark")
        self.assert_fault("{key:bypass", "not closed")

    def test_in_what_ought_to_be_marked(self):
        self.assert_fault("Press Ctrl+S to save.", "a key that is not marked")
        self.assert_fault("F11 fills the screen.", "a key that is not marked")
        self.assert_fault("File ▸ Quit", "a menu that is not marked")

    def test_in_listings(self):
        self.assert_fault("```\ntessivar-cli frobnicate x\n```", "no command frobnicate")
        self.assert_fault("```\ntessivar-cli verify x --focus 3\n```", "verify has no option --focus")
        self.assert_fault("```\ntessivar-cli process x --out y \\\n    --setting A\n```", "no option --setting")
        self.assert_fault("There is `--frobnicate` too.", "no command has the option")
        self.assertEqual(book_of("```\nparallel tessivar-cli process {} --out y ::: *\n```").errors, [])


class Completeness(unittest.TestCase):
    def errors_with(self, change):
        facts = json.loads(json.dumps(FACTS))
        change(facts)
        books = [manual.Book(name, facts, SOURCES, SEPARATION) for name in manual.BOOKS]
        return manual.check(facts, SOURCES, SEPARATION, books)

    def test_the_text_as_it_is(self):
        self.assertEqual(self.errors_with(lambda facts: None), [])

    def test_a_new_key_command_or_menu_entry_is_missed(self):
        def add(facts):
            facts["windowKeys"]["newThing"] = ["Y"]
            facts["commands"]["newCommand"] = {"text": "New Command", "menu": None, "keys": ["Ctrl+J"]}

        errors = self.errors_with(add)
        self.assertEqual(len(errors), 2, errors)
        self.assertTrue(any("newThing" in error for error in errors))

    def test_a_key_that_went_is_noticed(self):
        errors = self.errors_with(lambda facts: facts["windowKeys"].pop("bypass"))
        self.assertTrue(errors)
        self.assertTrue(all("bypass" in error for error in errors), errors)


class Strings(unittest.TestCase):
    def test_of_sources_are_joined_and_decoded(self):
        source = '#include "app/None.h"\n// "no string"\nf ("Kept" " and\\nremoved", "Locate\\xe2\\x80\\xa6");'
        self.assertEqual(list(manual.strings_of(source)), ["Kept and\nremoved", "Locate…"])


if __name__ == "__main__":
    unittest.main()
