#!/usr/bin/env python3
"""Prints the macros by which the installer brings the files of a folder and the uninstaller takes just these away,
with the folders in which nothing else is left then.

    file-list.py FOLDER >files.nsh
"""

import sys
from pathlib import Path


def escaped(path):
    return str(path).replace("$", "$$")


def installed(path):
    return '"' + "\\".join(["$INSTDIR", *map(escaped, path.parts)]) + '"'


root = Path(sys.argv[1]).resolve()
everything = sorted(path.relative_to(root) for path in root.rglob("*"))
files = [path for path in everything if (root / path).is_file()]

print("!macro InstallFiles")
folder = None
for path in files:
    if path.parent != folder:
        folder = path.parent
        print(f"    SetOutPath {installed(folder)}")
    print(f'    File "{escaped(root / path)}"')
print("!macroend\n\n!macro RemoveFiles")
for path in files:
    print(f"    Delete {installed(path)}")
for path in reversed([path for path in everything if (root / path).is_dir()]):
    print(f"    RMDir {installed(path)}")
print("!macroend")
