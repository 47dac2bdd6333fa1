#!/usr/bin/env python3
"""Reads a report as a browser and as an XML parser would and prints what it holds as JSON; fails, with a line for
each fault, when the page needs anything from elsewhere, leaves a picture or a table without words, or is no XML.

    check-page.py FILE.html
"""
import html.parser
import json
import re
import sys
import xml.etree.ElementTree as ET

faults = []


class Browser(html.parser.HTMLParser):
    """What HTML makes of the page: scripts, and every address in it."""

    def __init__(self):
        super().__init__()
        self.scripts, self.addresses, self.handlers = [], [], []

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag == "script":
            self.scripts.append(attributes.get("type"))
        if tag in ("link", "iframe", "object", "embed", "base", "form"):
            faults.append(f"a page has no <{tag}>")
        self.handlers += [name for name in attributes if name.startswith("on")]
        self.addresses += [attributes[name] for name in ("src", "href", "poster", "data") if name in attributes]


text = open(sys.argv[1], encoding="utf-8").read()
browser = Browser()
browser.feed(text)
browser.close()

if browser.scripts != ["application/json"]:
    faults.append(f"scripts: {browser.scripts}")
if browser.handlers:
    faults.append(f"attributes that run: {browser.handlers}")
for address in browser.addresses:
    if not re.match(r"data:(image/png|audio/flac);base64,|#track\d+$", address):
        faults.append(f"an address that leads away: {address[:60]}")
if re.search(r"https?:|@import|url\(", text):
    faults.append("the page names something elsewhere")

page = ET.fromstring(text)
ids = [element.get("id") for element in page.iter() if element.get("id")]
if len(ids) != len(set(ids)):
    faults.append("an id stands twice")
for element in page.iter():
    words = element.get("alt") or element.get("aria-label")
    if element.tag in ("img", "svg", "audio") and not words:
        faults.append(f"a <{element.tag}> without words")
    if element.tag == "table" and element.find("caption") is None:
        faults.append("a table without a caption")
    if element.tag == "th" and not element.get("scope"):
        faults.append("a heading of a table without a scope")
    if element.tag == "a" and element.get("href")[1:] not in ids:
        faults.append(f"a link to nothing: {element.get('href')}")

if faults:
    sys.exit("\n".join(faults))

words = lambda element: "".join(element.itertext()).strip()
print(json.dumps({
    "title": words(page.find("head/title")),
    "headings": [words(element) for element in page.iter("h3")],
    "alternatives": [element.get("alt") for element in page.iter("img")],
    "images": [element.get("src") for element in page.iter("img")],
    "numAudios": len(list(page.iter("audio"))),
    "text": " ".join(words(page.find("body")).split()),
    "data": json.loads(page.find(".//script").text),
}))
