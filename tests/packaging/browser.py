#!/usr/bin/python3
"""browser.py PICTURES PAGE...

Looks at pages in headless Chromium as a user would: wide and narrow, light and dark, and printed. Fails when a page
is no HTML by the rules for its text (html5lib), asks for anything but itself, says something on the console, is wider
than the screen, has a picture that does not load or does without an alternative text, audio that does not play, or a
list that a key does not sort. Pictures and PDFs are left in the folder PICTURES for somebody to look at.
"""

import base64
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import html5lib

SIZES = {"wide": (1280, 800), "narrow": (390, 844)}

PICTURES_LOADED = """
Promise.all([...document.images].map(image => image.decode().then(() => image.hasAttribute("alt") ? "" : "no alt text",
                                                                  error => String(error))))
    .then(all => all.filter(Boolean))
"""

SAME_NAMES = """
[...document.querySelectorAll("[id]")].map(element => element.id).filter((id, place, all) => all.indexOf(id) !== place)
"""

# A moment of each, from the page's own data.
AUDIO_PLAYS = """
(async () => {
  const faults = [];
  for (const audio of document.querySelectorAll("audio")) {
    try {
      await audio.play();
      await new Promise((resolve, reject) => {
        audio.ontimeupdate = () => audio.currentTime > 0.2 && resolve();
        setTimeout(() => reject("stands still"), 5000);
      });
      audio.pause();
      if (!(audio.duration > 1)) faults.push("lasts " + audio.duration);
    } catch (error) { faults.push(String(error)); }
  }
  return faults;
})()
"""

SORT_STATE = """
(() => {
  const heading = document.querySelector("th[aria-sort]");
  return heading === null ? null : {
    direction: heading.getAttribute("aria-sort"),
    column: heading.textContent,
    rows: [...document.querySelector("tbody").rows].map(row => row.cells[0].textContent.trim()) };
})()
"""


class Browser:
    """Chromium, spoken to through a pair of pipes: no port is opened."""

    def __init__(self, folder):
        to_browser, self.requests = os.pipe()
        self.answers, from_browser = os.pipe()
        arguments = ["chromium", "--headless=new", "--remote-debugging-pipe", "--no-sandbox", "--mute-audio",
                     "--hide-scrollbars", "--no-first-run", "--disable-background-networking", "--disable-sync",
                     "--disable-component-update", "--autoplay-policy=no-user-gesture-required",
                     f"--user-data-dir={folder}", "about:blank"]

        # The browser reads from descriptor 3 and writes to 4.
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" 3<&{to_browser} 4>&{from_browser}', "bash", *arguments],
            pass_fds=(to_browser, from_browser), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.received = b""
        self.events = []
        self.number = 0
        self.session = None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Network", "Runtime", "Log"):
            self.call(f"{domain}.enable")

    def close(self):
        self.process.terminate()
        self.process.wait()

    def receive(self):
        while b"\0" not in self.received:
            data = os.read(self.answers, 1 << 20)
            if not data:
                raise SystemExit("the browser has ended")
            self.received += data
        message, _, self.received = self.received.partition(b"\0")
        return json.loads(message)

    def call(self, method, **parameters):
        self.number += 1
        request = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            request["sessionId"] = self.session
        os.write(self.requests, json.dumps(request).encode() + b"\0")
        while True:
            message = self.receive()
            if message.get("id") == self.number:
                if "error" in message:
                    raise SystemExit(f"{method}: {message['error']['message']}")
                return message["result"]
            if "method" in message:
                self.events.append(message)

    def wait_for(self, event):
        while not any(each["method"] == event for each in self.events):
            message = self.receive()
            if "method" in message:
                self.events.append(message)

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise SystemExit(f"in the page: {result['exceptionDetails']}")
        return result["result"].get("value")

    def press(self, key, code):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code,
                      **({"text": "\r"} if key == "Enter" and kind == "keyDown" else {}))


def faults_of_text(page):
    parser = html5lib.HTMLParser()
    parser.parse(page.read_text(encoding="utf-8"))
    for (line, column), fault, _ in parser.errors:
        yield f"line {line}, column {column}: {fault}"


def complaints(events, page):
    """What a page said, and what it asked for besides itself."""
    for event in events:
        told = event["params"]
        if event["method"] == "Network.requestWillBeSent" and not told["request"]["url"].startswith((page, "data:")):
            yield f"asks for {told['request']['url'][:200]}"
        if event["method"] == "Log.entryAdded":
            yield f"says: {told['entry']['text'][:300]}"
        if event["method"] in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown"):
            yield f"says: {json.dumps(told)[:300]}"


def sorting(browser):
    """By keys alone: the first heading, twice."""
    before = browser.evaluate(SORT_STATE)
    browser.evaluate("document.activeElement.blur()")
    for _ in range(20):
        browser.press("Tab", 9)
        if browser.evaluate("document.activeElement.closest('th') !== null"):
            break
    states = []
    for _ in range(2):
        browser.press("Enter", 13)
        states.append(browser.evaluate(SORT_STATE))
    up, down = states
    if before is not None or up is None or up["direction"] != "ascending" or down["direction"] != "descending":
        yield f"a key does not sort: {before}, {up}, {down}"
    elif up["rows"] != down["rows"][::-1] or len(set(up["rows"])) < 2:
        yield f"sorted up and down the rows are {up['rows']} and {down['rows']}"


def look_at(browser, page, pictures):
    yield from faults_of_text(page)
    address = page.resolve().as_uri()
    for scheme in ("light", "dark"):
        for name, (width, height) in SIZES.items():
            browser.events.clear()
            browser.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            browser.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                         mobile=name == "narrow")
            browser.call("Page.navigate", url=address)
            browser.wait_for("Page.loadEventFired")
            yield from browser.evaluate(PICTURES_LOADED)
            across = browser.evaluate("document.documentElement.scrollWidth")
            if across > width:
                yield f"is {across} pixels wide on a screen of {width}"
            picture = browser.call("Page.captureScreenshot", captureBeyondViewport=True, clip={
                "x": 0, "y": 0, "width": width, "scale": 1,
                "height": min(6000, browser.evaluate("document.documentElement.scrollHeight"))})
            (pictures / f"{page.stem}-{name}-{scheme}.png").write_bytes(base64.b64decode(picture["data"]))
            yield from complaints(browser.events, address)

    if browser.evaluate("document.querySelector('th button') !== null"):
        yield from sorting(browser)
    yield from browser.evaluate(AUDIO_PLAYS)
    yield from (f"several elements are called {name}" for name in browser.evaluate(SAME_NAMES))
    browser.call("Emulation.setEmulatedMedia", media="", features=[])
    printed = base64.b64decode(browser.call("Page.printToPDF", printBackground=True, preferCSSPageSize=True)["data"])
    (pictures / f"{page.stem}.pdf").write_bytes(printed)
    if not printed.startswith(b"%PDF"):
        yield "can't be printed"
    yield from complaints(browser.events, address)


def main():
    pictures = pathlib.Path(sys.argv[1])
    pictures.mkdir(parents=True, exist_ok=True)
    faults = []
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        browser = Browser(folder)
        for page in map(pathlib.Path, sys.argv[2:]):
            faults += [f"{page.name}: {fault}" for fault in dict.fromkeys(look_at(browser, page, pictures))]
        browser.close()
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


sys.exit(main())
