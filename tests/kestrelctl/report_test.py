"""The report of a message with two signers and three stamps: no outside parts, strangers' text
escaped, and, opened in a browser, the colours of its verdicts. Label: slow."""

import html.parser
import shutil
import subprocess
import unittest

from evidence import (AUTHORITY, CONTENT_STAMP, DAY, HOUR, NOW, SIGNATURE_STAMP, SIGNING, STAMPING,
                      Party, Shop, message, signer, stamp)
from kestrel_case import KestrelCase
from tokens import attribute

CONTENT = b"a contract\n"
BROWSER = shutil.which("chromium")
LONG = "</svg><script>alert(1)</script>Боб & Co" + "ЩШЖфмю" * 27
# Tells in its title what sticks out of the page that it frames, a text of a picture out of its box or any
# element out of the page, and the colours that its rules give. The page's own rules let no script in.
FRAME = """<title></title><iframe src="r.html" style="border:0;width:WIDTHpx;height:800px"></iframe>
<script>onload = () => {
  const page = frames[0].document, out = [], seen = new Set();
  for (const svg of page.querySelectorAll('svg')) {
    let box = null;
    for (const part of svg.children) {
      const now = part.getBoundingClientRect();
      if (part.tagName == 'rect') box = now;
      if (part.tagName == 'text' && (now.left < box.left || now.right > box.right ||
          now.top < box.top || now.bottom > box.bottom)) out.push(part.textContent);
    }
  }
  for (const one of page.querySelectorAll('body *')) {
    if (one.getBoundingClientRect().right > page.documentElement.clientWidth) out.push(one.tagName);
    const style = frames[0].getComputedStyle(one);
    for (const rule of [style.color, style.backgroundColor, style.fill, style.stroke]) seen.add(rule);
  }
  document.title = `measured ${frames[0].innerWidth} ${JSON.stringify(out)} ${[...seen].join(' ')}`;
}</script>"""


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

    @unittest.skipUnless(BROWSER, "chromium is not installed")
    def test_in_a_browser(self):
        """In a frame as narrow as a phone: a window has a least width of its own."""
        for language in ("C.UTF-8", "ru_RU.UTF-8"):
            self.report(language)
            for width in (390, 900):
                with self.subTest((language, width)):
                    self.write("frame.html", FRAME.replace("WIDTH", str(width)).encode())
                    said = subprocess.run(
                        [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-web-security",
                         f"--user-data-dir={self.path('profile')}", "--window-size=1000,900",
                         "--allow-file-access-from-files", "--virtual-time-budget=9000", "--dump-dom",
                         "file://" + self.path("frame.html")],
                        capture_output=True, timeout=120, check=True).stdout.decode()
                    self.assertIn(f"measured {width} []", said)
                    for colour in ("rgb(11, 107, 46)", "rgb(122, 82, 0)", "rgb(163, 18, 29)"):  # of verdicts
                        self.assertIn(colour, said)
