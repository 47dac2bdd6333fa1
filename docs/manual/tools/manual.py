#!/usr/bin/env python3
"""Checks and sets the manual.

    manual.py check --facts FACTS.JSON            every statement against the program; needs Python alone
    manual.py build --facts FACTS.JSON --output FOLDER   both PDF files; needs weasyprint and python3-markdown.
                                                         What is wrong is told, and is for the check to refuse.

FACTS.JSON is what tessivar_manual_facts prints. The text holds no key, menu entry, message or default itself, but marks
that are filled in here:

    {key:NAME}           the key of a command or of the window, first one   {keys:NAME}  all of them
    {menu:NAME}          a command's place in the menus                     {command:NAME}  its name alone
    {start:NAME} {limit:NAME} {folder:NAME} {message:NAME} {type:WORD}      values of the facts
    {const:NAME} {percent:NAME}  a constexpr number of the sources, the second as per cent
    {ui:TEXT}            words of the window; they must be a string of the sources; * stands for what is filled in
    {gesture:Ctrl}       a key that belongs to the mouse or to a text field, not to the window
    {sep:METHOD/FOCUS/COLUMN} {septrack:SESSION/TRACK/COLUMN}  figures of docs/separation.md
    {ref:NAME}           "Figure 3"            {chapter:ID}  "chapter 4"
    {figure:NAME|WIDTH|CAPTION}  on a line of its own
    {table:NAME}         a table made of the facts: drumTypes, commands, exitCodes, separation, menus
    {linux:TEXT} {windows:TEXT}  words for one system alone, which is that of the facts; longer passages, with listings,
                         stand between a line {linux} or {windows} and a line {end}

Anything in the text that looks like a key, an option of the command line or a menu and is not marked is an error.
"""

import argparse
import html
import json
import os
import re
import sys
from pathlib import Path

MANUAL = Path(__file__).resolve().parent.parent
ROOT = MANUAL.parent.parent
BOOKS = {"manual": "tessivarManual.pdf", "quickstart": "tessivarQuickStartGuide.pdf"}
SYSTEMS = ("Linux", "Windows")
CHAPTERS = {"manual": sorted((MANUAL / "text").glob("[0-9]*.md")), "quickstart": [MANUAL / "text/quickstart.md"]}

MARK = re.compile(r"\{([a-zA-Z]+):([^{}]*)\}")
PASSAGE = re.compile(r"^\{(\w+)\}\n(.*?)^\{end\}$", re.M | re.S)
UNMARKED_KEY = re.compile(r"\b(Ctrl|Alt|Shift)\s?\+|\b(Ctrl|Alt|Shift)-(?!click)|\bF([1-9]|1[0-2])\b")
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")
SOURCE_FOLDERS = ("app", "ui", "jobs", "model", "playback")


class Sources:
    """The strings and the numbers that stand in the program's sources."""

    def __init__(self, root=ROOT):
        text = []
        self.strings = set()
        for folder in SOURCE_FOLDERS:
            for path in sorted((root / folder).rglob("*")):
                if path.suffix in (".cpp", ".h"):
                    content = path.read_text(encoding="utf-8")
                    text.append(content)
                    self.strings.update(strings_of(content))
        self.text = "\n".join(text)

    def has(self, words):
        """Whether the words are a string of the program; each piece between asterisks may be part of one."""
        if "*" not in words:
            return words in self.strings or words + "…" in self.strings
        pieces = [piece for piece in words.split("*") if piece.strip()]
        return all(any(piece in string for string in self.strings) for piece in pieces)

    def number(self, name):
        found = {float(value) for value in
                 re.findall(r"constexpr[^;]*?\b" + name + r"\s*=\s*(-?[0-9.]+)f?\b", self.text)}
        return found.pop() if len(found) == 1 else None


def strings_of(source):
    """String literals, neighbours joined, escapes undone."""
    source = re.sub(r"^\s*//.*$|^\s*#include.*$", "", source, flags=re.M)
    literal = r'"((?:[^"\\\n]|\\.)*)"'
    for match in re.finditer(literal + r"(?:\s*" + literal + r")*", source):
        joined = b"".join(undone(piece) for piece in re.findall(literal, match.group(0)))
        yield joined.decode("utf-8", errors="replace")


def undone(piece):
    simple = {"n": b"\n", "t": b"\t", "0": b"\0"}

    def byte(match):
        if match.group(1):
            return chr(int(match.group(1), 16))
        return simple.get(match.group(2), match.group(2).encode()).decode("latin-1")

    latin = piece.encode("utf-8").decode("latin-1")
    return re.sub(r"\\x([0-9a-fA-F]+)|\\(.)", byte, latin).encode("latin-1")


class Separation:
    """The two tables of docs/separation.md."""

    def __init__(self, path=ROOT / "docs/separation.md"):
        self.tables = []
        rows = None
        for line in path.read_text(encoding="utf-8").splitlines():
            if line.startswith("|"):
                cells = [cell.strip() for cell in line.strip("|").split("|")]
                if rows is None:
                    rows = []
                    self.tables.append((cells, rows))
                elif not set("".join(cells)) <= set("- "):
                    rows.append(cells)
            else:
                rows = None

    def value(self, first, second, column):
        for head, rows in self.tables:
            if column in head:
                for row in rows:
                    if row[0] == first and row[1] == second:
                        return row[head.index(column)]
        return None

    def rows(self, method):
        head, rows = self.tables[0]
        return [dict(zip(head, row)) for row in rows if row[0] == method]


def code(text):
    return f"<code>{html.escape(text)}</code>"


def minus(text):
    return re.sub(r"^-(?=\d)", "−", text)


def keycaps(key):
    arrows = {"Up": "↑", "Down": "↓", "Left": "←", "Right": "→"}
    parts = key[:-1].rstrip("+").split("+") + ["+"] if key.endswith("+") else key.split("+")
    caps = "".join(f"<kbd>{html.escape(arrows.get(part, part))}</kbd>" for part in parts if part)
    return f'<span class="keys">{caps}</span>'


class Book:
    """One book: its text with every mark filled in, and what was wrong with it."""

    def __init__(self, name, facts, sources, separation, texts=None):
        self.name = name
        self.facts = facts
        self.sources = sources
        self.separation = separation
        self.errors = []
        self.used = {"key": set(), "command": set(), "cli": set()}
        self.figures = {}
        self.chapters = {}
        self.command = ""  # of the listing that is being read
        texts = texts if texts is not None else \
            [(path.name, path.read_text(encoding="utf-8")) for path in CHAPTERS[name]]
        self.texts = [(path, PASSAGE.sub(self.passage, text)) for path, text in texts]
        self.number_things()
        self.filled = [(path, self.fill(path, text)) for path, text in self.texts]

    def is_for(self, system):
        return system == self.facts["system"].lower()

    def passage(self, match):
        """What is for another system leaves its lines empty, so that faults are still told by their lines."""
        text = match.group(2) if self.is_for(match.group(1)) else "\n" * match.group(2).count("\n")
        return f"\n{text}"

    def number_things(self):
        for _, text in self.texts:
            for match in re.finditer(r"^\{figure:([\w-]+)\|", text, re.M):
                self.figures[match.group(1)] = len(self.figures) + 1
            for match in re.finditer(r"^# .*\{#([\w-]+)\}\s*$", text, re.M):
                self.chapters[match.group(1)] = len(self.chapters) + 1

    def wrong(self, place, what):
        self.errors.append(f"{place}: {what}")

    def fill(self, path, text):
        lines, in_code = [], False
        for number, line in enumerate(text.splitlines(), 1):
            place = f"{path}:{number}"
            if line.startswith("```"):
                in_code = not in_code
            elif in_code:
                self.check_command_line(place, line)
            else:
                plain = re.sub(r"`[^`]*`", "", line)
                while MARK.search(plain):
                    plain = MARK.sub("", plain)
                self.check_unmarked(place, plain)
                self.check_options(place, line)
            lines.append(line if in_code else self.fill_line(place, line))
        return "\n".join(lines) + "\n"

    def fill_line(self, place, line):
        """Marks may stand inside marks: the caption of a figure names keys."""
        filled = MARK.sub(lambda mark: self.mark(place, mark), line)
        return self.fill_line(place, filled) if MARK.search(filled) else filled

    def check_unmarked(self, place, line):
        if match := UNMARKED_KEY.search(line):
            self.wrong(place, f"a key that is not marked: {match.group(0)}")
        if "›" in line or "▸" in line:
            self.wrong(place, "a menu that is not marked")
        if "{" in line and not re.search(r"\{[#:]", line):
            self.wrong(place, "a mark that is not closed, or a brace")

    def check_options(self, place, line):
        known = {option for command in self.facts["commandLine"]["commands"].values() for option in command["options"]}
        known.update(self.facts["commandLine"]["programOptions"])
        for option in OPTION.findall(line):
            if option not in known:
                self.wrong(place, f"no command has the option {option}")

    def check_command_line(self, place, line):
        """A line of a listing: the command must exist and have every option that is used."""
        line = line.strip()
        if (start := line.find("tessivar-cli ")) >= 0:
            line = line[start:]
            words = line.split()
            self.command = words[1] if len(words) > 1 else ""
            if self.command not in self.facts["commandLine"]["commands"] and not self.command.startswith("--"):
                return self.wrong(place, f"there is no command {self.command}")
            self.used["cli"].add(self.command)
        elif not line.startswith("--") or not self.command:
            return None
        options = self.facts["commandLine"]["commands"].get(self.command, {}).get("options", [])
        options = options or self.facts["commandLine"]["programOptions"]
        for option in OPTION.findall(line):
            if option not in options:
                self.wrong(place, f"{self.command} has no option {option}")
        return None

    # Marks

    def mark(self, place, match):
        kind, value = match.groups()
        handler = getattr(self, f"mark_{kind}", None)
        if handler is None:
            self.wrong(place, f"unknown mark {{{kind}:...}}")
            return ""
        result = handler(value)
        if result is None:
            self.wrong(place, f"the program has nothing like {{{kind}:{value}}}")
            return ""
        return result

    def keys_of(self, name):
        self.used["key"].add(name)
        window, commands = self.facts["windowKeys"], self.facts["commands"]
        keys = window.get(name) or commands.get(name, {}).get("keys") or []
        # With Shift the same key again is for keyboards on which it takes Shift.
        return [key for key in keys if not (key.startswith("Shift+") and key[len("Shift+"):] in keys)] or None

    def mark_key(self, name):
        keys = self.keys_of(name)
        return keys and keycaps(keys[0])

    def mark_keys(self, name):
        keys = self.keys_of(name)
        if keys and len(keys) > 4:
            return f"{keycaps(keys[0])} to {keycaps(keys[-1])}"
        return keys and " or ".join(keycaps(key) for key in keys)

    def mark_menu(self, name):
        self.used["command"].add(name)
        command = self.facts["commands"].get(name)
        if not command or not command["menu"]:
            return None
        return f'<span class="ui">{command["menu"]}&nbsp;▸ {html.escape(command["text"])}</span>'

    def mark_command(self, name):
        command = self.facts["commands"].get(name)
        return command and f'<span class="ui">{html.escape(command["text"])}</span>'

    def mark_linux(self, words):
        return words if self.is_for("linux") else ""

    def mark_windows(self, words):
        return words if self.is_for("windows") else ""

    def mark_start(self, name):
        return self.facts["start"].get(name, "").replace(" ", "\u00a0") or None

    def mark_limit(self, name):
        return self.facts["limit"].get(name, "").replace(" %", "\u00a0%") or None

    def mark_folder(self, name):
        folder = self.facts["folder"].get(name)
        return folder and code(folder)

    def mark_message(self, name):
        text = self.facts["message"].get(name)
        return text and f'<span class="ui">{html.escape(" ".join(text.split()))}</span>'

    def mark_type(self, word):
        names = [each["name"] for each in self.facts["drumTypes"] if each["word"] == word]
        return names[0] if names else None

    def mark_fact(self, name):
        value = self.facts.get(name)
        return value if isinstance(value, str) else None

    def mark_const(self, name):
        value = self.sources.number(name)
        return None if value is None else f"{value:g}"

    def mark_percent(self, name):
        value = self.sources.number(name)
        return None if value is None else f"{value * 100:g}\u00a0%"

    def mark_ui(self, words):
        if not self.sources.has(words):
            return None
        return f'<span class="ui">{html.escape(words.strip("*").replace("*", "…"))}</span>'

    def mark_gesture(self, modifier):
        return keycaps(modifier) if modifier in ("Ctrl", "Shift", "Enter", "Escape") else None

    def mark_sep(self, path):
        parts = path.split("/")
        value = self.separation.value(*parts) if len(parts) == 3 else None
        return value and minus(value)

    mark_septrack = mark_sep

    def mark_ref(self, name):
        if name not in self.figures:
            return None
        return f'<a class="ref" href="#fig-{name}">Figure&nbsp;{self.figures[name]}</a>'

    def mark_chapter(self, name):
        if name not in self.chapters:
            return None
        return f'<a class="ref" href="#{name}">chapter&nbsp;{self.chapters[name]}</a>'

    def mark_figure(self, value):
        parts = value.split("|")
        if len(parts) != 3:
            return None
        name, width, caption = parts
        files = [f"pictures/{name}{ending}" for ending in (".svg", ".png") if (MANUAL / f"pictures/{name}{ending}").exists()]
        if not files:
            return None
        overlay = MANUAL / f"style/{name}.html"
        badges = overlay.read_text(encoding="utf-8") if overlay.exists() else ""
        return (f'<figure id="fig-{name}" style="width: {width}"><div class="picture"><img src="{files[0]}" alt="">{badges}</div>'
                f"<figcaption><b>Figure {self.figures[name]}.</b> {caption}</figcaption></figure>")

    def mark_table(self, name):
        handler = getattr(self, f"table_{name}", None)
        return handler and handler()

    # Tables

    def table(self, head, rows, kind):
        cells = "".join(f"<th>{cell}</th>" for cell in head)
        body = "".join("<tr>" + "".join(f"<td>{cell}</td>" for cell in row) + "</tr>" for row in rows)
        return f'<table class="{kind}"><thead><tr>{cells}</tr></thead><tbody>{body}</tbody></table>'

    def table_drumTypes(self):
        rows = [[each["name"], keycaps(each["key"]), code(each["word"]), html.escape(each["list"])]
                for each in self.facts["drumTypes"]]
        rows.append(["(overhead)", "", "<code>oh</code>", html.escape(self.facts["overheadList"])])
        return self.table(["Type", "Key", "Word", "File names that hold"], rows, "types")

    def table_commands(self):
        rows = [[code(name), command["summary"]] for name, command in self.facts["commandLine"]["commands"].items()]
        self.used["cli"].update(self.facts["commandLine"]["commands"])
        return self.table(["Command", "What it does"], rows, "commands")

    def table_exitCodes(self):
        rows = [[str(each["code"]), each["meaning"]] for each in self.facts["commandLine"]["exitCodes"]]
        return self.table(["Code", "Meaning"], rows, "codes")

    def table_menus(self):
        rows = []
        for menu, items in self.facts["menus"].items():
            texts = [html.escape(item["text"]) for item in items]
            rows.append([menu, " · ".join(texts)])
        for name, command in self.facts["commands"].items():
            if command["menu"]:
                self.used["command"].add(name)
        return self.table(["Menu", "Entries"], rows, "menus")

    def table_tracks(self):
        head, rows = self.separation.tables[1]
        columns = ["session", "track", "sta 1", "sta 3", "sta 5", "ref suggested"]
        wanted = [[minus(row[head.index(column)]) for column in columns] for row in rows]
        for row in wanted:
            row[0] = row[0][-1].upper()
        return self.table(["Session", "Track", "Standard, Focus 20 %", "60 %", "100 %", "Refined, suggested"], wanted,
                          "figures tracks")

    def table_separation(self):
        columns = ["Focus", "all", "worst track", "spread", "attack", "quiet", "hits lost"]
        head = ["Method", "Focus", "Mean gain", "Worst track", "Spread", "Attack", "Quiet hits", "Hits lost"]
        rows = []
        for method in ("standard", "refined"):
            for row in self.separation.rows(method):
                rows.append([method] + [minus(row[column]) for column in columns])
        return self.table(head, rows, "figures")


def check(facts, sources, separation, books=None):
    """Every fault of the text, as lines."""
    books = books or [Book(name, {**facts, "system": system}, sources, separation)
                      for system in SYSTEMS for name in BOOKS]
    errors = [error for book in books for error in book.errors]
    for manual in (book for book in books if book.name == "manual"):
        for name in sorted(set(facts["windowKeys"]) - manual.used["key"]):
            errors.append(f"the manual does not name the key of {name}: {', '.join(facts['windowKeys'][name])}")
        for name, command in facts["commands"].items():
            if command["keys"] and name not in manual.used["key"]:
                errors.append(f"the manual does not name the key of {name}: {', '.join(command['keys'])}")
            if command["menu"] and name not in manual.used["command"]:
                errors.append(f"the manual does not name {command['menu']}, {command['text']}")
        for name in sorted(set(facts["commandLine"]["commands"]) - manual.used["cli"]):
            errors.append(f"the manual does not name the command {name}")
    return list(dict.fromkeys(errors))


# Setting

def page_of(book, facts, markdown):
    body = []
    for path, text in book.filled:
        section = markdown.markdown(text, extensions=["tables", "fenced_code", "attr_list", "md_in_html"])
        # A table without words in its head has none.
        section = re.sub(r"<thead>\s*<tr>(\s*<th[^>]*></th>)+\s*</tr>\s*</thead>", "", section)
        body.append(f'<section class="{Path(path).stem}">{section}</section>')
    content = "\n".join(body)
    template = (MANUAL / f"style/{book.name}.html").read_text(encoding="utf-8")
    page = template.replace("{{content}}", content).replace("{{version}}", facts["version"])
    return page.replace("{{toc}}", contents_of(content))


def contents_of(content):
    """The table of contents; page numbers are set by the style sheet."""
    entries, chapter, section = [], 0, 0
    for level, name, title in re.findall(r'<h([12]) id="([\w-]+)">(.*?)</h[12]>', content):
        if level == "1":
            chapter, section = chapter + 1, 0
        else:
            section += 1
        number = f"{chapter}" if level == "1" else f"{chapter}.{section}"
        entries.append(f'<li class="level{level}"><a href="#{name}"><span class="number">{number}</span>'
                       f'<span class="title">{title}</span></a></li>')
    return f'<ol class="toc">{"".join(entries)}</ol>'


def with_ids(text):
    """Gives every second-level heading a name of its own, for the contents and the bookmarks."""
    count = 0

    def name(match):
        nonlocal count
        count += 1
        return match.group(0) if "{#" in match.group(0) else f"{match.group(0)} {{#section-{count}}}"

    return re.sub(r"^## .*$", name, text, flags=re.M)


def build(facts, output, names):
    # Font files carry the time of their subsetting; without it equal sources give equal bytes.
    os.environ.setdefault("SOURCE_DATE_EPOCH", "0")
    import markdown
    import weasyprint
    from weasyprint.text.fonts import FontConfiguration

    sources, separation = Sources(), Separation()
    output.mkdir(parents=True, exist_ok=True)
    for name in names:
        book = Book(name, facts, sources, separation)
        for error in book.errors:
            print(f"manual: warning: {error}", file=sys.stderr)
        book.filled = list(zip((path for path, _ in book.filled),
                               with_ids("\f".join(text for _, text in book.filled)).split("\f")))
        fonts = FontConfiguration()
        page = page_of(book, facts, markdown)
        style = weasyprint.CSS(filename=str(MANUAL / "style/manual.css"), font_config=fonts)
        document = weasyprint.HTML(string=page, base_url=str(MANUAL) + "/").render(
            stylesheets=[style], font_config=fonts, optimize_size=("fonts", "images"))
        target = output / BOOKS[name]
        unfinished = target.with_suffix(".part")
        document.write_pdf(str(unfinished))
        unfinished.replace(target)
        print(f"{target.name}: {len(document.pages)} pages, {target.stat().st_size // 1024} KB")
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("action", choices=("check", "build"))
    parser.add_argument("--facts", type=Path, required=True, help="what tessivar_manual_facts wrote")
    parser.add_argument("--output", type=Path, help="folder for the PDF files")
    parser.add_argument("--book", choices=sorted(BOOKS), help="this one alone")
    arguments = parser.parse_args()
    facts = json.loads(arguments.facts.read_text(encoding="utf-8"))
    if arguments.action == "build":
        if arguments.output is None:
            parser.error("build needs --output")
        return build(facts, arguments.output, [arguments.book] if arguments.book else list(BOOKS))
    errors = check(facts, Sources(), Separation())
    for error in errors:
        print(f"manual: {error}", file=sys.stderr)
    print(f"{len(errors)} faults" if errors else "The manual agrees with the program.")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
