#!/usr/bin/env python3
"""Takes the pictures of the manual from the real program, and draws its figures from the demo session.

    tools/pictures/manual-pictures.py [--bin build/release/bin] [--only NAME...] [--keep]

The program runs at 200 % under an X server of its own (Xvfb, openbox), with a home folder of its own and, where jackd
is installed, with a sound server of its own that plays into nothing. It is worked by keys; where only the mouse will
do, by places of LAYOUT, in logical pixels of a window of 1280 x 800. What was taken lies in docs/manual/pictures, reduced
to 128 colours by pngquant. A run takes about two minutes.

Needs: Xvfb, openbox, xdotool, imagemagick, pngquant; jackd for the pictures of a playing track.
The figures need python3-numpy and python3-pil and are drawn by docs/manual/tools/figures.py.
"""

import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PICTURES = ROOT / "docs/manual/pictures"
SCALE = 2
WIDTH, HEIGHT = 1280, 800

# Logical pixels of the window's areas: left, top, width, height.
LAYOUT = {
    "window": (0, 0, 1280, 800),
    "tracks": (0, 28, 344, 532),
    "centre": (344, 28, 936, 716),
    "groupMenu": (0, 28, 740, 460),
    "wave": (344, 28, 936, 514),
    "plot": (346, 130, 800, 380),
    "dock": (344, 542, 936, 202),
    "groupRow": (60, 76, 120, 36),
    "device": (1190, 4, 70, 20),
    "overwrite": (709, 426, 40, 20),
    "settings": (270, 150, 740, 500),
    "time": (354, 752, 110, 40),
}


class Failure(Exception):
    pass


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


class Stage:
    """The servers, the fake home and the program; everything it started ends with it."""

    def __init__(self, binaries, folder):
        self.binaries = binaries
        self.folder = Path(folder)
        self.started = []
        self.rubbish = []
        self.program = None
        self.window = None
        for name in ("home/Documents", "home/Music", "runtime", "bin"):
            (self.folder / name).mkdir(parents=True)
        (self.folder / "runtime").chmod(0o700)
        self.answer = self.folder / "answer"
        self.write_chooser()
        self.environment = {
            "PATH": f"{self.folder}/bin:{os.environ['PATH']}",
            "HOME": str(self.folder / "home"),
            "XDG_RUNTIME_DIR": str(self.folder / "runtime"),
            "TESSIVAR_SCALE": str(SCALE),
            "LANG": "C.UTF-8",
            "JACK_DEFAULT_SERVER": f"tessivar-manual-{os.getpid()}",
        }

    def write_chooser(self):
        """A file chooser that answers with what the script wants chosen."""
        chooser = self.folder / "bin/zenity"
        chooser.write_text(f"#!/bin/sh\nexec cat '{self.answer}'\n")
        chooser.chmod(0o755)

    def start(self, *command, **options):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   env=self.environment, **options)
        self.started.append(process)
        return process

    def open_display(self):
        read, write = os.pipe()
        self.start("Xvfb", "-displayfd", str(write), "-screen", "0",
                   f"{WIDTH * SCALE + 80}x{HEIGHT * SCALE + 120}x24", "-nolisten", "tcp", pass_fds=[write])
        os.close(write)
        number = os.fdopen(read).readline().strip()
        if not number:
            raise Failure("Xvfb does not start")
        self.environment["DISPLAY"] = f":{number}"
        self.start("openbox")
        if shutil.which("jackd"):
            # Patient with its client: the machine may be busy.
            self.start("jackd", "-n", self.environment["JACK_DEFAULT_SERVER"], "-r", "-t", "20000", "-d", "dummy",
                       "-r", "44100", "-p", "2048")
            settings = self.folder / "home/.config/Tessivar"
            settings.mkdir(parents=True)
            (settings / "AudioDeviceSetup.config").write_text(
                '<?xml version="1.0" encoding="UTF-8"?>\n<DEVICESETUP deviceType="JACK" '
                'audioOutputDeviceName="system" audioInputDeviceName="" audioDeviceRate="44100.0"/>\n')
        time.sleep(1.5)

    def tool(self, *arguments):
        return run("xdotool", *map(str, arguments), env={**os.environ, **self.environment})

    def launch(self, *files):
        self.program = self.start(str(self.binaries / "tessivar"), *map(str, files))
        for _ in range(100):
            time.sleep(0.1)
            try:
                found = self.tool("search", "--onlyvisible", "--name", "^Tessivar$").split()
            except subprocess.CalledProcessError:
                continue
            if found:
                self.window = found[0]
                break
        else:
            raise Failure("the window does not appear")
        time.sleep(1)
        self.tool("windowsize", self.window, WIDTH * SCALE, HEIGHT * SCALE)
        self.tool("windowmove", self.window, 20, 40)
        self.tool("windowactivate", "--sync", self.window)
        time.sleep(0.5)
        self.tool("mousemove", "--window", self.window, 0, 0)
        place = dict(line.split("=") for line in self.tool("getmouselocation", "--shell").split())
        self.origin = (int(place["X"]), int(place["Y"]))
        self.away()
        time.sleep(1)

    def kill_program(self):
        self.program.kill()
        self.program.wait()

    def close(self):
        for process in reversed(self.started):
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)
                try:
                    process.wait(5)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        for folder in self.rubbish:
            shutil.rmtree(folder, ignore_errors=True)

    # Hands

    def keys(self, *names, pause=0.25):
        for name in names:
            self.tool("key", name)
            time.sleep(pause)

    def point(self, area, x=0.5, y=0.5):
        left, top, width, height = LAYOUT[area]
        self.tool("mousemove", "--window", self.window, int((left + x * width) * SCALE), int((top + y * height) * SCALE))

    def click(self, area, x=0.5, y=0.5, button=1):
        self.point(area, x, y)
        self.tool("click", button)
        time.sleep(0.4)

    def drag(self, area, from_x, to_x, y=0.3):
        self.point(area, from_x, y)
        self.tool("mousedown", 1)
        for step in range(1, 11):
            self.point(area, from_x + (to_x - from_x) * step / 10, y)
            time.sleep(0.03)
        self.tool("mouseup", 1)
        time.sleep(0.3)

    def away(self):
        """The mouse where nothing lights up under it."""
        self.tool("mousemove", "--window", self.window, 700 * SCALE, 14 * SCALE)

    # Eyes

    def look(self, area, *arguments):
        """Takes the screen, not the window: menus are windows of their own above it."""
        left, top, width, height = (SCALE * value for value in LAYOUT[area])
        left, top = left + self.origin[0], top + self.origin[1]
        return run("import", "-window", "root", "-crop", f"{width}x{height}+{left}+{top}", "+repage", *arguments,
                   env={**os.environ, **self.environment})

    def grab(self, path, area="window"):
        self.look(area, str(path))

    def brightness(self, area="time"):
        return float(self.look(area, "-format", "%[fx:maxima]", "info:"))

    def wait_for_dialog(self, open_, seconds):
        """Until a dialog dims the window, or dims it no more."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if (self.brightness() < 0.6) == open_:
                time.sleep(0.5)
                return
            time.sleep(0.2)
        raise Failure("no dialog appears" if open_ else "the dialog does not go")


class Pictures:
    def __init__(self, stage, only):
        self.stage = stage
        self.only = only
        self.taken = []

    def take(self, name, area="window", trim_dialog=False):
        if self.only and name not in self.only:
            return
        target = PICTURES / f"{name}.png"
        raw = self.stage.folder / f"{name}.png"
        self.stage.grab(raw, area)
        if trim_dialog:
            crop_dialog(raw)
        run("pngquant", "--force", "--strip", "--speed", "1", "--nofs", "--output", str(target), "128", str(raw))
        self.taken.append(name)
        print(f"{name}: {target.stat().st_size // 1024} KB", flush=True)


def crop_dialog(path):
    """Cuts a dialog out of its scrim: the largest area of the dialogs' ground that surrounds the middle."""
    width, height = (int(value) for value in run("identify", "-format", "%w %h", str(path)).split())
    regions = run("convert", str(path), "-fuzz", "1.5%", "-fill", "white", "-opaque", "#1A2026", "-threshold", "99%",
                  "-define", "connected-components:verbose=true", "-define", "connected-components:area-threshold=400",
                  "-connected-components", "4", "null:")
    best = None
    for line in regions.splitlines()[1:]:
        _, box, _, area, colour = line.split()[:5]
        size, left, top = box.split("+")
        w, h = (int(value) for value in size.split("x"))
        x, y = int(left), int(top)
        surrounds = x < width / 2 < x + w and y < height / 2 < y + h
        if surrounds and "255" in colour and w < width * 0.9 and (best is None or int(area) > best[0]):
            best = (int(area), w, h, x, y)
    if best is None:
        raise Failure(f"no dialog in {path}")
    _, w, h, x, y = best
    margin = 10 * SCALE
    run("convert", str(path), "-crop", f"{w + 2 * margin}x{h + 2 * margin}+{x - margin}+{y - margin}", "+repage",
        str(path))


def session(stage):
    """The demo session as a folder of the user's, which names the Group."""
    folder = stage.folder / "home/Music/Demo session"
    shutil.copytree(ROOT / "demo", folder, ignore=shutil.ignore_patterns("*.md", "LICENSE"))
    return folder


def take_first_minutes(stage, pictures, folder):
    stage.launch()
    pictures.take("empty")
    subprocess.run([stage.binaries / "tessivar", folder], env=stage.environment, check=True, timeout=20,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    stage.wait_for_dialog(True, 30)
    time.sleep(4)  # the progress of the import comes first
    stage.keys("Escape")
    stage.wait_for_dialog(False, 10)
    pictures.take("imported")
    # Floor, HH, Kick In, Rack Tom 1 and 2, SD Bot, SD Top: the toms are High Toms, the last two Snares.
    stage.keys("Down", "Down", "Down", "4", "Down", "4", "Down", "2", "Down", "2")
    time.sleep(1)
    pictures.take("types", "tracks")


def take_analysis(stage, pictures):
    stage.click("groupRow", button=3)
    stage.keys("Down", "Down", "Down", "Down", "Right", pause=0.4)
    pictures.take("group-menu", "groupMenu")
    stage.keys("Down", "Return", pause=0.5)
    stage.away()
    stage.keys("ctrl+p")
    stage.wait_for_dialog(True, 10)  # the tips
    stage.keys("Return", pause=0.2)
    time.sleep(0.4)  # on a fast machine the analysis of the demo session takes a second
    pictures.take("progress", trim_dialog=True)
    stage.wait_for_dialog(False, 300)


def take_work(stage, pictures):
    stage.keys(*["Up"] * 5)  # the hi-hat: its leakage is seen best
    stage.keys("ctrl+plus", "ctrl+plus", "ctrl+plus", "Home", "space")
    time.sleep(6.35)
    pictures.take("analysed")
    stage.keys("space")
    pictures.take("dock", "dock")
    stage.drag("plot", 0.27, 0.415)
    stage.keys("l", "s")
    stage.away()
    time.sleep(1)
    pictures.take("wave", "wave")
    stage.keys("g")
    time.sleep(1)
    pictures.take("spectrum", "wave")
    stage.keys("g", "r")
    time.sleep(0.6)
    pictures.take("removed", "centre")
    stage.keys("r", "l", "Escape", "0", "m")
    time.sleep(1)
    pictures.take("bleed", "centre")
    stage.keys("m")


def take_settings(stage, pictures):
    stage.click("device")
    stage.wait_for_dialog(True, 10)
    stage.away()
    for name in ("audio", "abbreviations", "folders", "performance"):
        pictures.take(f"settings-{name}", "settings")
        stage.keys("Down", pause=0.5)
    stage.keys("Escape")
    stage.wait_for_dialog(False, 10)


def take_files(stage, pictures):
    out = Path("/tmp/Processed")  # it is seen in a picture
    out.mkdir()
    stage.rubbish.append(out)
    stage.answer.write_text(f"{out}\n")
    for overwrites in (False, True):
        stage.keys("ctrl+x")
        stage.wait_for_dialog(True, 10)  # the type of the files
        stage.keys("Return", pause=1)
        stage.wait_for_dialog(overwrites, 60)
    stage.click("overwrite")
    stage.away()
    time.sleep(4)
    pictures.take("export-report", trim_dialog=True)
    stage.keys("Escape")
    stage.wait_for_dialog(False, 10)
    stage.answer.write_text(f"{stage.folder}/home/Music/Demo session.dls\n")
    stage.keys("ctrl+s")
    time.sleep(1)
    stage.wait_for_dialog(False, 60)
    stage.keys("alt+Up")
    time.sleep(1)


def take_recovery(stage, pictures):
    time.sleep(8)  # a change is kept for recovery within six seconds
    stage.kill_program()
    stage.launch()
    stage.wait_for_dialog(True, 20)
    pictures.take("recovery", trim_dialog=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=Path, default=ROOT / "build/release/bin", help="folder of the programs")
    parser.add_argument("--only", nargs="*", help="pictures to keep; the whole run is made nevertheless")
    parser.add_argument("--keep", action="store_true", help="keep the folder of the run and say where it is")
    parser.add_argument("--no-figures", action="store_true", help="leave the drawn figures as they are")
    arguments = parser.parse_args()
    needed = ["Xvfb", "openbox", "xdotool", "import", "convert", "pngquant"]
    missing = [name for name in needed if not shutil.which(name)]
    if missing:
        sys.exit(f"manual-pictures: missing: {' '.join(missing)}")
    PICTURES.mkdir(parents=True, exist_ok=True)
    folder = tempfile.mkdtemp(prefix="tessivar-manual-")
    stage = Stage(arguments.bin.resolve(), folder)
    pictures = Pictures(stage, arguments.only)
    try:
        stage.open_display()
        take_first_minutes(stage, pictures, session(stage))
        take_analysis(stage, pictures)
        take_work(stage, pictures)
        take_settings(stage, pictures)
        take_files(stage, pictures)
        take_recovery(stage, pictures)
    except (Failure, subprocess.SubprocessError) as error:
        if stage.window:
            stage.grab(stage.folder / "failed.png")
        sys.exit(f"manual-pictures: {error}; the last state is in {stage.folder}/failed.png")
    finally:
        stage.close()
    if not arguments.no_figures:
        subprocess.run(["/usr/bin/python3", ROOT / "docs/manual/tools/figures.py", "--bin", arguments.bin], check=True)
    if arguments.keep:
        print(folder)
    else:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
