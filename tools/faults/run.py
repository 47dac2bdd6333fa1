#!/usr/bin/env python3
"""Puts one fault after the other into a copy of the sources and asks the tests whether they notice.

    tools/faults/run.py [--match] [--here] [--jobs N] [WORD...]

A fault is a line of faults.txt; WORDs choose those whose name or file contains one of them. Each is built and its
test programs are run until one fails. Prints "caught by PROGRAM" or "SURVIVED" for each; exits with 1 when a fault
survived, 2 when the list doesn't match the sources or the tests fail without a fault.

--match   only checks that each line still matches the sources at exactly one place
--here    works in these sources and their build/release instead of a copy below build/faults, which is made from
          the last commit and takes a whole build the first time; every file is put back as it was, come what may
"""
import argparse
import os
import signal
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
TIMEOUT = 600  # seconds for a test program; one that hangs has noticed


class Fault:
    """A line "NAME | FILE | PROGRAMS | TEXT => CHANGED TEXT"; an empty changed text removes what was there."""

    def __init__(self, line):
        self.name, self.file, programs, change = (part.strip() for part in line.split(" | ", 3))
        self.programs = programs.split()
        self.text, arrow, self.changed = (change + " ").partition(" => ")
        self.text, self.changed = self.text.strip(), self.changed.strip()

        if not arrow or not self.text:
            raise ValueError(line)


def read_faults(words):
    lines = (Path(__file__).parent / "faults.txt").read_text().splitlines()
    faults = [Fault(line) for line in lines if line and not line.startswith("#")]
    return [fault for fault in faults if not words or any(word in fault.name + fault.file for word in words)]


def mismatches(faults, sources):
    for fault in faults:
        path = sources / fault.file
        count = path.read_text().count(fault.text) if path.is_file() else 0

        if count != 1:
            yield f"{fault.name}: {fault.file} has {count} times: {fault.text}"


def run(command, folder, **options):
    return subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **options)


def copy_of_sources():
    """A worktree at the last commit, configured."""
    folder = ROOT / "build" / "faults"

    if not (folder / "CMakeLists.txt").is_file():
        subprocess.run(["git", "worktree", "add", "--force", "--detach", folder, "HEAD"], cwd=ROOT, check=True)

    head = subprocess.check_output(["git", "rev-parse", "HEAD"], cwd=ROOT, text=True).strip()
    subprocess.run(["git", "checkout", "--force", "--detach", "--quiet", head], cwd=folder, check=True)
    subprocess.run(["cmake", "--preset", "release"], cwd=folder, check=True, stdout=subprocess.DEVNULL)
    return folder


class Bench:
    """Sources, their build, and what the tests say of them."""

    def __init__(self, sources, jobs):
        self.sources, self.jobs = sources, jobs
        self.build = sources / "build" / "release"

    def make(self, programs):
        """The end of the compiler's words when it fails."""
        done = run(["ninja", "-C", self.build, *self.jobs, *map(target_of, programs)], self.sources)
        return "" if done.returncode == 0 else done.stdout[-2000:]

    def first_to_fail(self, programs):
        for program in programs:
            try:
                if run([self.build / "bin" / target_of(program)], self.sources, timeout=TIMEOUT).returncode != 0:
                    return program
            except subprocess.TimeoutExpired:
                return program
        return None

    def verdict(self, fault):
        path = self.sources / fault.file
        before = path.read_text()

        try:
            path.write_text(before.replace(fault.text, fault.changed))
            if words := self.make(fault.programs):
                return "DOES NOT COMPILE\n" + words
            program = self.first_to_fail(fault.programs)
            return f"caught by {program}" if program else "SURVIVED"
        finally:
            path.write_text(before)


def target_of(program):
    return f"tessivar_{program}_tests"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--match", action="store_true")
    parser.add_argument("--here", action="store_true")
    parser.add_argument("--jobs", type=int)
    parser.add_argument("words", nargs="*", metavar="WORD")
    arguments = parser.parse_args()
    faults = read_faults(arguments.words)
    wrong = list(mismatches(faults, ROOT))
    print("\n".join(wrong or [f"{len(faults)} faults match the sources"]), flush=True)

    if wrong or arguments.match:
        return 2 if wrong else 0

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the file is put back
    os.environ.pop("DISPLAY", None)
    bench = Bench(ROOT if arguments.here else copy_of_sources(), [f"-j{arguments.jobs}"] if arguments.jobs else [])
    programs = sorted({program for fault in faults for program in fault.programs})

    if words := bench.make(programs):
        print(words)
        return 2
    if program := bench.first_to_fail(programs):
        print(f"{program} fails without a fault")
        return 2

    caught = 0
    for fault in faults:
        verdict = bench.verdict(fault)
        caught += verdict.startswith("caught")
        print(f"{fault.name}: {verdict}", flush=True)

    print(f"{caught} of {len(faults)} caught")
    bench.make(programs)
    return 0 if caught == len(faults) else 1


if __name__ == "__main__":
    sys.exit(main())
