"""The report of a message with two signers and three stamps: no outside parts, strangers' text
escaped, and, opened in a browser, a picture with the colours of its verdicts. Label: slow.

With REPORT_PICTURE in the environment the pictures are kept in that folder."""

import html.parser
import os
import re
import shutil
import struct
import subprocess
import unittest
import zlib

from evidence import (AUTHORITY, CONTENT_STAMP, DAY, HOUR, NOW, SIGNATURE_STAMP, SIGNING, STAMPING,
                      Party, Shop, message, signer, stamp)
from kestrel_case import KestrelCase
from tokens import attribute

CONTENT = b"a contract\n"
BROWSER = shutil.which("chromium")
KEEP = os.environ.get("REPORT_PICTURE")
LONG = "</svg><script>alert(1)</script>Боб & Co" + "ЩШЖфмю" * 27
# Tells in the title of the page around what sticks out: a text of a picture out of its box, any element out
# of the page.
MEASURE = """<script>const out = [];
for (const svg of document.querySelectorAll('svg')) {
  let box = null;
  for (const part of svg.children) {
    const now = part.getBoundingClientRect();
    if (part.tagName == 'rect') box = now;
    if (part.tagName == 'text' && (now.left < box.left || now.right > box.right ||
        now.top < box.top || now.bottom > box.bottom)) out.push(part.textContent);
  }
}
for (const one of document.querySelectorAll('body *'))
  if (one.getBoundingClientRect().right > document.documentElement.clientWidth) out.push(one.tagName);
parent.document.title = 'measured ' + innerWidth + ' ' + JSON.stringify(out);</script>"""
FRAME = '<title></title><iframe src="open.html" style="border:0;width:WIDTHpx;height:800px"></iframe>'


class Parts(html.parser.HTMLParser):
    """Tags, what leads outside, and whether each one is closed."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.links, self.open, self.words = [], [], [], ""
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        self.links += [value for name, value in attrs if name in ("src", "href", "data", "action")]
        self.links += [name for name, _ in attrs if name.startswith("on")]
        if tag not in ("meta", "rect", "path", "br"):
            self.open.append(tag)

    def handle_endtag(self, tag):
        if tag not in ("rect", "path"):
            assert self.open.pop() == tag, tag

    def handle_data(self, data):
        self.words += data


def predicted(kind, left, up, corner):
    """PNG specification, 9.2."""
    near = min((left, up, corner), key=lambda one: abs(left + up - corner - one))
    return (0, left, up, (left + up) // 2, near)[kind]


def colours(png):
    """Width, height, and all colours of a PNG as a browser writes it: eight bits a channel."""
    at, data = 8, b""
    while at < len(png):
        size, kind = struct.unpack(">I4s", png[at:at + 8])
        body = png[at + 8:at + 8 + size]
        if kind == b"IHDR":
            width, height, _, colour = struct.unpack(">IIBB", body[:10])
        data += body if kind == b"IDAT" else b""
        at += 12 + size
    step = {2: 3, 6: 4}[colour]
    data, above, seen = zlib.decompress(data), bytes(width * step), set()
    for row in range(height):
        kind, *raw = data[row * (width * step + 1):(row + 1) * (width * step + 1)]
        line = bytearray(step) + bytes(raw)  # a column of nothing on the left
        above = bytes(step) + above
        for i in range(step, len(line)) if kind else ():
            line[i] = (line[i] + predicted(kind, line[i - step], above[i], above[i - step])) & 0xFF
        above = bytes(line[step:])
        seen.update(above[i:i + 3] for i in range(0, len(above), step))
    return width, height, seen


class Report(KestrelCase):
    def setUp(self):
        super().setUp()
        shop = Shop(self.folder)
        root = Party(shop, "Evidence Root", uses=AUTHORITY)
        middle = Party(shop, "Evidence Issuing CA", root, uses=AUTHORITY)
        ann = Party(shop, "Ann Example", middle, uses=SIGNING)
        bob = Party(shop, LONG, middle, uses=SIGNING)
        clock = Party(shop, "Clock", root, uses=STAMPING)
        stranger = Party(shop, "Unknown Clock", Party(shop, "Elsewhere", uses=AUTHORITY),
                         uses=STAMPING)
        lists = [root.revoke(), middle.revoke((bob, NOW - DAY))]
        content = attribute(CONTENT_STAMP, stamp(clock, CONTENT, NOW - 3 * HOUR))
        good = lambda value: [attribute(SIGNATURE_STAMP, stamp(clock, value, NOW - HOUR))]
        foreign = lambda value: [attribute(SIGNATURE_STAMP, stamp(stranger, value, NOW - HOUR))]
        parties = [ann, bob, middle]
        self.write("m.p7m", message(
            CONTENT, [signer(ann, CONTENT, [content], unsigned=good),
                      signer(bob, CONTENT, [bob.mark()], unsigned=foreign)],
            [one.certificate for one in parties], lists))
        self.write("root.cer", root.certificate)
        self.ctl("trust", "root.cer")

    def report(self, language):
        self.env["LC_ALL"] = language
        self.ctl("message", "verify", "m.p7m", "--report", "r.html", status=1)
        return self.read("r.html").decode()

    def test_page(self):
        for language, words in (("C.UTF-8", ["Good", "Bad", "proven by a time stamp", "revoked"]),
                                ("ru_RU.UTF-8", ["Подтверждено", "Отвергнуто", "отозван"])):
            with self.subTest(language):
                page = self.report(language)
                parts = Parts(page)
                self.assertEqual((parts.open, parts.links), ([], []))
                self.assertNotIn("script", parts.tags)
                self.assertEqual(parts.tags.count("svg"), 5)  # two signers', three stamps'
                for word in [*words, LONG]:
                    self.assertIn(word, parts.words)

    def browse(self, *words):
        return subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu",
                               f"--user-data-dir={self.path('profile')}", "--hide-scrollbars", *words],
                              capture_output=True, timeout=120, check=True).stdout.decode()

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_nothing_sticks_out(self):
        """In a frame as narrow as a phone: a window has a least width of its own."""
        for language in ("C.UTF-8", "ru_RU.UTF-8"):
            page = self.report(language)
            open_page = re.sub('<meta http-equiv="Content-Security-Policy"[^>]*>', "", page)
            self.write("open.html", (open_page + MEASURE).encode())
            for width in (390, 900):
                with self.subTest((language, width)):
                    self.write("frame.html", FRAME.replace("WIDTH", str(width)).encode())
                    said = self.browse("--window-size=1000,900", "--allow-file-access-from-files", "--virtual-time-budget=9000",
                                       "--dump-dom", "file://" + self.path("frame.html"))
                    self.assertIn(f"measured {width} []", said)

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_picture(self):
        for language, size in (("C.UTF-8", "900,1100"), ("ru_RU.UTF-8", "400,1500")):
            with self.subTest(language):
                self.report(language)
                self.browse(f"--window-size={size}", "--screenshot=" + self.path("r.png"),
                            "file://" + self.path("r.html"))
                if KEEP:
                    shutil.copy(self.path("r.png"), f"{KEEP}/{language}.png")
                width, height, seen = colours(self.read("r.png"))
                self.assertEqual(f"{width},{height}", size)
                for colour in ("0b6b2e", "7a5200", "a3121d"):  # of the three verdicts
                    self.assertIn(bytes.fromhex(colour), seen)


if __name__ == "__main__":
    unittest.main()
